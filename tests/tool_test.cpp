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

fs::path TestData() {
    return test_files::DataDir();
}

// Whether text holds part; a failure shows the whole text.
::testing::AssertionResult Contains(const std::string& text, const std::string& part) {
    if (text.find(part) != std::string::npos) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "no \"" << part << "\" in:\n" << text;
}

std::string Quote(const std::string& arg) {
    std::string out = "'";
    for (char c : arg) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

class ToolTest : public ::testing::Test {
  protected:
    static fs::path Repo() { return TestData().parent_path().parent_path(); }
    static fs::path Example(const std::string& name) { return Repo() / "examples" / name; }
    static fs::path Fixture(const std::string& name) { return TestData() / "tool" / name; }

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
        const fs::path out = dir_ / "stdout";
        const fs::path err = dir_ / "stderr";
        cmd += " >" + Quote(out.string()) + " 2>" + Quote(err.string()) + " </dev/null";
        ToolRun run;
        const int rc = std::system(cmd.c_str());
        run.status = WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
        run.out = ReadFile(out);
        run.err = ReadFile(err);
        fs::remove(out);
        fs::remove(err);
        return run;
    }

    // The commands of a script as dump shows them, without file and line.
    std::vector<nlohmann::json> Commands(const fs::path& script) const {
        const ToolRun run = Exec({"dump", "--format", "json", script.string()});
        EXPECT_EQ(run.status, 0) << run.err;
        std::vector<nlohmann::json> cmds;
        std::istringstream lines(run.out);
        for (std::string line; std::getline(lines, line);) {
            nlohmann::json cmd = nlohmann::json::parse(line);
            cmd.erase("file");
            cmd.erase("line");
            cmds.push_back(cmd);
        }
        return cmds;
    }

    // Runs that must end with the given exit status, whatever they print.
    void ExpectStatus(int status, const std::vector<std::vector<std::string>>& runs) const {
        for (const auto& args : runs) {
            const ToolRun run = Exec(args);
            EXPECT_EQ(run.status, status) << ::testing::PrintToString(args) << "\n" << run.err;
        }
    }

    std::vector<std::string> DirEntries() const {
        std::vector<std::string> names;
        for (const auto& e : fs::directory_iterator(dir_)) names.push_back(e.path().filename());
        return names;
    }

    test_files::TempDir tmp_{"qxscript_test"};
    const fs::path dir_ = tmp_.path();
};

TEST_F(ToolTest, CheckPassesTheExamplesAndReportsEveryBrokenCommand) {
    const fs::path utf8 = Example("scripts/ne_config.txt");
    const fs::path gbk = Example("scripts/ne_config_gbk.txt");
    ToolRun run = Exec({"check", utf8.string(), gbk.string()});
    EXPECT_EQ(run.status, 0) << run.out << run.err;
    EXPECT_TRUE(Contains(run.out, utf8.string() + ": 39 commands (UTF-8), all parsed"));
    EXPECT_TRUE(Contains(run.out, gbk.string() + ": 39 commands (GBK), all parsed"));

    const std::string broken = Fixture("broken.txt").string();
    run = Exec({"check", broken});
    EXPECT_EQ(run.status, 1);
    // The trailing comma, and the last command that lacks its ";" (reported at the end).
    EXPECT_TRUE(Contains(run.out,
                         broken + ":5: error: cannot parse command\n    :cfg-set-port:{port=2,};"));
    EXPECT_TRUE(Contains(run.out, broken + ":10: error: cannot parse command\n    :CFG-SET-PORT:"));
    EXPECT_TRUE(Contains(run.out, broken + ":6: error: text is not valid UTF-8"));
    EXPECT_TRUE(Contains(run.out, "3 commands (UTF-8), 2 commands cannot be parsed"));

    // Unreadable files outrank findings; the other files are still checked.
    run = Exec({"check", broken, (dir_ / "missing.txt").string(), dir_.string()});
    EXPECT_EQ(run.status, 2);
    EXPECT_TRUE(Contains(run.err, "missing.txt: No such file or directory"));
    EXPECT_TRUE(Contains(run.err, dir_.string() + ": is a directory"));
    EXPECT_TRUE(Contains(run.out, broken + ":5:"));

    run = Exec({"check", "-q", utf8.string()});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "");
}

