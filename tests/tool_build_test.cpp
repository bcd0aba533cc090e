// qxscript build as a process: dump's JSON back into scripts, and what it refuses.

#include <regex>

#include "tests/ToolRun.h"

namespace {

using namespace tool_run;
using nlohmann::json;

// Every kind the tree keeps, in forms that read like another: 0x numbers beyond 32 signed bits,
// ranges of values and of names (also on a group), a backward range, numbers as names, quoted
// upper case and blanks, an empty text, escapes, empty and nested groups, a fraction, a
// command without parameters and a quoted line break.
constexpr char kKinds[] =
    "// encoding=\"UTF-8\"\n"
    ":x:{a=0xFFFFFFFF&0x80000000&-5&12.&1.50, 1&&3=x, 7&&7={b=1}&{c=2}, 12=y, e=3&&1,\n"
    "  \"Up\"=\"\", f={}, g={h={i=[k]}}, \"A B\"=\"a\\\"b\\\\\", r=2&&4&9};\n"
    ":y:{};\n"
    ":z:{q=\"line\nbreak\"};\n";

// The parts of JSON Schema that docs/dump.schema.json uses: type, required, properties, items,
// $ref into $defs, enum, const, oneOf, not, minimum, maximum, minItems and pattern.
class MiniSchema {
  public:
    explicit MiniSchema(json root) : root_(std::move(root)) {}
    bool Valid(const json& v) const { return Check(root_, v); }

  private:
    const json& Resolve(const json& s) const {
        if (!s.contains("$ref")) return s;
        const std::string ref = s["$ref"];  // "#/$defs/NAME"
        return root_["$defs"][ref.substr(ref.rfind('/') + 1)];
    }
    static bool TypeIs(const std::string& t, const json& v) {
        return t == "object"    ? v.is_object()
               : t == "array"   ? v.is_array()
               : t == "string"  ? v.is_string()
               : t == "integer" ? v.is_number_integer()
                                : t == "number" && v.is_number();
    }
    bool Check(const json& schemaRef, const json& v) const {
        const json& s = Resolve(schemaRef);
        if (s.contains("type") && !TypeIs(s["type"], v)) return false;
        if (s.contains("const") && v != s["const"]) return false;
        if (s.contains("enum") &&
            std::find(s["enum"].begin(), s["enum"].end(), v) == s["enum"].end())
            return false;
        if (s.contains("minimum") && v.is_number() && v < s["minimum"]) return false;
        if (s.contains("maximum") && v.is_number() && v > s["maximum"]) return false;
        if (s.contains("pattern") && v.is_string() &&
            !std::regex_match(v.get<std::string>(), std::regex(s["pattern"].get<std::string>())))
            return false;
        if (s.contains("required") && v.is_object()) {
            for (const auto& key : s["required"])
                if (!v.contains(key.get<std::string>())) return false;
        }
        if (s.contains("properties") && v.is_object()) {
            for (const auto& [key, sub] : s["properties"].items())
                if (v.contains(key) && !Check(sub, v[key])) return false;
        }
        if (s.contains("items") && v.is_array()) {
            for (const auto& item : v)
                if (!Check(s["items"], item)) return false;
        }
        if (s.contains("minItems") && v.is_array() && v.size() < s["minItems"]) return false;
        if (s.contains("not") && Check(s["not"], v)) return false;
        if (s.contains("oneOf")) {
            int valid = 0;
            for (const auto& sub : s["oneOf"]) valid += Check(sub, v) ? 1 : 0;
            if (valid != 1) return false;
        }
        return true;
    }

