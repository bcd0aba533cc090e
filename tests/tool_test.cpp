// Runs the qxscript tool as a process on the bundled examples and on broken input.

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <regex>
#include <thread>

#include "qx_platform/CodeSet.h"
#include "tests/ToolRun.h"

namespace fs = std::filesystem;

namespace {

using test_files::ReadFile;
using test_files::WriteFile;
using tool_run::Contains;
using tool_run::JsonLines;
using tool_run::ToolRun;

class ToolTest : public tool_run::ToolFixture {
  protected:
    const std::string slotCfg_ = Example("config/slotcovert_cmd_cfg.xml");
    const std::string enumCfg_ = Example("config/script_enum.xml");

    static std::string Fixture(const std::string& name) {
        return test_files::DataDir("tool/" + name);
    }

    // A written script from its encoding line on: what stays when only the creation line may
    // differ.
    static std::string Body(const std::string& s) {
        return s.substr(std::min(s.find("encoding="), s.size()));
    }

    // The names in a directory, sorted, with the type of each ("f" file, "c" character device,
    // "p" FIFO, "l" link): what a run must leave as it found it.
    static std::vector<std::string> Listing(const std::string& dir) {
        std::vector<std::string> names;
        for (const auto& e : fs::directory_iterator(dir)) {
            const fs::file_status st = e.symlink_status();
            const char* type = fs::is_symlink(st)          ? "l"
                               : fs::is_character_file(st) ? "c"
                               : fs::is_fifo(st)           ? "p"
                               : fs::is_regular_file(st)   ? "f"
                                                           : "?";
            names.push_back(e.path().filename().string() + ":" + type);
        }
        std::sort(names.begin(), names.end());
        return names;
    }
};

TEST_F(ToolTest, CheckPassesTheExamplesAndReportsEveryBrokenCommand) {
    EXPECT_TRUE(Contains(
        Run(0, {"check", utf8_, gbk_}).out,
        {utf8_ + ": 39 commands (UTF-8), all parsed", gbk_ + ": 39 commands (GBK), all parsed"}));

    // The trailing comma, and the last command that lacks its ";" (reported at the end).
    const std::string broken = Fixture("broken.txt");
    EXPECT_TRUE(Contains(
        Run(1, {"check", broken}).out,
        {broken + ":5:", "    :cfg-set-port:{port=2,};\n",
         "    :CFG-SET-PORT:{PORT=5&&5, ADMIN=Up}\n",
         broken + ":6: error: text is not valid UTF-8\n    :cfg-set-port:{descr=\"caf\\xE9\"",
         "3 commands (UTF-8), 2 commands cannot be parsed"}));

    // Unreadable files outrank findings; the other files are still checked.
    const ToolRun run = Run(2, {"check", broken, tmp_ / "missing.txt", dir_});
    EXPECT_TRUE(
        Contains(run.err, {"missing.txt: No such file or directory", dir_ + ": is a directory"}));
    EXPECT_TRUE(Contains(run.out, {broken + ":5:"}));

    EXPECT_EQ(Run(0, {"check", "-q", utf8_}).out, "");
}

TEST_F(ToolTest, DumpGivesOneTypedJsonObjectPerCommandAndNothingElseOnStdout) {
    const std::vector<nlohmann::json> cmds = Commands(gbk_);
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
    EXPECT_TRUE(
        Contains(Exec({"dump", "--format", "json", Fixture("broken.txt")}).err, {"broken.txt:5:"}));
}

TEST_F(ToolTest, FmtRewritesIntoTheOtherEncodingWithoutChangingAnyCommand) {
    const std::string toUtf8 = tmp_ / "from_gbk.txt", toGbk = tmp_ / "from_utf8.txt";
    Run(0, {"fmt", "--encoding", "UTF-8", "-o", toUtf8, gbk_});
    Run(0, {"fmt", "--encoding", "GBK", "-o", toGbk, utf8_});
    EXPECT_EQ(Commands(toUtf8), Commands(gbk_));
    EXPECT_EQ(Commands(toGbk), Commands(utf8_));
    const std::string written = ReadFile(toUtf8);
    EXPECT_TRUE(Contains(written, {"// encoding=\"UTF-8\"", "// NE Configuration Data Script\n",
                                   "nename=\"汇聚-北环-03\"", "slot=11&&18", ":cfg-save:{};"}));
    EXPECT_TRUE(Contains(ReadFile(toGbk), {"// encoding=\"GBK\""}));

    // A second pass changes nothing but the creation line; standard output by default.
    const std::string again = tmp_ / "again.txt";
    Run(0, {"fmt", "-o", again, toUtf8});
    EXPECT_EQ(Body(ReadFile(again)), Body(written));
    EXPECT_EQ(Body(Run(0, {"fmt", gbk_}).out), Body(written));
}

TEST_F(ToolTest, FmtKeepsEveryValueKindAndType) {
    // Quoted texts that would read differently bare, empty and reversed ranges, 32-bit range
    // values among 64-bit numbers, ranges of names, groups, escapes, commands without
    // parameters. The reversed range reads as no values, which is a finding (status 1); the
    // user accepts it, and an empty list is written as a reversed range again.
    const std::string values = Fixture("values.txt"), out = tmp_ / "values.txt";
    Run(0, {"fmt", "--accept-changed-values", "-o", out, values});
    EXPECT_EQ(Commands(out, 1), Commands(values, 1));
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

TEST_F(ToolTest, CheckReadsALargeFileWithoutAProgressBarWhenNotOnATerminal) {
    const std::string cmd = ":cfg-set-port:{port=1&&4, descr=\"" + std::string(100, 'x') + "\"};\n";
    std::string big = "// encoding=\"UTF-8\"\n";
    for (std::size_t size = 0; size < (5u << 20); size += cmd.size()) big += cmd;
    const ToolRun run = Run(0, {"check", Write("big.txt", big)});
    EXPECT_EQ(run.err, "");
    EXPECT_TRUE(Contains(run.out, {": 38270 commands (UTF-8), all parsed"}));
}

TEST_F(ToolTest, FmtLeavesTheOutputAloneWhenItWouldLoseSomething) {
    const std::string out = tmp_ / "out.txt";
    WriteFile(out, "previous content\n");
    EXPECT_TRUE(
        Contains(Run(1, {"fmt", "-o", out, Fixture("broken.txt")}).err, {"nothing written"}));
    EXPECT_TRUE(Contains(Run(1, {"fmt", "--encoding", "ISO8859-1", "-o", out, gbk_}).err,
                         {"cannot be written in ISO8859-1"}));
    Run(1, {"fmt", "--no-auto-names", "-o", out, utf8_});
    Run(2, {"fmt", "--encoding", "UTF8", "-o", out, utf8_});
    Run(2, {"fmt", "-o", tmp_ / "no/such/dir/out.txt", utf8_});
    EXPECT_EQ(ReadFile(out), "previous content\n");
    EXPECT_EQ(std::distance(fs::directory_iterator(dir_), {}), 1);  // no temporary files left

    // In place: the file is replaced whole and keeps its permission bits.
    const std::string inPlace = tmp_ / "script.txt";
    fs::copy_file(utf8_, inPlace);
    fs::permissions(inPlace, fs::perms::owner_read | fs::perms::owner_write);
    Run(0, {"fmt", "-i", inPlace});
    EXPECT_EQ(Commands(inPlace), Commands(utf8_));
    EXPECT_EQ(fs::status(inPlace).permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(ToolTest, CommandNamesComeFromTablesNamesFilesOrTheScript) {
    // Codes of the table; names it lacks follow its highest code, in order of appearance.
    EXPECT_TRUE(Contains(
        Run(0, {"dump", "--format", "json", "--enum", enumCfg_, utf8_}).out,
        {R"("name":"cfg-nepara","code":1001)", R"("name":"cfg-set-nemgmt","code":65538)"}));
    // Status 1 for the broken commands.
    EXPECT_TRUE(Contains(
        Run(1, {"dump", "--names", Fixture("names.txt"), "--no-auto-names", Fixture("broken.txt")})
            .out,
        {"cfg-set-port (code 2001)"}));
    EXPECT_TRUE(
        Contains(Run(1, {"check", "--names", Fixture("names.txt"), "--no-auto-names", utf8_}).out,
                 {"commands named \"cfg-set-nemgmt\" skipped", "3 commands (UTF-8)"}));

    EXPECT_TRUE(
        Contains(Run(2, {"check", "--names", Write("bad_names.txt", "12 a b\n"), utf8_}).err,
                 {"bad_names.txt:1: expected \"ID NAME\""}));
    EXPECT_TRUE(Contains(Run(2, {"check", "--enum", Fixture("malformed_enum.xml"), utf8_}).err,
                         {"malformed_enum.xml"}));
}

TEST_F(ToolTest, SlotsConvertsTheNesOfTheScriptAsItsHeaderSays) {
    const std::string script = Fixture("old_slots_NE.txt");
    const std::string out = tmp_ / "converted.txt", log = tmp_ / "converted.log";
    Run(0, {"slots", "--config", slotCfg_, "-o", out, "--log", log, script});
    // NE 9-3 is declared by cfg-nepara: 203 is shelf 2 slot 3, 85 becomes 125.
    EXPECT_TRUE(Contains(ReadFile(out), {":cfg-set-board:{neid=9-3, bid=131075, boardtype=eg16};",
                                         ":cfg-set-board:{neid=7-1, bid=203, boardtype=eg16};",
                                         ":cfg-onepara:{neid=9-3, slot=125, value=1-131075};",
                                         "// SlotFlagVer=1.1 \n"}));
    EXPECT_TRUE(Contains(ReadFile(log), {"bid=203"}));
    EXPECT_TRUE(Contains(Run(0, {"slots", "--config", slotCfg_, "--ne", "7-1", script}).out,
                         {":cfg-set-board:{neid=7-1, bid=131075, boardtype=eg16};"}));

    // A header that already says 1.1 leaves the numbers alone.
    const std::string newNe = Write("new_NE.txt", "// SlotFlagVer=1.1 \n" + ReadFile(script));
    EXPECT_TRUE(
        Contains(Run(0, {"slots", "--config", slotCfg_, newNe}).out, {"neid=9-3, bid=203,"}));

    Run(2, {"slots", "--config", tmp_ / "none.xml", script});
    Run(2, {"slots", "--config", slotCfg_, "--ne", "9/3", script});
    Run(1, {"slots", "--config", slotCfg_, "-o", out, Fixture("broken.txt")});
    EXPECT_TRUE(Contains(ReadFile(out), {"bid=131075"}));  // untouched
}

TEST_F(ToolTest, EnumAndNameConvertSingleValues) {
    auto Enum = [&](int status, std::vector<std::string> args) {
        args.insert(args.begin(), {"enum", "--config", enumCfg_});
        return Run(status, args);
    };
    EXPECT_EQ(Enum(0, {"s2c", "1003", "admin", "up"}).out, "1\n");
    EXPECT_EQ(Enum(0, {"c2s", "1003", "admin", "1"}).out, "up\n");
    EXPECT_EQ(Enum(0, {"s2c", "1002", "boardtype", "SL64", "--extend", "1"}).out, "20\n");
    EXPECT_EQ(Enum(0, {"c2s", "1030", "threshold", "-1"}).out, "off\n");
    EXPECT_TRUE(Contains(Enum(1, {"s2c", "1003", "admin", "UP"}).err,
                         {"no enumeration value named \"UP\""}));
    Enum(2, {"c2s", "1003", "admin", "x"});
    Run(2, {"enum", "--config", Fixture("malformed_enum.xml"), "s2c", "1", "a", "b"});
    Enum(2, {"x2y", "1", "a", "b"});
    Enum(2, {"s2c", "1003", "admin"});

    // The table's entries in its order, values in file order; the tool's settings left out.
    EXPECT_EQ(Enum(0, {"list", "1003"}).out,
              "1003\tadmin\t0\t1\tup\n1003\tadmin\t0\t0\tdown\n1003\tadmin\t0\t1\tenabled\n");
    EXPECT_EQ(Enum(0, {"list", "1003", "admin", "--format", "json"}).out,
              R"({"cmdid":1003,"para":"admin","extendid":0,"values":[{"name":"up","code":1},)"
              R"({"name":"down","code":0},{"name":"enabled","code":1}]})"
              "\n");
    const std::string all = Enum(0, {"list"}).out;
    EXPECT_TRUE(Contains(all, {"1002\tboardtype\t1\t20\tSL64\n"}));
    EXPECT_EQ(all.find("\n0\t"), std::string::npos);

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
    for (const char* sub : {"check", "dump", "fmt", "slots", "enum"})
        EXPECT_TRUE(Contains(Run(0, {sub, "--help"}).out, {"Example"})) << sub;
    for (const auto& args : {std::vector<std::string>{}, {"frobnicate"}, {"check"}}) Run(2, args);

    // docs/qxscript.md is generated from these texts (target qxscript-docs).
    EXPECT_EQ(Run(0, {"help-all", "--markdown"}).out, ReadFile(Repo() / "docs" / "qxscript.md"))
        << "docs/qxscript.md is stale: build the target qxscript-docs";
}

TEST_F(ToolTest, OutputsThatAreNotRegularFilesAreWrittenThroughNeverReplaced) {
    const std::string expected = Body(Run(0, {"fmt", utf8_}).out);
    EXPECT_EQ(Body(Run(0, {"fmt", "-o", "/dev/stdout", utf8_}).out), expected);

    // A link is followed: its target gets the script and the link stays a link.
    WriteFile(tmp_ / "target.txt", "old\n");
    fs::create_symlink("target.txt", tmp_ / "link.txt");
    Run(0, {"fmt", "-o", tmp_ / "link.txt", utf8_});
    EXPECT_EQ(Body(ReadFile(tmp_ / "target.txt")), expected);

    // A FIFO gets the content through it.
    const std::string fifo = tmp_ / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::string received;
    std::thread reader([&] { received = ReadFile(fifo); });
    Run(0, {"slots", "--config", slotCfg_, "-o", fifo, utf8_});
    const int unblock = open(fifo.c_str(), O_WRONLY | O_NONBLOCK);  // if the tool never opened it
    if (unblock >= 0) close(unblock);
    reader.join();
    EXPECT_TRUE(Contains(received, {"// encoding=\"UTF-8\"", ":cfg-save:{};"}));

    // Device files of our own with the numbers of /dev/null and /dev/full (root only).
    const std::string null = tmp_ / "null", full = tmp_ / "full";
    const bool devices = mknod(null.c_str(), S_IFCHR | 0666, makedev(1, 3)) == 0 &&
                         mknod(full.c_str(), S_IFCHR | 0666, makedev(1, 7)) == 0;
    if (devices) {
        Run(0, {"fmt", "-o", null, utf8_});
        EXPECT_TRUE(Contains(Run(2, {"fmt", "-o", full, utf8_}).err,
                             {"cannot write " + full + ": No space left on device"}));
        EXPECT_TRUE(Contains(Run(2, {"slots", "--config", slotCfg_, "-o", full, utf8_}).err,
                             {"No space left on device"}));
    }
    Run(2, {"fmt", "-o", dir_, utf8_});
    std::vector<std::string> listing{"fifo:p", "link.txt:l", "target.txt:f"};
    if (devices) listing = {"fifo:p", "full:c", "link.txt:l", "null:c", "target.txt:f"};
    EXPECT_EQ(Listing(dir_), listing);

    // Standard output on a full device: every subcommand says so and exits 2.
    const std::vector<std::vector<std::string>> writers{
        {"check", utf8_},
        {"dump", utf8_},
        {"fmt", utf8_},
        {"slots", "--config", slotCfg_, utf8_},
        {"enum", "--config", enumCfg_, "s2c", "1003", "admin", "up"},
        {"name", "generate", "NE"},
        {"name", "analyse", "NE_9-3_x.txt"}};
    for (const auto& args : writers) {
        const ToolRun run = Exec(args, "/dev/null", false, "/dev/full");
        EXPECT_EQ(run.status, 2) << args[0];
        EXPECT_TRUE(Contains(run.err, {"No space left on device"})) << args[0];
    }
}

TEST_F(ToolTest, StandardInputPipesAndFifosAreReadWhole) {
    EXPECT_TRUE(Contains(Run(0, {"check", "-"}, utf8_, true).out,
                         {"<stdin>: 39 commands (UTF-8), all parsed"}));
    EXPECT_EQ(Body(Run(0, {"fmt", "-"}, utf8_, true).out), Body(Run(0, {"fmt", utf8_}).out));
    EXPECT_EQ(Run(0, {"slots", "--config", slotCfg_, "-"}, utf8_, true).out.size(),
              Run(0, {"slots", "--config", slotCfg_, utf8_}).out.size());
    const std::string json = Run(0, {"dump", "--format", "json", "-"}, utf8_, true).out;
    EXPECT_EQ(std::count(json.begin(), json.end(), '\n'), 39);
    EXPECT_TRUE(Contains(json, {R"({"file":"<stdin>","line":)"}));

    const std::string fifo = tmp_ / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::thread writer([&] { WriteFile(fifo, ReadFile(utf8_)); });
    EXPECT_TRUE(Contains(Run(0, {"check", fifo}).out, {": 39 commands (UTF-8), all parsed"}));
    writer.join();
    Run(2, {"fmt", "-i", "-"}, utf8_, true);
}

TEST_F(ToolTest, AnEncodingLineTheReaderDoesNotTakeIsAFinding) {
    const std::string text = ":cfg-set:{v=\"caf\xc3\xa9\"};\n";
    const std::vector<std::string> headers{"// encoding=\"utf-8\"", "// encoding = \"UTF-8\"",
                                           "//encoding="};
    const std::string out = tmp_ / "out.txt";
    for (std::size_t i = 0; i < headers.size(); ++i) {
        WriteFile(out, "previous\n");
        const std::string f = Write("h" + std::to_string(i) + ".txt",
                                    "// SlotFlagVer=1.1 \n" + headers[i] + "\n\n" + text);
        EXPECT_TRUE(Contains(Run(1, {"check", f}).out,
                             {f + ":2: warning: encoding line not recognised, the file is read as "
                                  "GBK",
                              "    " + headers[i] + "\n", "(GBK), all parsed, 1 warning"}));
        EXPECT_TRUE(Contains(Run(1, {"fmt", "-o", out, f}).err, {"give --input-encoding"}));
        EXPECT_EQ(ReadFile(out), "previous\n");
        Run(0, {"check", "--input-encoding", "UTF-8", f});
        Run(0, {"fmt", "--input-encoding", "UTF-8", "--encoding", "UTF-8", "-o", out, f});
        EXPECT_TRUE(Contains(ReadFile(out), {"v=\"caf\xc3\xa9\""}));
    }
    // No header, and an empty file: the same guess, said once for the file; the text is then
    // checked as GBK.
    const std::string bare = Write("bare.txt", ":a:{v=1#};\n"), empty = Write("empty.txt", "");
    EXPECT_TRUE(
        Contains(Run(1, {"check", bare, empty, Fixture("bad_gbk.txt")}).out,
                 {bare + ": warning: no encoding line in the header, the file is read as GBK",
                  empty + ": warning: no encoding line in the header", empty + ": 0 commands (GBK)",
                  "bad_gbk.txt:3: error: text is not valid GBK"}));
    // Told the encoding, line 1 still reads as the file has it.
    const ToolRun told = Run(1, {"check", "--input-encoding", "ISO8859-1", bare});
    EXPECT_TRUE(Contains(told.out, {bare + ":1:", "    :a:{v=1#};\n", "(ISO8859-1)"}));
    EXPECT_EQ(told.out.find("warning"), std::string::npos);
    // A header that declares another encoding is not overridden.
    EXPECT_TRUE(Contains(Run(2, {"check", "--input-encoding", "GBK", utf8_}).err,
                         {"the header declares UTF-8, not GBK"}));
}

TEST_F(ToolTest, AnythingThatParsesPrintsAndControlBytesAreEscaped) {
    const std::string header = "// encoding=\"UTF-8\"\n";
    constexpr int kDepth = 20000;
    std::string deep = header + ":a:{";
    for (int i = 0; i < kDepth; ++i) deep += "x={";
    deep += "y=1" + std::string(kDepth, '}') + "};\n";
    const std::string json = Run(0, {"dump", "--format", "json", Write("deep.txt", deep)}).out;
    std::size_t groups = 0;
    for (std::size_t at = 0; (at = json.find("\"groups\"", at)) != std::string::npos; ++at)
        ++groups;
    EXPECT_EQ(groups, static_cast<std::size_t>(kDepth));
    EXPECT_EQ(json.find('\n'), json.size() - 1);
    const std::string text = Run(0, {"dump", Path("deep.txt")}).out;
    EXPECT_LT(text.size(), deep.size() * 40);  // indentation is bounded
    EXPECT_TRUE(Contains(text, {"{group 1, depth 20000}\n"}));

    // Escape sequences and other control bytes never reach the terminal raw.
    const std::string esc =
        Write("esc.txt", header + ":a:{v=\"\x1b[31mred\x07\"};\n:b:{v=1,\x1b[2J};\n");
    const ToolRun dump = Run(1, {"dump", esc});
    const ToolRun check = Run(1, {"check", esc});
    EXPECT_TRUE(Contains(dump.out, {R"(v = "\x1B[31mred\x07" (string))"}));
    EXPECT_TRUE(Contains(check.out, {"    :b:{v=1,\\x1B[2J};\n"}));
    for (const std::string& out : {dump.out, dump.err, check.out})
        EXPECT_EQ(out.find_first_of("\x1b\x07"), std::string::npos) << out;

    // Bytes that are not valid in the encoding: dump says so too, fmt writes nothing.
    const std::string bad = Write("bad.txt", header + ":a:{v=\"\xff\xfe\"};\n"),
                      out = Path("out.txt");
    EXPECT_TRUE(Contains(Run(1, {"dump", bad}).err, {bad + ":2: error: text is not valid UTF-8"}));
    Run(1, {"fmt", "-o", out, bad});
    EXPECT_FALSE(fs::exists(out));
}

TEST_F(ToolTest, AnInterruptedRewriteLeavesNothingBehind) {
    // The output is a FIFO nobody reads, so the tool waits with its temporary files made.
    const std::string fifo = tmp_ / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (int sig : {SIGINT, SIGTERM, SIGPIPE}) {
        const pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            setenv("TMPDIR", dir_.c_str(), 1);
            signal(SIGINT, SIG_DFL);
            signal(SIGPIPE, SIG_DFL);
            const int null = open("/dev/null", O_RDWR);
            dup2(null, STDOUT_FILENO);
            dup2(null, STDERR_FILENO);
            const std::string tool = Tool().string();
            execl(tool.c_str(), tool.c_str(), "fmt", "-o", fifo.c_str(), utf8_.c_str(),
                  static_cast<char*>(nullptr));
            _exit(127);
        }
        // Waits for the temporary output (not a timing check: it only bounds the wait).
        bool made = false;
        for (int i = 0; i < 1000 && !made; ++i) {
            for (const std::string& name : Listing(dir_)) made |= name.rfind("qxscript.", 0) == 0;
            if (!made) usleep(10000);
        }
        EXPECT_TRUE(made);
        kill(pid, sig);
        int status = 0;
        ASSERT_EQ(waitpid(pid, &status, 0), pid);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == sig) << status;
        EXPECT_EQ(Listing(dir_), std::vector<std::string>{"fifo:p"});
    }
}

TEST_F(ToolTest, FindingsSayWhereAndWhyAndWritersRefuseThem) {
    // The reader's diagnostics: the column of the offending byte, a caret under it.
    const std::string header = "// encoding=\"UTF-8\"\n";
    const std::string f = Write(
        "findings.txt", header + ":a:{v=1#};\n:b:{v=4294967296, w=5&&1};\n:c:{v=caf\xC3\xA9};\n");
    const ToolRun check = Run(1, {"check", f});
    EXPECT_TRUE(Contains(
        check.out, {f + ":2:8: error: unexpected character '#'\n    :a:{v=1#};\n           ^\n",
                    f + ":3:7: warning: 4294967296 does not fit 32 bits and reads as 0\n",
                    f + ":3:21: warning: 5&&1 is a backward range and reads as no values\n",
                    f + ":4:10: warning: 2 bytes outside quotes fit no token and are dropped: "
                        "\\xC3\\xA9\n",
                    f + ": 2 commands (UTF-8), 1 command cannot be parsed, 3 warnings"}));

    // Values that read other than written are written only when the user accepts them.
    const std::string out = tmp_ / "out.txt";
    const std::string lossy = Write("lossy.txt", header + ":b:{v=4294967296, w=99999999999};\n");
    Run(1, {"fmt", "-o", out, lossy});
    EXPECT_FALSE(fs::exists(out));
    Run(0, {"fmt", "--accept-changed-values", "-o", out, lossy});
    EXPECT_TRUE(Contains(ReadFile(out), {":b:{v=0, w=1215752191};"}));

    // A command that the writer's line breaks would push past what a reader takes.
    std::string values = "1";
    while (values.size() < 130000) values += "&1";
    const std::string longCmd = Write("long.txt", header + ":a:{v=" + values + "};\n");
    Run(0, {"check", longCmd});
    EXPECT_TRUE(Contains(Run(1, {"fmt", "-o", out, longCmd}).err,
                         {longCmd + ":2: error: command is ",
                          "bytes once written, longer than the 131071 bytes a reader accepts"}));
    EXPECT_TRUE(Contains(ReadFile(out), {":b:{v=0, w=1215752191};"}));  // untouched
}

// Each failed command is listed once, with the reader's reason, however its error and its
// ";" stand: two failures on one line, and a comment left open that cuts a command short, whose
// error stands at the "/*" and whose command ends at the end of the file.
TEST_F(ToolTest, EachFailedCommandIsListedOnceWithItsReason) {
    const std::string f = Write("cut.txt",
                                "// encoding=\"UTF-8\"\r\n:a:{v=1};\r\n:a:{v=};:a:{w=};\r\n"
                                ":a:{v=/*2};\r\n:a:{v=3};\r\n");
    const auto listing = [](const std::string& name) {
        return name + ":3:7: error: unexpected '}'\n    :a:{v=};:a:{w=};\n          ^\n" + name +
               ":3:15: error: unexpected '}'\n    :a:{v=};:a:{w=};\n                  ^\n" + name +
               ":4:7: error: unterminated comment\n    :a:{v=/*2};\n          ^\n" + name +
               ": 1 command (UTF-8), 3 commands cannot be parsed\n";
    };
    EXPECT_EQ(Run(1, {"check", f}).out, listing(f));
    EXPECT_EQ(Run(1, {"check", "-"}, f, true).out, listing("<stdin>"));
}

}  // namespace

// A tree of scripts whose command names first appear at the end of the first (and longest)
// file and at the start of the others, so that the codes dump shows depend on which file
// registers a name first.
class BatchTest : public ToolTest {
  protected:
    void SetUp() override {
        ToolTest::SetUp();
        fs::create_directories(tree_ / "sub");
        for (int f = 0; f < 6; ++f) {
            std::string text = "// encoding=\"UTF-8\"\n";
            for (int i = 0; f == 0 && i < 3000; ++i)
                text += ":cfg-common:{a=" + std::to_string(i) + "};\n";
            for (int i = 0; i < (f == 0 ? 6 : 400); ++i) {
                text += ":cfg-n" + std::to_string((i + f) % 6) + ":{a=" + std::to_string(i) +
                        ",b=\"x\"};\n";
            }
            if (f == 4) text += ":cfg-bad:{a=,};\n";
            WriteFile(tree_ / (f % 2 ? "sub" : "") / ("s" + std::to_string(f) + ".txt"), text);
        }
        WriteFile(tree_ / "notes.md", "// encoding=\"UTF-8\"\n:cfg-md:{a=1};\n");
        WriteFile(tree_ / ".hidden.txt", ":cfg-hidden:{a=1};\n");
        fs::create_directory_symlink("..", tree_ / "sub" / "loop");  // must not hang
    }

    const fs::path tree_ = fs::path(tmp_.path()) / "tree";
};

TEST_F(BatchTest, DirectoriesAndFilesComeInArgumentOrderWhateverTheWorkers) {
    const std::string t = tree_.string();

    // Sorted names, subdirectories in place; standard input where its "-" stands; the worst
    // file decides the status.
    const ToolRun one = Run(1, {"check", "-j", "1", "-r", t, "-", utf8_}, utf8_);
    EXPECT_EQ(one.out.substr(one.out.find(t + "/s0.txt: ")),
              t + "/s0.txt: 3006 commands (UTF-8), all parsed\n" + t +
                  "/s2.txt: 400 commands (UTF-8), all parsed\n" + t +
                  "/s4.txt:402:13: error: unexpected ','\n    :cfg-bad:{a=,};\n" +
                  "                ^\n" + t +
                  "/s4.txt: 400 commands (UTF-8), 1 command cannot be parsed\n" + t +
                  "/sub/s1.txt: 400 commands (UTF-8), all parsed\n" + t +
                  "/sub/s3.txt: 400 commands (UTF-8), all parsed\n" + t +
                  "/sub/s5.txt: 400 commands (UTF-8), all parsed\n" +
                  "<stdin>: 39 commands (UTF-8), all parsed\n" + utf8_ +
                  ": 39 commands (UTF-8), all parsed\n" +
                  "total: 8 files, 5084 commands, 1 cannot be parsed\n");

    for (const char* format : {"text", "json"}) {
        for (const char* sub : {"check", "dump"}) {
            std::vector<std::string> args{sub, "-j", "1", "--format", format, "-r", t, "-", utf8_};
            const ToolRun serial = Run(1, args, utf8_);
            args[2] = "4";
            const ToolRun parallel = Run(1, args, utf8_);
            EXPECT_EQ(parallel.out, serial.out) << sub << " " << format;
            EXPECT_EQ(parallel.err, serial.err) << sub << " " << format;
        }
    }

    // One JSON object per file, where and why for each finding.
    const std::vector<nlohmann::json> objects =
        JsonLines(Run(1, {"check", "--format", "json", "-r", t}).out);
    ASSERT_EQ(objects.size(), 6u);
    EXPECT_EQ(
        objects[2],
        nlohmann::json::parse(
            R"({"file":")" + t +
            R"(/s4.txt","encoding":"UTF-8","commands":400,"failed":1,)"
            R"("findings":[{"line":402,"column":13,"severity":"error","reason":"unexpected ','"}]})"));

