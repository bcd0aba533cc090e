#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <tuple>

#include "file/CommandLocator.h"
#include "file/ScriptReader.h"
#include "fuzz/GatherByByte.h"
#include "qx_platform/Task.h"
#include "qx_platform/Trace.h"
#include "qx_scriptutil/CmdNameConvert.h"
#include "qx_scriptutil/PostAnalyse.h"
#include "qx_scriptutil/QXConvertDataStorage.h"
#include "qx_scriptutil/TScriptFileImpl.h"
#include "tests/TestFiles.h"
#include "tests/TreeText.h"

using namespace NSQX_script;

namespace {

std::atomic<bool> g_rejectAll{false};
bool RejectWhenAsked(MMLCmdStruct&) {
    return !g_rejectAll.load();
}
AutoRegisterPostAnalyseFunc g_registrar(&RejectWhenAsked);

constexpr const char* kUtf8Header = "// encoding=\"UTF-8\"\n";
using Texts = std::vector<std::string>;

class ScriptRead : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(tmp_.ok());
        CmdNameConvert::AddCmdNameIDMap("cfg-set", 101);
        CmdNameConvert::AddCmdNameIDMap("cfg-add", 102);
    }
    void TearDown() override {
        CmdNameConvert::RemoveCmdNameIDMap(101);
        CmdNameConvert::RemoveCmdNameIDMap(102);
        g_rejectAll = false;
    }

    // A file object reading the named file of the test directory, written first when given.
    TScriptFileImpl& Open(const std::string& name) {
        files_.push_back(std::make_unique<TScriptFileImpl>(1));
        EXPECT_TRUE(files_.back()->OpenForRead(1, dir_.c_str(), name.c_str())) << name;
        return *files_.back();
    }
    TScriptFileImpl& Open(const std::string& name, const std::string& bytes) {
        test_files::WriteFile(tmp_ / name, bytes);
        return Open(name);
    }

    // The codes of the commands still to come.
    static std::vector<unsigned long> RestCodes(TScriptFileImpl& file) {
        std::vector<unsigned long> codes;
        for (TScriptCmd cmd; file.GetOneCommand(cmd);) codes.push_back(cmd.GetCmdCode());
        return codes;
    }

    // Every command of the file, from the first, as "code@line parameters".
    static Texts ReadAll(TScriptFileImpl& file) {
        Texts out;
        EXPECT_TRUE(file.GoToFirstCommand());
        for (TScriptCmd c; file.GetOneCommand(c);) {
            out.push_back(std::to_string(c.GetCmdCode()) + "@" + std::to_string(c.GetLineNo()) +
                          " " + tree_text::Show(c.GetParaList()));
        }
        return out;
    }

    test_files::TempDir tmp_{"qx_read"};
    const std::string dir_ = tmp_.path();
    std::vector<std::unique_ptr<TScriptFileImpl>> files_;
};

}  // namespace

TEST_F(ScriptRead, GathererFoldsCaseCommentsAndQuotesAndStopsAtBoardInfo) {
    TScriptFileImpl& file = Open("s.txt", std::string(kUtf8Header) +
                                              ":CFG-SET:{A=Xy, B=\"KeEp \\\" Case\"};\n"
                                              "// :cfg-set:{Z=1};\n"
                                              ":cfg-set:{/* a block\n over two lines */A=1};\n"
                                              ":cfg-set:{C=a/b};\n");
    EXPECT_EQ("UTF-8", file.GetEncoding());
    // A command counts from the line holding its ";".
    EXPECT_EQ((Texts{"101@2 'a'='xy','b'='KeEp \\\" Case'", "101@5 'a'=1"}), ReadAll(file));
    // A single slash stays in the text, where the parser refuses it.
    ASSERT_EQ(1u, file.GetCmdAnalyzedResult().size());
    EXPECT_EQ(6, file.GetCmdAnalyzedResult()[0].m_kind);

    // A quote right after a slash opens no quoted text: the X after it is folded and the ";"
    // still ends the command.
    TScriptFileImpl& slashQuote =
        Open("q.txt", std::string(kUtf8Header) + ":cfg-set:{A=/\"X};\n:cfg-set:{B=\"Q\"};\n");
    std::vector<TScriptResult> results;
    EXPECT_EQ(0ul, slashQuote.GetMatchCommands({"{a=/\"x};"}, results));
    EXPECT_EQ(1u, results.size());

    // The board information marker ends the commands, even inside quotes; a broken start of it,
    // "//*NeBoardInf", is a comment.
    EXPECT_EQ(Texts{"101@2 'a'=1"},
              ReadAll(Open("b.txt", std::string(kUtf8Header) + ":cfg-set:{A=1};\n"
                                                               ":cfg-set:{A=\"/*NeBoardInf\"};\n"
                                                               ":cfg-set:{A=3};\n")));
    EXPECT_EQ((Texts{"101@2 'a'=1", "101@4 'a'=2"}),
              ReadAll(Open("c.txt", std::string(kUtf8Header) +
                                        ":cfg-set:{A=1};\n//*NeBoardInf\n:cfg-set:{A=2};\n")));
}

