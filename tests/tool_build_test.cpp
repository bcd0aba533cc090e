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

class BuildTest : public ToolFixture {
  protected:
    // dump's lines of a script (whatever the exit status: a backward range is a warning).
    std::string DumpLines(const std::string& script) const {
        return Exec({"dump", "--format", "json", script}).out;
    }
};

TEST_F(BuildTest, DumpBuildDumpKeepsEveryCommandAndBuildsTheSameBytes) {
    const std::vector<std::string> scripts = {Example("scripts/ne_config.txt"),
                                              Example("scripts/ne_config_gbk.txt"),
                                              Write("kinds.txt", kKinds)};
    for (const std::string& script : scripts) {
        SCOPED_TRACE(script);
        const std::string lines = DumpLines(script);
        ASSERT_FALSE(lines.empty());
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
    const struct {
        std::string line2;
        std::vector<std::string> args;
        std::string message;
    } cases[] = {
        {R"({"name":"x","parameters":[})", {}, "in.json:2:27: error: not JSON: syntax error"},
        {para(R"("values":[{"type":"float","value":1}])"),
         {},
         "in.json:2: error: unknown value type \"float\""},
        {para(R"("values":[{"type":"int64","value":4294967296}])"),
         {},
         "in.json:2: error: int64 value 4294967296 cannot be written"},
        {para(R"("values":[{"type":"int32","value":2147483648}])"),
         {},
         "in.json:2: error: int32 value 2147483648 does not fit 32 bits"},
        {para(R"("values":[{"type":"string","value":"a\"b"}])"),
         {},
         "in.json:2: error: a double quote in a text needs a backslash before it"},
        {para(R"("values":[{"type":"string","value":"a\\"}])"),
         {},
         "in.json:2: error: a text cannot end in an unpaired backslash"},
        {para(R"("values":[{"type":"string","value":"a\rb"}])"),
         {},
         "in.json:2: error: a text cannot hold a carriage return"},
        {para(R"("values":[{"type":"int64","value":1}],"groups":[[]])"),
         {},
         "in.json:2: error: parameter \"a\" has both values and groups"},
        {R"({"name":"Cfg","parameters":[]})", {}, "in.json:2: error: command name \"Cfg\""},
        {para(R"("values":[{"type":"string","value":"\u00e9\u4e2d"}])"),
         {"--encoding", "ISO8859-1"},
         "in.json:2: error: \"\xC3\xA9\xE4\xB8\xAD\" cannot be written in ISO8859-1"},
    };
    cwd_ = dir_;  // so that messages name in.json as given
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line2);
        Write("in.json", good + "\n" + c.line2 + "\n");
        std::vector<std::string> args = {"build", "in.json", "-o", "out.txt"};
        args.insert(args.end(), c.args.begin(), c.args.end());
        const std::string err = Run(1, args).err;
        EXPECT_EQ(err.rfind(c.message, 0), 0u) << err;
        EXPECT_FALSE(fs::exists(Path("out.txt")));
    }
    Write("in.json", good + "\n");
    EXPECT_TRUE(Contains(Run(2, {"build", Path("in.json"), "-o", "/nonexistent/out.txt"}).err,
                         {"/nonexistent/out.txt"}));
    std::vector<std::string> left;
    for (const auto& e : fs::directory_iterator(dir_)) left.push_back(e.path().filename());
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left, std::vector<std::string>{"in.json"});
}

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
        if (t == "object") return v.is_object();
        if (t == "array") return v.is_array();
        if (t == "string") return v.is_string();
        if (t == "integer") return v.is_number_integer();
        if (t == "number") return v.is_number();
        return false;
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

TEST_F(BuildTest, DumpOutputFollowsItsSchema) {
    const MiniSchema schema(
        json::parse(test_files::ReadFile((Repo() / "docs" / "dump.schema.json").string())));
    // The checker itself refuses what the schema excludes.
    EXPECT_FALSE(schema.Valid(
        json::parse(R"({"name":"x","parameters":[{"values":[{"type":"int32","value":1}]}]})")));
    EXPECT_FALSE(schema.Valid(json::parse(
        R"({"name":"x","parameters":[{"name":"a","values":[{"type":"int64","value":"1"}]}]})")));
    for (const std::string& script :
         {Example("scripts/ne_config.txt"), Example("scripts/ne_config_gbk.txt"),
          Write("kinds.txt", kKinds)}) {
        const std::vector<json> cmds = JsonLines(DumpLines(script));
        EXPECT_FALSE(cmds.empty()) << script;
        for (const json& cmd : cmds) EXPECT_TRUE(schema.Valid(cmd)) << cmd;
    }
}

}  // namespace