    json root_;
};

class BuildTest : public ToolFixture {
  protected:
    // dump's lines of a script (whatever the exit status: a backward range is a warning).
    std::string DumpLines(const std::string& script) const {
        return Exec({"dump", "--format", "json", script}).out;
    }
};

// dump's lines follow docs/dump.schema.json, and build makes them into a script that dumps the
// same again, byte for byte the same whether read from a file or standard input.
TEST_F(BuildTest, DumpFollowsItsSchemaAndBuildDumpKeepsEveryCommand) {
    const MiniSchema schema(
        json::parse(test_files::ReadFile((Repo() / "docs" / "dump.schema.json").string())));
    // The checker itself refuses what the schema excludes.
    EXPECT_FALSE(schema.Valid(
        json::parse(R"({"name":"x","parameters":[{"values":[{"type":"int32","value":1}]}]})")));
    EXPECT_FALSE(schema.Valid(json::parse(
        R"({"name":"x","parameters":[{"name":"a","values":[{"type":"int64","value":"1"}]}]})")));
    for (const std::string& script : {utf8_, gbk_, Write("kinds.txt", kKinds)}) {
        SCOPED_TRACE(script);
        const std::string lines = DumpLines(script);
        ASSERT_FALSE(lines.empty());
        for (const json& cmd : JsonLines(lines)) EXPECT_TRUE(schema.Valid(cmd)) << cmd;
        const std::string in = Write("in.json", lines);
        Run(0, {"build", in, "-o", Path("once.txt")});
        Run(0, {"build", "-", "-o", Path("twice.txt")}, in);
        const std::string once = test_files::ReadFile(Path("once.txt"));
        EXPECT_EQ(once, test_files::ReadFile(Path("twice.txt")));
        EXPECT_EQ(JsonLines(DumpLines(Path("once.txt")), true), JsonLines(lines, true));

        Run(0, {"build", in, "-o", Path("gbk.txt"), "--encoding", "GBK", "--created", "86400"});
        const std::string gbk = test_files::ReadFile(Path("gbk.txt"));
        EXPECT_TRUE(Contains(gbk, {"// encoding=\"GBK\"\n", "// 1970-01-0"}));
        EXPECT_EQ(JsonLines(DumpLines(Path("gbk.txt")), true), JsonLines(lines, true));
    }
    EXPECT_TRUE(Contains(test_files::ReadFile(Path("once.txt")),
                         {":x:{a=0xffffffff&0x80000000&-5&12.&1.5, 1&&3=x, 7&&7={b=1}&{c=2}, "
                          "12=y, e=1&&0,"}));
}

TEST_F(BuildTest, RefusesWhatAScriptCannotHoldAndWritesNothing) {
    const std::string good = R"({"name":"x","parameters":[]})";
    auto para = [](const std::string& values) {
        return R"({"name":"x","parameters":[{"name":"a",)" + values + "}]}";
    };
    cwd_ = dir_;  // so that messages name in.json as given
    auto refuses = [&](const std::string& line2, const std::string& message,
                       std::vector<std::string> args = {}) {
        SCOPED_TRACE(line2);
        Write("in.json", good + "\n" + line2 + "\n");
        args.insert(args.begin(), {"build", "in.json", "-o", "out.txt"});
        const std::string err = Run(1, args).err;
        EXPECT_EQ(err.rfind(message, 0), 0u) << err;
        EXPECT_FALSE(fs::exists(Path("out.txt")));
    };
    refuses(R"({"name":"x","parameters":[})", "in.json:2:27: error: not JSON: syntax error");
    refuses(para(R"("values":[{"type":"float","value":1}])"),
            "in.json:2: error: unknown value type \"float\"");
    refuses(para(R"("values":[{"type":"int64","value":4294967296}])"),
            "in.json:2: error: int64 value 4294967296 cannot be written");
    refuses(para(R"("values":[{"type":"int32","value":2147483648}])"),
            "in.json:2: error: int32 value 2147483648 does not fit 32 bits");
    refuses(para(R"("values":[{"type":"string","value":"a\"b"}])"),
            "in.json:2: error: a double quote in a text needs a backslash before it");
    refuses(para(R"("values":[{"type":"string","value":"a\\"}])"),
            "in.json:2: error: a text cannot end in an unpaired backslash");
    refuses(para(R"("values":[{"type":"string","value":"a\rb"}])"),
            "in.json:2: error: a text cannot hold a carriage return");
    refuses(para(R"("values":[{"type":"int64","value":1}],"groups":[[]])"),
            "in.json:2: error: parameter \"a\" has both values and groups");
    refuses(R"({"name":"Cfg","parameters":[]})", "in.json:2: error: command name \"Cfg\"");
    refuses(para(R"("values":[{"type":"string","value":"\u00e9\u4e2d"}])"),
            "in.json:2: error: \"\xC3\xA9\xE4\xB8\xAD\" cannot be written in ISO8859-1",
            {"--encoding", "ISO8859-1"});
    Write("in.json", good + "\n");
    EXPECT_TRUE(Contains(Run(2, {"build", Path("in.json"), "-o", "/nonexistent/out.txt"}).err,
                         {"/nonexistent/out.txt"}));
    EXPECT_EQ(std::distance(fs::directory_iterator(dir_), {}), 1);  // in.json alone
}

}  // namespace