// Random texts of the bytes that steer the gatherer, long enough to cross the reader's buffer
// many times, gather as the byte-at-a-time rules say.
TEST_F(ScriptRead, BufferedGatheringFollowsTheByteRules) {
    static const char* const kPieces[] = {"a",    "Q",    "xY-z9", "\"", "\\", "/",
                                          "*",    ";",    "\n",    "\r", " ",  "\xC3\xA9",
                                          "\xFF", "{=&}", "//",    "/*", "*/", "/*NeBoardInf"};
    std::mt19937 rng(5);
    for (int round = 0; round < 6; ++round) {
        std::string bytes;
        while (bytes.size() < 200000) {
            // Mostly long plain runs, as in real scripts, between the steering bytes.
            if (rng() % 3 == 0) bytes.append(1 + rng() % 300, "aB c"[rng() % 4]);
            bytes += kPieces[rng() % (sizeof kPieces / sizeof kPieces[0] - (round < 5))];
        }
        if (round == 5) bytes += "/*NeBoardInfo;a;";
        test_files::WriteFile(tmp_ / "g.txt", bytes);
        ScriptReader reader;
        ASSERT_TRUE(reader.Open(*qxp::Env::Default(), dir_ + "/g.txt").ok());
        ScriptContext context;
        context.encoding = "UTF-8";
        std::vector<std::pair<std::string, unsigned long>> gathered;
        {
            qxp::TraceCapture quiet;  // texts that are not UTF-8 are traced and kept as they are
            for (unsigned long line; (line = reader.GatherCommandText(context)) != 0;)
                gathered.emplace_back(reader.Text(), line);
        }
        const auto expected = gather_rules::GatherByByte(bytes).texts;
        ASSERT_EQ(expected.size(), gathered.size()) << "round " << round;
        for (std::size_t i = 0; i < expected.size(); ++i)
            ASSERT_EQ(expected[i], gathered[i]) << "round " << round << ", text " << i;
    }
}

TEST_F(ScriptRead, LineNumbersFailuresUnknownNamesAndRejectingHooks) {
    TScriptFileImpl& file = Open("s.txt", std::string(kUtf8Header) +
                                              ":cfg-set:{A=1};\n"
                                              ":other-product:{A=1};\n"
                                              ":cfg-set:{A=1,};\n"
                                              ":cfg-add:{B=\n2,\nC=3};\n"
                                              ":cfg-set:{A=9}");  // no ";" at the end
    EXPECT_EQ((Texts{"101@2 'a'=1", "102@7 'b'=2,'c'=3"}), ReadAll(file));
    // The last text is gathered without its ";" and then refused by the parser.
    const auto errors = file.GetCmdAnalyzedResult();
    ASSERT_EQ(2u, errors.size());
    EXPECT_EQ(4, errors[0].m_kind);
    EXPECT_EQ(8, errors[1].m_kind);
    EXPECT_EQ("s.txt", errors[0].m_text);
    EXPECT_EQ(0x41017307ul, errors[0].m_value);
    EXPECT_EQ(4ul, file.GetCmdCount());  // the unparsable commands have known names

    // A hook that rejects every command: each one is recorded too.
    g_rejectAll = true;
    TScriptFileImpl& rejected =
        Open("r.txt", std::string(kUtf8Header) + ":cfg-set:{A=1};\n:cfg-add:{A=1};\n");
    EXPECT_TRUE(ReadAll(rejected).empty());
    EXPECT_EQ(2u, rejected.GetCmdAnalyzedResult().size());
}