    // --include picks other names; a directory without -r, a missing file and a second "-"
    // are trouble, the rest is still read.
    EXPECT_EQ(Run(0, {"check", "-r", "--include", "*.md", t}).out,
              t + "/notes.md: 1 command (UTF-8), all parsed\n");
    const ToolRun bad = Run(2, {"check", t, utf8_, tmp_ / "missing.txt"});
    EXPECT_TRUE(Contains(bad.err, {t + ": is a directory (give -r to read it)",
                                   "missing.txt: No such file or directory"}));
    EXPECT_TRUE(Contains(
        bad.out, {utf8_ + ": 39 commands", "total: 3 files, 39 commands, 2 files not read"}));
    Run(2, {"check", "-", "-"});
}

// Rewriting a directory on workers: each output's header names its own input's versions (and,
// for slots, its encoding), every file is converted, and what the run writes and prints is
// the same with one worker and with four.
TEST_F(BatchTest, FmtAndSlotsWriteEachFileAsItsInputWhateverTheWorkers) {
    const std::string body = ReadFile(Fixture("old_slots_NE.txt"));
    const std::string commands = body.substr(body.find("\n\n") + 2);
    const fs::path in = tmp_ / "mixed";
    fs::create_directories(in);
    WriteFile(in / "a.txt",
              "// EMS version = Q5300V100R002C01\n// encoding=\"UTF-8\"\n\n"
              ":cfg-note:{t=\"caf\xC3\xA9\"};\n" +
                  commands);
    WriteFile(in / "b.txt", "// encoding=\"GBK\"\n\n:cfg-note:{t=\"\xD6\xD0\"};\n" + commands);
    WriteFile(in / "c.txt",
              "// Q5100 NM version = Q5100V200R007C03B100\n// encoding=\"ISO8859-1\"\n\n"
              ":cfg-note:{t=\"caf\xE9\"};\n" +
                  commands);
    WriteFile(in / "d.txt", "// encoding=\"UTF-8\"\n:cfg-bad:{a=,};\n");
    const std::regex created("// [0-9-]+ [0-9:]+ Created by ");
    auto outputs = [&](const fs::path& dir) {
        std::vector<std::string> texts;
        for (const char* name : {"a.txt", "b.txt", "c.txt"})
            texts.push_back(std::regex_replace(ReadFile(dir / name), created, "// Created by "));
        EXPECT_FALSE(fs::exists(dir / "d.txt"));
        return texts;
    };
    for (const char* sub : {"fmt", "slots"}) {
        SCOPED_TRACE(sub);
        const bool slots = std::string(sub) == "slots";
        std::vector<std::vector<std::string>> results;
        std::vector<ToolRun> runs;
        for (const char* jobs : {"1", "4"}) {
            const fs::path out = tmp_ / sub;
            fs::remove_all(out);
            std::vector<std::string> args{sub, "-j", jobs, "-r", "--output-dir", out, in};
            if (slots) args.insert(args.begin() + 1, {"--config", slotCfg_});
            runs.push_back(Run(1, args));
            results.push_back(outputs(out));
        }
        EXPECT_EQ(runs[1].out, runs[0].out);
        EXPECT_EQ(runs[1].err, runs[0].err);
        EXPECT_EQ(results[1], results[0]);
        EXPECT_TRUE(Contains(runs[0].err,
                             {"d.txt: nothing written", "total: 4 files, 3 written, 1 not\n"}));

        const std::vector<std::string>& texts = results[0];
        // fmt writes in the configured encoding, slots in the input's.
        const std::string b = slots ? "GBK" : "UTF-8", c = slots ? "ISO8859-1" : "UTF-8";
        EXPECT_TRUE(Contains(texts[0], {"// EMS version = Q5300V100R002C01\n"
                                        "//{{script_version=3.2.1.0}}\n",
                                        "// encoding=\"UTF-8\"\n"}));
        EXPECT_TRUE(Contains(texts[1], {"// EMS version = unknown\n//{{script_version=2.1.3.2}}\n",
                                        "// encoding=\"" + b + "\"\n",
                                        slots ? "t=\"\xD6\xD0\"" : "t=\"\xE4\xB8\xAD\""}));
        EXPECT_TRUE(Contains(texts[2], {"// EMS version = unknown\n//{{script_version=2.7.4.0}}\n",
                                        "// encoding=\"" + c + "\"\n",
                                        slots ? "t=\"caf\xE9\"" : "t=\"caf\xC3\xA9\""}));
        for (const std::string& text : texts)
            EXPECT_TRUE(Contains(text, {slots ? "neid=9-3, bid=131075," : "neid=9-3, bid=203,"}));
    }
}

