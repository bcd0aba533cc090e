// Runs the qxscript tool as a process on the bundled examples and on broken input.

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/TestFiles.h"

namespace fs = std::filesystem;

namespace {

struct ToolRun {
    int status = -1;
    std::string out;
    std::string err;
};

using test_files::ReadFile;
using test_files::WriteFile;

// Whether text holds every part; a failure shows the whole text.
::testing::AssertionResult Contains(const std::string& text,
                                    std::initializer_list<std::string> parts) {
    for (const std::string& part : parts) {
        if (text.find(part) == std::string::npos)
            return ::testing::AssertionFailure() << "no \"" << part << "\" in:\n" << text;
    }
    return ::testing::AssertionSuccess();
}

std::string Quote(const std::string& arg) {
    std::string out = "'";
    for (char c : arg) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

class ToolTest : public ::testing::Test {
  protected:
    static fs::path Repo() { return fs::path(test_files::DataDir()).parent_path().parent_path(); }
    static std::string Example(const std::string& name) {
        return (Repo() / "examples" / name).string();
    }
    static std::string Fixture(const std::string& name) {
        return test_files::DataDir("tool/" + name);
    }

    static fs::path Tool() {
        if (const char* env = std::getenv("QXSCRIPT")) return env;
        return fs::read_symlink("/proc/self/exe").parent_path().parent_path() / "tools" /
               "qxscript";
    }

    void SetUp() override {
        ASSERT_TRUE(fs::exists(Tool())) << Tool();
        ASSERT_TRUE(tmp_.ok());
    }

    ToolRun Exec(const std::vector<std::string>& args) const {
        std::string cmd = Quote(Tool().string());
        for (const std::string& a : args) cmd += " " + Quote(a);
        const std::string out = tmp_ / "stdout", err = tmp_ / "stderr";
        const int rc =
            std::system((cmd + " >" + Quote(out) + " 2>" + Quote(err) + " </dev/null").c_str());
        ToolRun run{WIFEXITED(rc) ? WEXITSTATUS(rc) : -1, ReadFile(out), ReadFile(err)};
        fs::remove(out);
        fs::remove(err);
        return run;
    }

    // A run that must end with the given exit status.
    ToolRun Run(int status, const std::vector<std::string>& args) const {
        ToolRun run = Exec(args);
        EXPECT_EQ(run.status, status) << ::testing::PrintToString(args) << "\n" << run.err;
        return run;
    }

    // The commands of a script as dump shows them, without file and line; every line of its
    // standard output must be one JSON object.
    std::vector<nlohmann::json> Commands(const std::string& script, int status = 0) const {
        std::istringstream lines(Run(status, {"dump", "--format", "json", script}).out);
        std::vector<nlohmann::json> cmds;
        for (std::string line; std::getline(lines, line);) {
            nlohmann::json cmd = nlohmann::json::parse(line);
            cmd.erase("file");
            cmd.erase("line");
            cmds.push_back(cmd);
        }
        return cmds;
    }

    test_files::TempDir tmp_{"qxscript_test"};
    const std::string dir_ = tmp_.path();
};

TEST_F(ToolTest, CheckPassesTheExamplesAndReportsEveryBrokenCommand) {
    const std::string utf8 = Example("scripts/ne_config.txt");
    const std::string gbk = Example("scripts/ne_config_gbk.txt");
    EXPECT_TRUE(Contains(
        Run(0, {"check", utf8, gbk}).out,
        {utf8 + ": 39 commands (UTF-8), all parsed", gbk + ": 39 commands (GBK), all parsed"}));

    // The trailing comma, and the last command that lacks its ";" (reported at the end).
    const std::string broken = Fixture("broken.txt");
    EXPECT_TRUE(Contains(Run(1, {"check", broken}).out,
                         {broken + ":5: error: cannot parse command\n    :cfg-set-port:{port=2,};",
                          broken + ":10: error: cannot parse command\n    :CFG-SET-PORT:",
                          broken + ":6: error: text is not valid UTF-8",
                          "3 commands (UTF-8), 2 commands cannot be parsed"}));

    // Unreadable files outrank findings; the other files are still checked.
    const ToolRun run = Run(2, {"check", broken, tmp_ / "missing.txt", dir_});
    EXPECT_TRUE(
        Contains(run.err, {"missing.txt: No such file or directory", dir_ + ": is a directory"}));
    EXPECT_TRUE(Contains(run.out, {broken + ":5:"}));

    EXPECT_EQ(Run(0, {"check", "-q", utf8}).out, "");
}

TEST_F(ToolTest, DumpGivesOneTypedJsonObjectPerCommandAndNothingElseOnStdout) {
    const std::vector<nlohmann::json> cmds = Commands(Example("scripts/ne_config_gbk.txt"));
    ASSERT_EQ(cmds.size(), 39u);
    EXPECT_EQ(cmds[0]["name"], "cfg-nepara");
    EXPECT_EQ(cmds[0]["parameters"][2]["values"][0]["value"], "汇聚-北环-03");
    EXPECT_EQ(cmds[0]["parameters"][1]["values"][0],
              nlohmann::json({{"type", "int64"}, {"value", 12}}));
    // Groups nest, and doubles and 32-bit range values keep their types.
    bool sawNestedGroups = false;
    for (const auto& cmd : cmds) {
        for (const auto& p : cmd["parameters"])
            sawNestedGroups |= p.contains("groups") && p["groups"][0][0].contains("groups");
    }
    EXPECT_TRUE(sawNestedGroups);
    EXPECT_TRUE(Contains(nlohmann::json(cmds).dump(), {R"("type":"double")", R"("type":"int32")"}));

    // The parser's own messages about broken commands stay off standard output.
    EXPECT_EQ(Commands(Fixture("broken.txt"), 1).size(), 3u);
    EXPECT_TRUE(Contains(Exec({"dump", "--format", "json", Fixture("broken.txt")}).err,
                         {"broken.txt:5: error: cannot parse command"}));
}

TEST_F(ToolTest, FmtRewritesIntoTheOtherEncodingWithoutChangingAnyCommand) {
    const std::string gbk = Example("scripts/ne_config_gbk.txt");
    const std::string utf8 = Example("scripts/ne_config.txt");
    const std::string toUtf8 = tmp_ / "from_gbk.txt", toGbk = tmp_ / "from_utf8.txt";
    Run(0, {"fmt", "--encoding", "UTF-8", "-o", toUtf8, gbk});
    Run(0, {"fmt", "--encoding", "GBK", "-o", toGbk, utf8});
    EXPECT_EQ(Commands(toUtf8), Commands(gbk));
    EXPECT_EQ(Commands(toGbk), Commands(utf8));
    const std::string written = ReadFile(toUtf8);
    EXPECT_TRUE(Contains(written, {"// encoding=\"UTF-8\"", "// NE Configuration Data Script\n",
                                   "nename=\"汇聚-北环-03\"", "slot=11&&18", ":cfg-save:{};"}));
    EXPECT_TRUE(Contains(ReadFile(toGbk), {"// encoding=\"GBK\""}));

    // A second pass changes nothing but the creation line; standard output by default.
    const std::string again = tmp_ / "again.txt";
    Run(0, {"fmt", "-o", again, toUtf8});
    auto body = [](const std::string& s) { return s.substr(s.find("encoding=")); };
    EXPECT_EQ(body(ReadFile(again)), body(written));
    EXPECT_EQ(body(Run(0, {"fmt", gbk}).out), body(written));
}

TEST_F(ToolTest, FmtKeepsEveryValueKindAndType) {
    // Quoted texts that would read differently bare, empty and reversed ranges, 32-bit range
    // values among 64-bit numbers, ranges of names, groups, escapes, commands without
    // parameters.
    const std::string values = Fixture("values.txt"), out = tmp_ / "values.txt";
    Run(0, {"fmt", "-o", out, values});
    EXPECT_EQ(Commands(out), Commands(values));
    EXPECT_TRUE(
        Contains(ReadFile(out), {"a=\"Upper Case\"", "b=\"12\"", "d=1&&0", "e=1&&3&7&9&&10",
                                 "5&&7=x", "\"Quoted Name\"=1", "{k=2&&2}", ":cfg-edge:{};"}));

    // The new header names the source's version, which decides how escapes are read.
    EXPECT_TRUE(Contains(Exec({"fmt", Fixture("q5300_version.txt")}).out,
                         {"// EMS version = Q5300V100R002C01\n//{{script_version=3.2.1.0}}\n"}));

    // Latin-1 text goes into ISO8859-1 and back.
    const std::string latin = tmp_ / "latin.txt";
    Run(0, {"fmt", "--encoding", "ISO8859-1", "-o", latin, Fixture("latin.txt")});
    EXPECT_TRUE(Contains(ReadFile(latin), {"caf\xe9 cr\xe8me"}));
    EXPECT_EQ(Commands(latin), Commands(Fixture("latin.txt")));
}

TEST_F(ToolTest, CheckReadsTheEncodingFromTheHeader) {
    // Without an encoding line a script is read as GBK.
    EXPECT_TRUE(Contains(Run(1, {"check", Fixture("no_header.txt"), Fixture("bad_gbk.txt")}).out,
                         {"no_header.txt: 1 command (GBK), all parsed",
                          "bad_gbk.txt:3: error: text is not valid GBK"}));

    // A large file read without a terminal: no progress bar, same count.
    const std::string cmd = ":cfg-set-port:{port=1&&4, descr=\"" + std::string(100, 'x') + "\"};\n";
    std::string big = "// encoding=\"UTF-8\"\n";
    for (std::size_t size = 0; size < (5u << 20); size += cmd.size()) big += cmd;
    WriteFile(tmp_ / "big.txt", big);
    const ToolRun run = Run(0, {"check", tmp_ / "big.txt"});
    EXPECT_EQ(run.err, "");
    EXPECT_TRUE(Contains(run.out, {": 38270 commands (UTF-8), all parsed"}));
}

TEST_F(ToolTest, FmtLeavesTheOutputAloneWhenItWouldLoseSomething) {
    const std::string out = tmp_ / "out.txt";
    WriteFile(out, "previous content\n");
    EXPECT_TRUE(
        Contains(Run(1, {"fmt", "-o", out, Fixture("broken.txt")}).err, {"nothing written"}));
    EXPECT_TRUE(Contains(
        Run(1, {"fmt", "--encoding", "ISO8859-1", "-o", out, Example("scripts/ne_config_gbk.txt")})
            .err,
        {"cannot be written in ISO8859-1"}));
    const std::string script = Example("scripts/ne_config.txt");
    Run(1, {"fmt", "--no-auto-names", "-o", out, script});
    Run(2, {"fmt", "--encoding", "UTF8", "-o", out, script});
    Run(2, {"fmt", "-o", tmp_ / "no/such/dir/out.txt", script});
    EXPECT_EQ(ReadFile(out), "previous content\n");
    EXPECT_EQ(std::distance(fs::directory_iterator(dir_), {}), 1);  // no temporary files left

    // In place: the file is replaced whole and keeps its permission bits.
    const std::string inPlace = tmp_ / "script.txt";
    fs::copy_file(script, inPlace);
    fs::permissions(inPlace, fs::perms::owner_read | fs::perms::owner_write);
    Run(0, {"fmt", "-i", inPlace});
    EXPECT_EQ(Commands(inPlace), Commands(script));
    EXPECT_EQ(fs::status(inPlace).permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(ToolTest, CommandNamesComeFromTablesNamesFilesOrTheScript) {
    const std::string script = Example("scripts/ne_config.txt");
    // Codes of the table; names it lacks follow its highest code, in order of appearance.
    EXPECT_TRUE(Contains(
        Run(0, {"dump", "--format", "json", "--enum", Example("config/script_enum.xml"), script})
            .out,
        {R"("name":"cfg-nepara","code":1001)", R"("name":"cfg-set-nemgmt","code":65538)"}));
    // Status 1 for the broken commands.
    EXPECT_TRUE(Contains(
        Run(1, {"dump", "--names", Fixture("names.txt"), "--no-auto-names", Fixture("broken.txt")})
            .out,
        {"cfg-set-port (code 2001)"}));
    EXPECT_TRUE(
        Contains(Run(1, {"check", "--names", Fixture("names.txt"), "--no-auto-names", script}).out,
                 {"commands named \"cfg-set-nemgmt\" skipped", "3 commands (UTF-8)"}));

    WriteFile(tmp_ / "bad_names.txt", "12 a b\n");
    EXPECT_TRUE(Contains(Run(2, {"check", "--names", tmp_ / "bad_names.txt", script}).err,
                         {"bad_names.txt:1: expected \"ID NAME\""}));
    EXPECT_TRUE(Contains(Run(2, {"check", "--enum", Fixture("malformed_enum.xml"), script}).err,
                         {"malformed_enum.xml"}));
}

TEST_F(ToolTest, SlotsConvertsTheNesOfTheScriptAsItsHeaderSays) {
    const std::string cfg = Example("config/slotcovert_cmd_cfg.xml");
    const std::string script = Fixture("old_slots_NE.txt");
    const std::string out = tmp_ / "converted.txt", log = tmp_ / "converted.log";
    Run(0, {"slots", "--config", cfg, "-o", out, "--log", log, script});
    // NE 9-3 is declared by cfg-nepara: 203 is shelf 2 slot 3, 85 becomes 125.
    EXPECT_TRUE(Contains(ReadFile(out), {":cfg-set-board:{neid=9-3, bid=131075, boardtype=eg16};",
                                         ":cfg-set-board:{neid=7-1, bid=203, boardtype=eg16};",
                                         ":cfg-onepara:{neid=9-3, slot=125, value=1-131075};",
                                         "// SlotFlagVer=1.1 \n"}));
    EXPECT_TRUE(Contains(ReadFile(log), {"bid=203"}));
    EXPECT_TRUE(Contains(Run(0, {"slots", "--config", cfg, "--ne", "7-1", script}).out,
                         {":cfg-set-board:{neid=7-1, bid=131075, boardtype=eg16};"}));

    // A header that already says 1.1 leaves the numbers alone.
    WriteFile(tmp_ / "new_NE.txt", "// SlotFlagVer=1.1 \n" + ReadFile(script));
    EXPECT_TRUE(Contains(Run(0, {"slots", "--config", cfg, tmp_ / "new_NE.txt"}).out,
                         {"neid=9-3, bid=203,"}));

    Run(2, {"slots", "--config", tmp_ / "none.xml", script});
    Run(2, {"slots", "--config", cfg, "--ne", "9/3", script});
    Run(1, {"slots", "--config", cfg, "-o", out, Fixture("broken.txt")});
    EXPECT_TRUE(Contains(ReadFile(out), {"bid=131075"}));  // untouched
}

TEST_F(ToolTest, EnumAndNameConvertSingleValues) {
    const std::string cfg = Example("config/script_enum.xml");
    EXPECT_EQ(Run(0, {"enum", "--config", cfg, "s2c", "1003", "admin", "up"}).out, "1\n");
    EXPECT_EQ(Run(0, {"enum", "--config", cfg, "c2s", "1003", "admin", "1"}).out, "up\n");
    EXPECT_EQ(
        Run(0, {"enum", "--config", cfg, "s2c", "1002", "boardtype", "SL64", "--extend", "1"}).out,
        "20\n");
    EXPECT_EQ(Run(0, {"enum", "--config", cfg, "c2s", "1030", "threshold", "-1"}).out, "off\n");
    EXPECT_TRUE(Contains(Run(1, {"enum", "--config", cfg, "s2c", "1003", "admin", "UP"}).err,
                         {"no enumeration value named \"UP\""}));
    Run(2, {"enum", "--config", cfg, "c2s", "1003", "admin", "x"});
    Run(2, {"enum", "--config", Fixture("malformed_enum.xml"), "s2c", "1", "a", "b"});
    Run(2, {"enum", "--config", cfg, "x2y", "1", "a", "b"});

    EXPECT_EQ(
        Run(0, {"name", "generate", "NE", "--ne", "9-3", "--text", "cfg", "--encoding", "GBK"}).out,
        "NE_9-3_cfg_(GBK).txt\n");
    EXPECT_EQ(Run(0, {"name", "generate", "a/b", "--text", "x&y"}).out, "a_b_x_y_(UTF-8).txt\n");
    const ToolRun run =
        Run(1, {"name", "analyse", "dir/NE_9-3_cfg_(GBK).txt", "NE_10.1.2.3_x.txt", "NE.txt"});
    EXPECT_EQ(run.out,
              "dir/NE_9-3_cfg_(GBK).txt: prefix=NE ne=9-3 (0x00090003) ip=-\n"
              "NE_10.1.2.3_x.txt: prefix=NE ne=- ip=10.1.2.3\n");
    EXPECT_TRUE(Contains(run.err, {"NE.txt: not a script file name"}));
}

TEST_F(ToolTest, HelpVersionAndDocsAgree) {
    EXPECT_EQ(Run(0, {"--version"}).out.rfind("qxscript ", 0), 0u);
    for (const char* sub : {"check", "dump", "fmt", "slots", "enum"}) {
        EXPECT_TRUE(Contains(Run(0, {sub, "--help"}).out, {"Example"})) << sub;
    }
    for (const auto& args : {std::vector<std::string>{}, {"frobnicate"}, {"check"}}) Run(2, args);

    // docs/qxscript.md is generated from these texts (target qxscript-docs).
    EXPECT_EQ(Run(0, {"help-all", "--markdown"}).out, ReadFile(Repo() / "docs" / "qxscript.md"))
        << "docs/qxscript.md is stale: build the target qxscript-docs";
}

}  // namespace
