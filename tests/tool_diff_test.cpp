// qxscript diff as a process: what an import would see differently in two scripts.

#include "tests/ToolRun.h"

namespace {

using namespace tool_run;
using nlohmann::json;

constexpr char kBefore[] =
    "// encoding=\"UTF-8\"\n"
    ":cfg-set-port:{neid=1, port=1, admin=up, mtu=1500};\n"
    ":cfg-set-port:{neid=1, port=2, admin=up, mtu=1500};\n"
    ":cfg-add-ne:{neid=5, name=\"North\"};\n"
    ":cfg-add-ne:{neid=5, name=\"North\"};\n"
    ":cfg-set-vlan:{neid=1, vlans={id=10, tag=1&2}&{id=20, tag=3}};\n"
    ":cfg-set-lag:{lag=1, ports=1&&3};\n"
    ":cfg-del-ne:{neid=7};\n";

// Reordered, one duplicate gone, a port changed, groups changed, one NE added; the lag's
// ports written alone are 64-bit numbers, not range members.
constexpr char kAfter[] =
    "// encoding=\"UTF-8\"\n"
    "/* reordered */\n"
    ":cfg-del-ne:{neid=7};\n"
    ":cfg-set-vlan:{neid=1, vlans={id=10, tag=2&1}&{id=21, tag=3}&{id=30}};\n"
    ":cfg-set-port:{neid=1, port=2, admin=down, speed=1000};\n"
    ":cfg-add-ne:{neid=5, name=\"North\"};\n"
    ":cfg-set-lag:{lag=1, ports=1&2&3};\n"
    ":cfg-set-port:{neid=1, port=1, admin=up, mtu=1500};\n"
    ":cfg-add-ne:{neid=6, name=south};\n";

class DiffTest : public ToolFixture {
  protected:
    void SetUp() override {
        ToolFixture::SetUp();
        cwd_ = dir_;  // messages name the files as given
        Write("a.txt", kBefore);
        Write("b.txt", kAfter);
    }
};

TEST_F(DiffTest, ScriptsThatReadAlikeAreEqual) {
    // The GBK example against its UTF-8 rewrite (fresh header, other layout), and a UTF-8
    // script against a GBK one with comments, wrapping, hexadecimal, quotes, upper case and
    // another order of commands and parameters.
    Run(0, {"fmt", "--encoding", "UTF-8", "-o", "utf8.txt", gbk_});
    EXPECT_EQ(Run(0, {"-q", "diff", gbk_, "utf8.txt"}).out, "");

    Write("x.txt",
          "// encoding=\"UTF-8\"\n"
          ":cfg-a:{name=\"\xE5\x8C\x97\", hw=31, d=1.5};\n:cfg-b:{n=1};\n");
    Write("y.txt",
          "// header\n// encoding=\"GBK\"\n\n:CFG-B:{N=1}; // same\n"
          "/* block */ :cfg-a:{HW=0x1F,\n   d=1.50,\n name=\"\xB1\xB1\"};\n");
    const ToolRun run = Run(0, {"diff", "x.txt", "y.txt"});
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "x.txt -> y.txt: 0 removed, 0 added, 0 changed\n");
}