TEST_F(ToolTest, DumpGivesOneTypedJsonObjectPerCommandAndNothingElseOnStdout) {
    const std::vector<nlohmann::json> cmds = Commands(Example("scripts/ne_config_gbk.txt"));
    ASSERT_EQ(cmds.size(), 39u);
    EXPECT_EQ(cmds[0]["name"], "cfg-nepara");
    EXPECT_EQ(cmds[0]["parameters"][2]["values"][0]["value"], "汇聚-北环-03");
    EXPECT_EQ(cmds[0]["parameters"][1]["values"][0],
              nlohmann::json({{"type", "int64"}, {"value", 12}}));
    bool sawGroups = false;
    bool sawDouble = false;
    bool sawRange = false;
    for (const auto& cmd : cmds) {
        for (const auto& p : cmd["parameters"]) {
            if (p.contains("groups") && p["groups"][0][0].contains("groups")) sawGroups = true;
            for (const auto& v : p.value("values", nlohmann::json::array())) {
                sawDouble = sawDouble || v["type"] == "double";
                sawRange = sawRange || v["type"] == "int32";
            }
        }
    }
    EXPECT_TRUE(sawGroups && sawDouble && sawRange);

    // The parser's own messages about broken commands stay off standard output.
    const ToolRun run = Exec({"dump", "--format", "json", Fixture("broken.txt").string()});
    EXPECT_EQ(run.status, 1);
    std::istringstream lines(run.out);
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        EXPECT_TRUE(nlohmann::json::accept(line)) << line;
    }
    EXPECT_EQ(count, 3);
    EXPECT_TRUE(Contains(run.err, "broken.txt:5: error: cannot parse command"));
}

TEST_F(ToolTest, FmtRewritesIntoTheOtherEncodingWithoutChangingAnyCommand) {
    const fs::path gbk = Example("scripts/ne_config_gbk.txt");
    const fs::path utf8 = Example("scripts/ne_config.txt");
    const fs::path toUtf8 = dir_ / "from_gbk.txt";
    const fs::path toGbk = dir_ / "from_utf8.txt";
    ASSERT_EQ(Exec({"fmt", "--encoding", "UTF-8", "-o", toUtf8.string(), gbk.string()}).status, 0);
    ASSERT_EQ(Exec({"fmt", "--encoding", "GBK", "-o", toGbk.string(), utf8.string()}).status, 0);

    EXPECT_EQ(Commands(toUtf8), Commands(gbk));
    EXPECT_EQ(Commands(toGbk), Commands(utf8));
    const std::string written = ReadFile(toUtf8);
    EXPECT_TRUE(Contains(written, "// encoding=\"UTF-8\""));
    EXPECT_TRUE(Contains(written, "// NE Configuration Data Script\n"));
    EXPECT_TRUE(Contains(written, "nename=\"汇聚-北环-03\""));
    EXPECT_TRUE(Contains(written, "slot=11&&18"));
    EXPECT_TRUE(Contains(written, ":cfg-save:{};"));
    EXPECT_TRUE(Contains(ReadFile(toGbk), "// encoding=\"GBK\""));

    // A second pass changes nothing but the creation line.
    const fs::path again = dir_ / "again.txt";
    ASSERT_EQ(Exec({"fmt", "-o", again.string(), toUtf8.string()}).status, 0);
    auto body = [](const std::string& s) { return s.substr(s.find("encoding=")); };
    EXPECT_EQ(body(ReadFile(again)), body(written));

    // Standard output by default.
    const ToolRun run = Exec({"fmt", gbk.string()});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(body(run.out), body(written));
}

TEST_F(ToolTest, FmtKeepsEveryValueKindAndType) {
    // Quoted texts that would read differently bare, empty and reversed ranges, 32-bit range
    // values among 64-bit numbers, ranges of names, groups, escapes, commands without
    // parameters.
    const fs::path values = Fixture("values.txt");
    const fs::path out = dir_ / "values.txt";
    ASSERT_EQ(Exec({"fmt", "-o", out.string(), values.string()}).status, 0);
    EXPECT_EQ(Commands(out), Commands(values));
    const std::string text = ReadFile(out);
    for (const char* kept : {"a=\"Upper Case\"", "b=\"12\"", "d=1&&0", "e=1&&3&7&9&&10", "5&&7=x",
                             "\"Quoted Name\"=1", "{k=2&&2}", ":cfg-edge:{};"}) {
        EXPECT_TRUE(Contains(text, kept));
    }

    // The new header names the source's version, which decides how escapes are read.
    const ToolRun run = Exec({"fmt", Fixture("q5300_version.txt").string()});
    EXPECT_TRUE(
        Contains(run.out, "// EMS version = Q5300V100R002C01\n//{{script_version=3.2.1.0}}\n"));

    // Latin-1 text goes into ISO8859-1 and back.
    const fs::path latin = dir_ / "latin.txt";
    ASSERT_EQ(Exec({"fmt", "--encoding", "ISO8859-1", "-o", latin.string(),
                    Fixture("latin.txt").string()})
                  .status,
              0);
    EXPECT_TRUE(Contains(ReadFile(latin), "caf\xe9 cr\xe8me"));
    EXPECT_EQ(Commands(latin), Commands(Fixture("latin.txt")));
}