// The header's encoding line decides how the text is read; values come back as UTF-8. Without
// one GBK is taken, until a file marks the idle optical NE: then ISO8859-1, for later files too.
TEST_F(ScriptRead, EncodingsAreReadBackAsUtf8) {
    QXConvertDataStorage::Instance()->SetScriptONELanEn(false);
    const char* const rows[][3] = {
        {"// encoding=\"GBK\"\n:cfg-set:{A=\"\xD6\xD0\xCE\xC4\"};\n", "GBK",
         "101@2 'a'='\xE4\xB8\xAD\xE6\x96\x87'"},
        {"// encoding=\"ISO8859-1\"\n:cfg-set:{A=\"caf\xE9\"};\n", "ISO8859-1",
         "101@2 'a'='caf\xC3\xA9'"},
        {":cfg-set:{A=1};\n", "GBK", "101@1 'a'=1"},
        {"// Idle Optical NE\n:cfg-set:{A=1};\n", "ISO8859-1", "101@2 'a'=1"},
        {":cfg-set:{A=1};\n", "ISO8859-1", "101@1 'a'=1"}};
    int n = 0;
    for (const auto& row : rows) {
        TScriptFileImpl& file = Open("e" + std::to_string(n++) + ".txt", row[0]);
        EXPECT_EQ(row[1], file.GetEncoding()) << row[0];
        EXPECT_EQ(Texts{row[2]}, ReadAll(file)) << row[0];
    }
    // Beyond the first 64 bytes of a command, where the reader notes non-ASCII bytes by blocks.
    const std::string x(100, 'x');
    TScriptFileImpl& late =
        Open("late.txt", "// encoding=\"GBK\"\n:cfg-set:{A=\"" + x + "\xD6\xD0\xCE\xC4\"};\n");
    EXPECT_EQ(Texts{"101@2 'a'='" + x + "\xE4\xB8\xAD\xE6\x96\x87'"}, ReadAll(late));
    QXConvertDataStorage::Instance()->SetScriptONELanEn(false);
}

TEST_F(ScriptRead, HeaderSlotFlagsAndVersionGrammars) {
    struct Case {
        std::string head;
        unsigned long version;
        bool has, is11;
    };
    const std::string longV = "// Q5100 NM version = Q5100V200R007C03B100\n";
    const Case cases[] = {
        {"// SlotFlagVer=1.0 \n// EMS version = Q5300V100R002C01\n", 0x03020100, true, false},
        {"// SlotFlagVer=1.1 \n" + longV, 0x02070400, true, true},
        {"// EMS version = Q5100xxxxxV200R007C03B100\n", 0x02070400, false, false},
        {"// Q5100 NM version = Q5100V200R007C03X100\n", 0x02010302, false, false},
        {"// nothing here\n", 0x02010302, false, false},
    };
    for (const Case& c : cases) {
        TScriptFileImpl& file = Open("h.txt", kUtf8Header + c.head + ":cfg-set:{A=1};\n");
        bool is11 = !c.is11, has = !c.has;
        FILE* f = std::fopen((dir_ + "/h.txt").c_str(), "rb");
        file.GetScriptPara(f, is11, has);
        std::fclose(f);
        EXPECT_EQ(std::make_tuple(c.version, c.has, c.is11),
                  std::make_tuple(file.GetVersion(), has, is11))
            << c.head;
    }

    // The short grammar needs its twelfth character: at the very end of the 512 bytes the
    // newline is missing and the fallback 3.1.1.1 is taken.
    const std::string line = "// EMS version = Q5300V100R002C01";
    const std::string pad(512 - std::strlen(kUtf8Header) - line.size(), ' ');
    EXPECT_EQ(0x03010101ul, Open("e.txt", kUtf8Header + pad + line + "\n").GetVersion());

    // The version is published to the running task.
    qxp::OrinGnlTask task;
    qxp::ScopedCurrentTask scope(&task);
    Open("v.txt", kUtf8Header + longV);
    std::string flag;
    ASSERT_TRUE(task.GetContext()->GetFlag("Script_Version", flag));
    EXPECT_EQ(std::to_string(0x02070400), flag);
}