TEST_F(DiffTest, ShowsChangesAdditionsAndRemovalsPairedByKeysOrFirstParameter) {
    // Without keys, ports pair on their first parameter (neid) once the equal ones are gone;
    // the duplicate NE is one removal; a list differs from a range by type.
    EXPECT_EQ(Run(1, {"-q", "diff", "a.txt", "b.txt"}).out,
              "~ a.txt:3 b.txt:5 cfg-set-port neid=1: admin: up -> down\n"
              "~ a.txt:3 b.txt:5 cfg-set-port neid=1: - mtu=1500\n"
              "~ a.txt:3 b.txt:5 cfg-set-port neid=1: + speed=1000\n"
              "- a.txt:5 :cfg-add-ne:{neid=5, name=\"North\"};\n"
              "~ a.txt:6 b.txt:4 cfg-set-vlan neid=1: vlans{1}.tag: 1&2 -> 2&1\n"
              "~ a.txt:6 b.txt:4 cfg-set-vlan neid=1: vlans{2}.id: 20 -> 21\n"
              "~ a.txt:6 b.txt:4 cfg-set-vlan neid=1: + vlans{3}={id=30}\n"
              "~ a.txt:7 b.txt:7 cfg-set-lag lag=1: ports: 1&&3 -> 1&2&3\n"
              "+ b.txt:9 :cfg-add-ne:{neid=6, name=south};\n");

    // Keys name the port; a command the keys file does not list pairs by its first parameter;
    // unordered values make 1&2 equal 2&1. A port keyed to another number no longer pairs.
    Write("keys.txt", "# objects\ncfg-set-port neid,port\n\ncfg-add-ne neid,name\n");
    Write("c.txt", std::string(kAfter) + ":cfg-set-port:{neid=1, port=3, admin=up};\n");
    EXPECT_EQ(
        Run(1, {"-q", "diff", "--keys", "keys.txt", "--unordered-values", "a.txt", "c.txt"}).out,
        "~ a.txt:3 c.txt:5 cfg-set-port neid=1, port=2: admin: up -> down\n"
        "~ a.txt:3 c.txt:5 cfg-set-port neid=1, port=2: - mtu=1500\n"
        "~ a.txt:3 c.txt:5 cfg-set-port neid=1, port=2: + speed=1000\n"
        "- a.txt:5 :cfg-add-ne:{neid=5, name=\"North\"};\n"
        "~ a.txt:6 c.txt:4 cfg-set-vlan neid=1: vlans{2}.id: 20 -> 21\n"
        "~ a.txt:6 c.txt:4 cfg-set-vlan neid=1: + vlans{3}={id=30}\n"
        "~ a.txt:7 c.txt:7 cfg-set-lag lag=1: ports: 1&&3 -> 1&2&3\n"
        "+ c.txt:9 :cfg-add-ne:{neid=6, name=south};\n"
        "+ c.txt:10 :cfg-set-port:{neid=1, port=3, admin=up};\n");

    Write("bad-keys.txt", "cfg-set-port\n");
    EXPECT_TRUE(Contains(Run(2, {"diff", "--keys", "bad-keys.txt", "a.txt", "b.txt"}).err,
                         {"bad-keys.txt:1: error: expected \"cmd-name param1,param2\""}));
}

TEST_F(DiffTest, JsonLinesAndTheScriptOfNewAndChangedCommands) {
    const std::vector<json> diffs = JsonLines(
        Run(1, {"diff", "--format", "json", "--script", "new.txt", "a.txt", "b.txt"}).out);
    ASSERT_EQ(diffs.size(), 9u);
    EXPECT_EQ(diffs[0], json::parse(R"({"change":"changed","a":{"file":"a.txt","line":3},
        "b":{"file":"b.txt","line":5},"name":"cfg-set-port","key":"neid=1","path":"admin",
        "old":{"name":"admin","values":[{"type":"string","value":"up"}]},
        "new":{"name":"admin","values":[{"type":"string","value":"down"}]}})"));
    EXPECT_EQ(diffs[1]["new"], nullptr);
    EXPECT_EQ(diffs[3], json::parse(R"({"change":"removed","a":{"file":"a.txt","line":5},
        "name":"cfg-add-ne","parameters":[{"name":"neid","values":[{"type":"int64","value":5}]},
        {"name":"name","values":[{"type":"string","value":"North"}]}]})"));
    EXPECT_EQ(diffs[6]["path"], "vlans{3}");
    EXPECT_EQ(diffs[8]["change"], "added");

    // The script holds B's changed and added commands in B's order, as B has them; it
    // differs from B only by what B has beyond them.
    std::vector<json> written = Commands(Path("new.txt"));
    std::vector<json> after = Commands(Path("b.txt"));
    ASSERT_EQ(written.size(), 4u);
    for (json& cmd : written) cmd.erase("code");
    for (json& cmd : after) cmd.erase("code");
    EXPECT_EQ(written, (std::vector<json>{after[1], after[2], after[4], after[6]}));

    // Trouble: a command that cannot be read stops the comparison and writes nothing.
    Write("broken.txt", std::string(kAfter) + ":cfg-x:{a=};\n");
    fs::remove(Path("new.txt"));
    EXPECT_TRUE(Contains(Run(2, {"diff", "--script", "new.txt", "a.txt", "broken.txt"}).err,
                         {"broken.txt:10:", "not compared"}));
    EXPECT_FALSE(fs::exists(Path("new.txt")));
    Run(2, {"diff", "a.txt", "missing.txt"});
}

}  // namespace