TEST_F(ToolTest, CheckReadsTheEncodingFromTheHeader) {
    const ToolRun run =
        Exec({"check", Fixture("no_header.txt").string(), Fixture("bad_gbk.txt").string()});
    EXPECT_EQ(run.status, 1);
    // Without an encoding line a script is read as GBK.
    EXPECT_TRUE(Contains(run.out, "no_header.txt: 1 command (GBK), all parsed"));
    EXPECT_TRUE(Contains(run.out, "bad_gbk.txt:3: error: text is not valid GBK"));

    // A large file read without a terminal: no progress bar, same count.
    const fs::path big = dir_ / "big.txt";
    {
        std::ofstream out(big, std::ios::binary);
        out << "// encoding=\"UTF-8\"\n";
        const std::string cmd =
            ":cfg-set-port:{port=1&&4, descr=\"" + std::string(100, 'x') + "\"};\n";
        for (std::size_t size = 0; size < (5u << 20); size += cmd.size()) out << cmd;
    }
    const ToolRun bigRun = Exec({"check", big.string()});
    EXPECT_EQ(bigRun.status, 0);
    EXPECT_EQ(bigRun.err, "");
    EXPECT_TRUE(Contains(bigRun.out, ": 38270 commands (UTF-8), all parsed"));
}