TEST_F(ToolTest, DumpSelectsCommandsByNameAndParameters) {
    auto lines = [&](std::vector<std::string> args) {
        args.insert(args.begin(), {"dump", "--format", "json"});
        args.push_back(utf8_);
        std::vector<std::string> found;
        for (const nlohmann::json& cmd : JsonLines(Run(0, args).out)) {
            found.push_back(cmd["name"].get<std::string>() + ":" +
                            std::to_string(cmd["line"].get<int>()));
        }
        return found;
    };
    using Lines = std::vector<std::string>;
    EXPECT_EQ(lines({"--name", "cfg-set-p*"}),
              (Lines{"cfg-set-port:30", "cfg-set-port:31", "cfg-set-pm:58"}));
    // A value matches as dump shows it; every --param must hold.
    EXPECT_EQ(lines({"--param", "port=5"}), (Lines{"cfg-set-port:31"}));
    EXPECT_EQ(lines({"--param", "admin=down", "--param", "mtu=1522"}), (Lines{"cfg-set-port:31"}));
    EXPECT_EQ(lines({"--param", "admin=down", "--param", "mtu=9600"}), Lines{});
    EXPECT_EQ(lines({"--name", "cfg-set-port", "--param", "descr"}).size(), 2u);
}

TEST_F(ToolTest, FmtKeepsTheHeaderAndWritesManyFilesOnlyWhereToldTo) {
    const std::string out = dir_ + "/kept.txt";
    Run(0, {"fmt", "--keep-header", "--encoding", "UTF-8", "-o", out, gbk_});
    std::string original;
    EXPECT_TRUE(qxp::OrinCodeSetConvert("GBK", "UTF-8", ReadFile(gbk_), original));
    std::string expected = original.substr(0, original.find("\n\n") + 2);
    expected.replace(expected.find("encoding=\"GBK\""), 14, "encoding=\"UTF-8\"");
    EXPECT_EQ(ReadFile(out).substr(0, expected.size()), expected);
    EXPECT_EQ(Commands(out), Commands(gbk_));

    // Several inputs: each under its own name below --output-dir, or in place; never mixed into
    // one output.
    EXPECT_TRUE(Contains(Run(2, {"fmt", utf8_, gbk_}).err,
                         {"several inputs: give --in-place or --output-dir"}));
    Run(2, {"fmt", "-o", out, utf8_, gbk_});
    EXPECT_TRUE(Contains(Run(0, {"fmt", "--output-dir", dir_ + "/all", "-r", "--include",
                                 "ne_*.txt", (Repo() / "examples").string()})
                             .err,
                         {"total: 2 files, 2 written\n"}));
    EXPECT_EQ(Commands(dir_ + "/all/scripts/ne_config_gbk.txt"), Commands(gbk_));
    EXPECT_EQ(Commands(dir_ + "/all/scripts/ne_config.txt"), Commands(utf8_));
    const std::string copy = dir_ + "/copy.txt";
    fs::copy_file(gbk_, copy);
    Run(0, {"fmt", "-i", "--keep-header", copy, out});
    EXPECT_EQ(ReadFile(copy).substr(0, expected.size()), expected);
}