TEST_F(ScriptRead, WholeFileAnalysisMatchingAndCursor) {
    TScriptFileImpl& file = Open("s.txt", std::string(kUtf8Header) +
                                              ":cfg-set:{A=1};\n"
                                              ":cfg-set:{A=};\n"
                                              ":cfg-add:{A=\"has cfg-set inside\"};\n"
                                              ":unknown:{A=1};\n");
    std::vector<TScriptResult> results;
    EXPECT_EQ(2ul, file.GetAllCommands(results));
    ASSERT_EQ(1u, results.size());
    EXPECT_EQ(3, results[0].m_kind);
    EXPECT_EQ((std::vector<unsigned long>{101, 102}), RestCodes(file));
    EXPECT_TRUE(file.GoToFirstCommand());

    // Names match case-sensitively, anywhere in the command's text.
    results.clear();
    EXPECT_EQ(0ul, Open("s.txt").GetMatchCommands({"CFG-SET"}, results));
    results.clear();
    EXPECT_EQ(2ul, Open("s.txt").GetMatchCommands({"cfg-set"}, results));
    EXPECT_EQ(1u, results.size());

    // The cursor: repeat, push back, and a file without known commands.
    TScriptFileImpl& two =
        Open("c.txt", std::string(kUtf8Header) + ":cfg-set:{A=1};\n:cfg-add:{A=2};\n");
    TScriptCmd cmd;
    // Nothing is loaded before the first command is asked for.
    EXPECT_FALSE(two.GetOneCommand(cmd));
    ASSERT_TRUE(two.GoToFirstCommand());
    unsigned long code = 0;
    ASSERT_TRUE(two.GetCmdCodeOfCurrCmdAndCheck(code));
    EXPECT_EQ(101ul, code);
    ASSERT_TRUE(two.RepeatGetOneCommand(cmd));
    ASSERT_TRUE(two.GetOneCommand(cmd));
    EXPECT_EQ(101ul, cmd.GetCmdCode());
    EXPECT_EQ(2ul, two.GetCurrentLineNO());
    ASSERT_TRUE(two.GetOneCommand(cmd));
    EXPECT_EQ(102ul, cmd.GetCmdCode());
    EXPECT_FALSE(two.GetOneCommand(cmd));
    ASSERT_TRUE(two.PushOneCommand(cmd));
    EXPECT_EQ((std::vector<unsigned long>{102}), RestCodes(two));
    EXPECT_EQ(3ul, two.GetCurrentLineNO());

    TScriptFileImpl& unknown = Open("u.txt", ":x:{A=1};\n");
    EXPECT_TRUE(unknown.GoToFirstCommand());
    EXPECT_TRUE(RestCodes(unknown).empty());
}

TEST_F(ScriptRead, HostileFilesEndInFalseOrRecordedErrors) {
    TScriptFileImpl file(1);
    EXPECT_FALSE(file.OpenForRead(1, dir_.c_str(), "missing.txt"));
    EXPECT_FALSE(file.OpenForRead(1, nullptr, nullptr));
    EXPECT_FALSE(file.OpenForRead(1, nullptr, ""));
    TScriptCmd cmd;
    EXPECT_FALSE(file.GetOneCommand(cmd));
    EXPECT_EQ(0ul, file.GetCmdCount());

    EXPECT_TRUE(ReadAll(Open("e.txt", "")).empty());
    EXPECT_TRUE(ReadAll(Open("n.txt", std::string(5000, '\0'))).empty());

    // One command of 10 MB without ";" is refused for its length and recorded.
    qxp::TraceCapture traces;
    TScriptFileImpl& big =
        Open("b.txt", std::string(kUtf8Header) + ":cfg-set:{A=" + std::string(10 << 20, 'x'));
    EXPECT_TRUE(ReadAll(big).empty());
    ASSERT_EQ(1u, big.GetCmdAnalyzedResult().size());
    EXPECT_TRUE(traces.Contains("AnalyseOneCommandEx failed, input string is too long."));

    // Trailing blanks beyond the limit are trimmed, not counted: this text fails as a syntax
    // error (it has no ";"), not for its length.
    qxp::TraceCapture shortTraces;
    TScriptFileImpl& blanks =
        Open("p.txt", std::string(kUtf8Header) + ":cfg-set:{A=1}" + std::string(200000, ' '));
    EXPECT_TRUE(ReadAll(blanks).empty());
    EXPECT_EQ(1u, blanks.GetCmdAnalyzedResult().size());
    EXPECT_FALSE(shortTraces.Contains("too long"));
}