TEST_F(ToolTest, FmtLeavesTheOutputAloneWhenItWouldLoseSomething) {
    const fs::path out = dir_ / "out.txt";
    WriteFile(out, "previous content\n");

    ToolRun run = Exec({"fmt", "-o", out.string(), Fixture("broken.txt").string()});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(Contains(run.err, "nothing written"));

    run = Exec({"fmt", "--encoding", "ISO8859-1", "-o", out.string(),
                Example("scripts/ne_config_gbk.txt").string()});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(Contains(run.err, "cannot be written in ISO8859-1"));

    const std::string script = Example("scripts/ne_config.txt").string();
    ExpectStatus(1, {{"fmt", "--no-auto-names", "-o", out.string(), script}});
    ExpectStatus(2, {{"fmt", "--encoding", "UTF8", "-o", out.string(), script},
                     {"fmt", "-o", (dir_ / "no/such/dir/out.txt").string(), script}});
    EXPECT_EQ(ReadFile(out), "previous content\n");
    EXPECT_EQ(DirEntries(), std::vector<std::string>{"out.txt"});  // no temporary files left

    // In place: the file is replaced whole and keeps its permission bits.
    const fs::path inPlace = dir_ / "script.txt";
    fs::copy_file(script, inPlace);
    fs::permissions(inPlace, fs::perms::owner_read | fs::perms::owner_write);
    ASSERT_EQ(Exec({"fmt", "-i", inPlace.string()}).status, 0);
    EXPECT_EQ(Commands(inPlace), Commands(script));
    EXPECT_EQ(fs::status(inPlace).permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(ToolTest, CommandNamesComeFromTablesNamesFilesOrTheScript) {
    const std::string script = Example("scripts/ne_config.txt").string();
    ToolRun run = Exec(
        {"dump", "--format", "json", "--enum", Example("config/script_enum.xml").string(), script});
    ASSERT_EQ(run.status, 0) << run.err;
    // Codes of the table; names it lacks follow its highest code, in order of appearance.
    EXPECT_TRUE(Contains(run.out, R"("name":"cfg-nepara","code":1001)"));
    EXPECT_TRUE(Contains(run.out, R"("name":"cfg-set-nemgmt","code":65538)"));

    run = Exec({"dump", "--names", Fixture("names.txt").string(), "--no-auto-names",
                Fixture("broken.txt").string()});
    EXPECT_EQ(run.status, 1);  // the broken commands
    EXPECT_TRUE(Contains(run.out, "cfg-set-port (code 2001)"));

    run = Exec({"check", "--names", Fixture("names.txt").string(), "--no-auto-names", script});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(Contains(run.out, "commands named \"cfg-set-nemgmt\" skipped"));
    EXPECT_TRUE(Contains(run.out, "3 commands (UTF-8)"));

    const fs::path badNames = dir_ / "bad_names.txt";
    WriteFile(badNames, "12 a b\n");
    run = Exec({"check", "--names", badNames.string(), script});
    EXPECT_EQ(run.status, 2);
    EXPECT_TRUE(Contains(run.err, "bad_names.txt:1: expected \"ID NAME\""));
    run = Exec({"check", "--enum", Fixture("malformed_enum.xml").string(), script});
    EXPECT_EQ(run.status, 2);
    EXPECT_TRUE(Contains(run.err, "malformed_enum.xml"));
}

TEST_F(ToolTest, SlotsConvertsTheNesOfTheScriptAsItsHeaderSays) {
    const std::string cfg = Example("config/slotcovert_cmd_cfg.xml").string();
    const std::string script = Fixture("old_slots_NE.txt").string();
    const fs::path out = dir_ / "converted.txt";
    const fs::path log = dir_ / "converted.log";
    ToolRun run =
        Exec({"slots", "--config", cfg, "-o", out.string(), "--log", log.string(), script});
    ASSERT_EQ(run.status, 0) << run.err;
    std::string text = ReadFile(out);
    // NE 9-3 is declared by cfg-nepara: 203 is shelf 2 slot 3, 85 becomes 125.
    EXPECT_TRUE(Contains(text, ":cfg-set-board:{neid=9-3, bid=131075, boardtype=eg16};"));
    EXPECT_TRUE(Contains(text, ":cfg-set-board:{neid=7-1, bid=203, boardtype=eg16};"));
    EXPECT_TRUE(Contains(text, ":cfg-onepara:{neid=9-3, slot=125, value=1-131075};"));
    EXPECT_TRUE(Contains(text, "// SlotFlagVer=1.1 \n"));
    EXPECT_TRUE(Contains(ReadFile(log), "bid=203"));

    run = Exec({"slots", "--config", cfg, "--ne", "7-1", script});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(Contains(run.out, ":cfg-set-board:{neid=7-1, bid=131075, boardtype=eg16};"));

    // A header that already says 1.1 leaves the numbers alone.
    const fs::path newer = dir_ / "new_NE.txt";
    WriteFile(newer, "// SlotFlagVer=1.1 \n" + ReadFile(script));
    run = Exec({"slots", "--config", cfg, newer.string()});
    EXPECT_TRUE(Contains(run.out, "neid=9-3, bid=203,"));

    ExpectStatus(2, {{"slots", "--config", (dir_ / "none.xml").string(), script},
                     {"slots", "--config", cfg, "--ne", "9/3", script}});
    ExpectStatus(1,
                 {{"slots", "--config", cfg, "-o", out.string(), Fixture("broken.txt").string()}});
    EXPECT_TRUE(Contains(ReadFile(out), "bid=131075"));  // untouched
}

TEST_F(ToolTest, EnumAndNameConvertSingleValues) {
    const std::string cfg = Example("config/script_enum.xml").string();
    ToolRun run = Exec({"enum", "--config", cfg, "s2c", "1003", "admin", "up"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "1\n");
    EXPECT_EQ(Exec({"enum", "--config", cfg, "c2s", "1003", "admin", "1"}).out, "up\n");
    EXPECT_EQ(
        Exec({"enum", "--config", cfg, "s2c", "1002", "boardtype", "SL64", "--extend", "1"}).out,
        "20\n");
    EXPECT_EQ(Exec({"enum", "--config", cfg, "c2s", "1030", "threshold", "-1"}).out, "off\n");
    run = Exec({"enum", "--config", cfg, "s2c", "1003", "admin", "UP"});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(Contains(run.err, "no enumeration value named \"UP\""));
    ExpectStatus(
        2, {{"enum", "--config", cfg, "c2s", "1003", "admin", "x"},
            {"enum", "--config", Fixture("malformed_enum.xml").string(), "s2c", "1", "a", "b"},
            {"enum", "--config", cfg, "x2y", "1", "a", "b"}});

    EXPECT_EQ(
        Exec({"name", "generate", "NE", "--ne", "9-3", "--text", "cfg", "--encoding", "GBK"}).out,
        "NE_9-3_cfg_(GBK).txt\n");
    EXPECT_EQ(Exec({"name", "generate", "a/b", "--text", "x&y"}).out, "a_b_x_y_(UTF-8).txt\n");
    run = Exec({"name", "analyse", "dir/NE_9-3_cfg_(GBK).txt", "NE_10.1.2.3_x.txt", "NE.txt"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out,
              "dir/NE_9-3_cfg_(GBK).txt: prefix=NE ne=9-3 (0x00090003) ip=-\n"
              "NE_10.1.2.3_x.txt: prefix=NE ne=- ip=10.1.2.3\n");
    EXPECT_TRUE(Contains(run.err, "NE.txt: not a script file name"));
}

TEST_F(ToolTest, HelpVersionAndDocsAgree) {
    ToolRun run = Exec({"--version"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out.rfind("qxscript ", 0), 0u);
    for (const char* sub : {"check", "dump", "fmt", "slots", "enum"}) {
        run = Exec({sub, "--help"});
        EXPECT_EQ(run.status, 0);
        EXPECT_TRUE(Contains(run.out, "Example")) << sub;
    }
    ExpectStatus(2, {{}, {"frobnicate"}, {"check"}});

    // docs/qxscript.md is generated from these texts (target qxscript-docs).
    run = Exec({"help-all", "--markdown"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, ReadFile(Repo() / "docs" / "qxscript.md"))
        << "docs/qxscript.md is stale: build the target qxscript-docs";
}

}  // namespace