// A pipe or FIFO named by path is read once, from its first byte: the header is taken from
// the bytes already read, and going back fails, with a trace, once the reader has moved on.
TEST_F(ScriptRead, PipesAndFifosAreReadOnceFromTheStart) {
    const std::string small = std::string(kUtf8Header) + ":cfg-set:{A=1};\n:cfg-add:{B=2};\n";
    std::string large = kUtf8Header;
    for (int i = 0; i < 20000; ++i) large += ":cfg-set:{A=" + std::to_string(i) + "};\n";

    const std::string fifo = tmp_ / "fifo";
    ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
    for (const std::string* bytes : {&small, static_cast<const std::string*>(&large)}) {
        std::thread feeder([&] { test_files::WriteFile(fifo, *bytes); });
        std::unique_ptr<TScriptFileImpl> file = OpenFileForRead(dir_.c_str(), "fifo");
        ASSERT_NE(nullptr, file);
        EXPECT_EQ("UTF-8", file->GetEncoding());
        std::size_t n = 0;
        unsigned long last = 0;
        for (TScriptCmd c; file->GetOneCommand(c); ++n) last = c.GetLineNo();
        feeder.join();
        if (bytes == &small) {
            EXPECT_EQ(2u, n);
            // The whole file stands in the first block: it can be read again.
            EXPECT_EQ((Texts{"101@2 'a'=1", "102@3 'b'=2"}), ReadAll(*file));
        } else {
            EXPECT_EQ(20000u, n);
            EXPECT_EQ(20001ul, last);
            qxp::TraceCapture traces;
            EXPECT_FALSE(file->GoToFirstCommand());
            EXPECT_FALSE(file->FileToBegin());
            EXPECT_EQ(0ul, file->GetCmdCount());
            EXPECT_TRUE(traces.Contains("FileToBegin failed"));
        }
    }

    int fds[2];
    ASSERT_EQ(0, pipe(fds));
    std::thread feeder([&] {
        std::size_t done = 0;
        while (done < large.size()) {
            const ssize_t n = write(fds[1], large.data() + done, large.size() - done);
            if (n <= 0) break;
            done += static_cast<std::size_t>(n);
        }
        close(fds[1]);
    });
    TScriptFileImpl piped(1);
    ASSERT_TRUE(piped.OpenForRead(1, nullptr, ("/dev/fd/" + std::to_string(fds[0])).c_str()));
    std::vector<TScriptResult> results;
    EXPECT_EQ(20000ul, piped.GetAllCommands(results));
    EXPECT_TRUE(results.empty());
    feeder.join();
    close(fds[0]);

    // A regular file opened by the free function stands at its first command.
    test_files::WriteFile(tmp_ / "r.txt", small);
    std::unique_ptr<TScriptFileImpl> regular = OpenFileForRead(dir_.c_str(), "r.txt");
    ASSERT_NE(nullptr, regular);
    EXPECT_EQ((std::vector<unsigned long>{101, 102}), RestCodes(*regular));
    EXPECT_EQ(nullptr, OpenFileForRead(dir_.c_str(), "absent.txt"));
}

// A parser offset in the gathered text leads back to the file's line and column, across the
// comments, carriage returns and encoding that gathering took out.
TEST(CommandLocator, MapsTextOffsetsBackToFileLinesAndColumns) {
    SourceSpan span;
    span.bytes = "x; :x:{A=1, /* note */ B=\"\xD6\xD0\",\r\n  C=#};";
    span.commandStart = 3;
    span.firstLine = 5;
    span.firstColumn = 2;
    const std::string text = ":x:{A=1,   B=\"\xE4\xB8\xAD\",   C=#};";  // as gathered, in UTF-8
    const CommandLocator locator(span, "GBK", "  // rest\nnext");
    auto where = [](const TScriptDiagnostic& d) {
        return std::to_string(d.line) + ":" + std::to_string(d.column) + " " + d.lineText;
    };
    EXPECT_EQ("5:31 x; :x:{A=1, /* note */ B=\"\xE4\xB8\xAD\",",
              where(locator.AtText(text.find(",   C"), text, false)));
    EXPECT_EQ("5:6 x; :x:{A=1, /* note */ B=\"\xE4\xB8\xAD\",",
              where(locator.AtText(0, text, false)));
    EXPECT_EQ("6:5   C=#};  // rest", where(locator.AtText(text.find('#'), text, false)));
    EXPECT_EQ("6:8   C=#};  // rest", where(locator.AtText(text.size(), text, false)));
    EXPECT_EQ(std::string::npos, locator.OpenQuote());
    EXPECT_EQ(std::string::npos, locator.OpenComment());
}

// With a sink the reader says where each fault stands and records the same failures as without;
// a quote or block comment left open is blamed on the line where it opens.
TEST_F(ScriptRead, DiagnosticsSayWhereAFileGoesWrong) {
    struct Collect : TScriptDiagnosticSink {
        void Report(const TScriptDiagnostic& d) override {
            seen.push_back((d.severity == TScriptDiagnostic::kError ? "E " : "W ") +
                           std::to_string(d.line) + ":" + std::to_string(d.column) + " " +
                           d.reason + " | " + d.lineText);
        }
        Texts seen;
    };
    auto Read = [&](const std::string& name, TScriptDiagnosticSink* sink) {
        TScriptFileImpl file(1);
        file.SetDiagnosticSink(sink);
        EXPECT_TRUE(file.OpenForRead(1, dir_.c_str(), name.c_str()));
        file.GoToFirstCommand();
        Texts out;
        for (TScriptCmd c; file.GetOneCommand(c);) out.push_back(std::to_string(c.GetLineNo()));
        for (const TScriptResult& r : file.GetCmdAnalyzedResult()) {
            out.push_back("failed@" + std::to_string(r.m_kind));
        }
        return out;
    };

    // GBK with CRLF line ends: columns count characters, the line comes back in UTF-8. The
    // quote opened on line 3 runs to the end of the file.
    test_files::WriteFile(tmp_ / "q.txt",
                          "// encoding=\"GBK\"\r\n"
                          ":cfg-set:{A=\"\xD6\xD0\"};\r\n"
                          ":cfg-set:{A=\"\xD6\xD0\"}; :cfg-set:{B=\"open};\r\n"
                          ":cfg-set:{C=1};\r\n");
    // A block comment that is never closed hides the rest of the file; one that cuts a
    // command short is that command's one failure, at the line where its text ended.
    test_files::WriteFile(tmp_ / "c.txt", std::string(kUtf8Header) +
                                              ":cfg-set:{A=1};\n"
                                              "  /* unclosed\n"
                                              ":cfg-set:{B=2};\n");
    test_files::WriteFile(tmp_ / "m.txt", std::string(kUtf8Header) +
                                              ":cfg-set:{A=1};\n"
                                              ":cfg-set:{B=/* cut\n"
                                              ":cfg-set:{C=2};\n");
    const struct {
        const char* name;
        Texts read;
        Texts seen;
    } cases[] = {
        {"q.txt",
         {"2", "3", "failed@5"},
         {"E 3:31 unterminated quote | :cfg-set:{A=\"\xE4\xB8\xAD\"}; :cfg-set:{B=\"open};"}},
        {"c.txt", {"2", "failed@3"}, {"E 3:3 unterminated comment |   /* unclosed"}},
        {"m.txt", {"2", "failed@5"}, {"E 3:13 unterminated comment | :cfg-set:{B=/* cut"}},
    };
    for (const auto& c : cases) {
        Collect sink;
        EXPECT_EQ(c.read, Read(c.name, nullptr)) << c.name;
        EXPECT_EQ(c.read, Read(c.name, &sink)) << c.name;
        EXPECT_EQ(c.seen, sink.seen) << c.name;
    }

    // A command that does not parse is an error on its own line, with the parser's reason.
    Collect sink;
    TScriptFileImpl& file = Open(
        "p.txt", std::string(kUtf8Header) + ":cfg-set:{A=1};\n:cfg-set:{A=#};\n:cfg-set:{A=2};\n");
    file.SetDiagnosticSink(&sink);
    std::vector<TScriptResult> results;
    EXPECT_EQ(2ul, file.GetAllCommands(results));
    ASSERT_EQ(1u, results.size());
    EXPECT_EQ(3, results[0].m_kind);
    ASSERT_EQ(1u, sink.seen.size());
    EXPECT_EQ(0u, sink.seen[0].find("E 3:")) << sink.seen[0];
    EXPECT_NE(std::string::npos, sink.seen[0].find(" | :cfg-set:{A=#};")) << sink.seen[0];
}

TEST_F(ScriptRead, NeIdFromFileNames) {
    std::vector<unsigned long> ids;
    for (const char* name : {"a/b/NE_9-3_cfg.txt", "NE.txt", "NE_x.txt", "NE_x_y.txt",
                             "a\\NE_5_x.txt", static_cast<const char*>(nullptr)}) {
        ids.push_back(TScriptFileImpl::GetNEIDFromFileName(name));
    }
    EXPECT_EQ((std::vector<unsigned long>{0x00090003, 0, 0, 0, 5, 0}), ids);
}
