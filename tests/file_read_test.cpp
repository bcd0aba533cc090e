#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <memory>
#include <string>

#include "qx_platform/CodeSet.h"
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

    // Every command of the file, from the first.
    std::vector<TScriptCmd> ReadAll(TScriptFileImpl& file) {
        std::vector<TScriptCmd> out;
        EXPECT_TRUE(file.GoToFirstCommand());
        TScriptCmd cmd;
        while (file.GetOneCommand(cmd)) out.push_back(cmd);
        return out;
    }

    static std::string Value(const TScriptCmd& cmd, std::size_t para, std::size_t value = 0) {
        return cmd.GetParaList().at(para).values.at(value).As_std_string();
    }

    test_files::TempDir tmp_{"qx_read"};
    const std::string dir_ = tmp_.path();
    std::vector<std::unique_ptr<TScriptFileImpl>> files_;
};

}  // namespace

TEST_F(ScriptRead, GathererFoldsCaseCommentsAndQuotes) {
    TScriptFileImpl& file = Open("s.txt", std::string(kUtf8Header) +
                                              ":CFG-SET:{A=Xy, B=\"KeEp \\\" Case\"};\n"
                                              "// :cfg-set:{Z=1};\n"
                                              ":cfg-set:{/* a block\n over two lines */A=1};\n"
                                              ":cfg-set:{C=a/b};\n");
    EXPECT_EQ("UTF-8", file.GetEncoding());
    const auto cmds = ReadAll(file);
    ASSERT_EQ(2u, cmds.size());
    EXPECT_EQ(101ul, cmds[0].GetCmdCode());
    EXPECT_EQ("'a'='xy','b'='KeEp \\\" Case'", tree_text::Show(cmds[0].GetParaList()));
    EXPECT_EQ(2ul, cmds[0].GetLineNo());
    EXPECT_EQ("'a'=1", tree_text::Show(cmds[1].GetParaList()));
    EXPECT_EQ(5ul, cmds[1].GetLineNo());  // the line holding the ";"
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
}

TEST_F(ScriptRead, LineNumbersFailuresAndUnknownNames) {
    TScriptFileImpl& file = Open("s.txt", std::string(kUtf8Header) +
                                              ":cfg-set:{A=1};\n"
                                              ":other-product:{A=1};\n"
                                              ":cfg-set:{A=1,};\n"
                                              ":cfg-add:{B=\n2,\nC=3};\n"
                                              ":cfg-set:{A=9}");  // no ";" at the end
    const auto cmds = ReadAll(file);
    ASSERT_EQ(2u, cmds.size());
    EXPECT_EQ(102ul, cmds[1].GetCmdCode());
    EXPECT_EQ(7ul, cmds[1].GetLineNo());
    // The last text is gathered without its ";" and then refused by the parser.
    const auto errors = file.GetCmdAnalyzedResult();
    ASSERT_EQ(2u, errors.size());
    EXPECT_EQ(4, errors[0].m_kind);
    EXPECT_EQ(8, errors[1].m_kind);
    EXPECT_EQ("s.txt", errors[0].m_text);
    EXPECT_EQ(0x41017307ul, errors[0].m_value);

    EXPECT_EQ(4ul, file.GetCmdCount());  // the unparsable commands have known names
}

TEST_F(ScriptRead, BoardInfoMarkerEndsCommandsEvenInsideQuotes) {
    TScriptFileImpl& file = Open("s.txt", std::string(kUtf8Header) +
                                              ":cfg-set:{A=1};\n"
                                              ":cfg-set:{A=\"/*NeBoardInf\"};\n"
                                              ":cfg-set:{A=3};\n");
    EXPECT_EQ(1u, ReadAll(file).size());

    // A broken start of the marker does not count: "//*NeBoardInf" is a comment.
    TScriptFileImpl& file2 =
        Open("t.txt",
             std::string(kUtf8Header) + ":cfg-set:{A=1};\n//*NeBoardInf\n" + ":cfg-set:{A=2};\n");
    EXPECT_EQ(2u, ReadAll(file2).size());
}

TEST_F(ScriptRead, HooksRejectingCommandsAreRecorded) {
    g_rejectAll = true;
    TScriptFileImpl& file =
        Open("s.txt", std::string(kUtf8Header) + ":cfg-set:{A=1};\n:cfg-add:{A=1};\n");
    EXPECT_TRUE(ReadAll(file).empty());
    EXPECT_EQ(2u, file.GetCmdAnalyzedResult().size());
}

TEST_F(ScriptRead, EncodingsAreReadBackAsUtf8) {
    const std::string utf8Value = "\xE4\xB8\xAD\xE6\x96\x87";  // two Chinese characters
    std::string gbkValue;
    ASSERT_TRUE(qxp::OrinCodeSetConvert("UTF-8", "GBK", utf8Value, gbkValue));
    TScriptFileImpl& file =
        Open("g.txt", "// encoding=\"GBK\"\n:cfg-set:{A=\"" + gbkValue + "\"};\n");
    EXPECT_EQ("GBK", file.GetEncoding());
    auto cmds = ReadAll(file);
    ASSERT_EQ(1u, cmds.size());
    EXPECT_EQ("\"" + utf8Value + "\"", "\"" + Value(cmds[0], 0) + "\"");

    TScriptFileImpl& file2 =
        Open("i.txt", "// encoding=\"ISO8859-1\"\n:cfg-set:{A=\"caf\xE9\"};\n");
    cmds = ReadAll(file2);
    ASSERT_EQ(1u, cmds.size());
    EXPECT_EQ("caf\xC3\xA9", Value(cmds[0], 0));
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
        EXPECT_EQ(c.version, file.GetVersion()) << c.head;
        bool is11 = !c.is11, has = !c.has;
        FILE* f = std::fopen((dir_ + "/h.txt").c_str(), "rb");
        file.GetScriptPara(f, is11, has);
        std::fclose(f);
        EXPECT_EQ(c.has, has) << c.head;
        EXPECT_EQ(c.is11, is11) << c.head;
    }

    // The short grammar needs its twelfth character: at the very end of the 512 bytes the
    // newline is missing and the fallback 3.1.1.1 is taken.
    std::string head = std::string(kUtf8Header);
    const std::string line = "// EMS version = Q5300V100R002C01";
    head += std::string(512 - head.size() - line.size(), ' ') + line + "\n";
    TScriptFileImpl& file = Open("e.txt", head);
    EXPECT_EQ(0x03010101ul, file.GetVersion());

    // The version is published to the running task.
    qxp::OrinGnlTask task;
    qxp::ScopedCurrentTask scope(&task);
    Open("v.txt", kUtf8Header + longV);
    std::string flag;
    ASSERT_TRUE(task.GetContext()->GetFlag("Script_Version", flag));
    EXPECT_EQ(std::to_string(0x02070400), flag);
}

TEST_F(ScriptRead, EncodingFallbackAndIdleOpticalSwitch) {
    QXConvertDataStorage::Instance()->SetScriptONELanEn(false);
    TScriptFileImpl& plain = Open("p.txt", ":cfg-set:{A=1};\n");
    EXPECT_EQ("GBK", plain.GetEncoding());

    TScriptFileImpl& idle = Open("o.txt", "// Idle Optical NE\n:cfg-set:{A=1};\n");
    EXPECT_EQ("ISO8859-1", idle.GetEncoding());

    TScriptFileImpl& later = Open("p.txt");
    EXPECT_EQ("ISO8859-1", later.GetEncoding());
    QXConvertDataStorage::Instance()->SetScriptONELanEn(false);
}

TEST_F(ScriptRead, WholeFileAnalysisAndMatching) {
    TScriptFileImpl& file = Open("s.txt", std::string(kUtf8Header) +
                                              ":cfg-set:{A=1};\n"
                                              ":cfg-set:{A=};\n"
                                              ":cfg-add:{A=\"has cfg-set inside\"};\n"
                                              ":unknown:{A=1};\n");
    std::vector<TScriptResult> results;
    EXPECT_EQ(2ul, file.GetAllCommands(results));
    ASSERT_EQ(1u, results.size());
    EXPECT_EQ(3, results[0].m_kind);
    TScriptCmd cmd;
    ASSERT_TRUE(file.GetOneCommand(cmd));
    EXPECT_EQ(101ul, cmd.GetCmdCode());
    ASSERT_TRUE(file.GetOneCommand(cmd));
    EXPECT_EQ(102ul, cmd.GetCmdCode());
    EXPECT_FALSE(file.GetOneCommand(cmd));
    EXPECT_TRUE(file.GoToFirstCommand());

    TScriptFileImpl& upper = Open("s.txt");
    results.clear();
    EXPECT_EQ(0ul, upper.GetMatchCommands({"CFG-SET"}, results));

    TScriptFileImpl& lower = Open("s.txt");
    results.clear();
    EXPECT_EQ(2ul, lower.GetMatchCommands({"cfg-set"}, results));  // also the one with it inside
    EXPECT_EQ(1u, results.size());
}

TEST_F(ScriptRead, CursorPushBackAndRepeat) {
    TScriptFileImpl& file =
        Open("s.txt", std::string(kUtf8Header) + ":cfg-set:{A=1};\n:cfg-add:{A=2};\n");
    TScriptCmd cmd;
    EXPECT_FALSE(
        file.GetOneCommand(cmd));  // nothing is loaded before the first command is asked for
    ASSERT_TRUE(file.GoToFirstCommand());
    unsigned long code = 0;
    ASSERT_TRUE(file.GetCmdCodeOfCurrCmdAndCheck(code));
    EXPECT_EQ(101ul, code);
    ASSERT_TRUE(file.RepeatGetOneCommand(cmd));
    ASSERT_TRUE(file.GetOneCommand(cmd));
    EXPECT_EQ(101ul, cmd.GetCmdCode());
    EXPECT_EQ(2ul, file.GetCurrentLineNO());
    ASSERT_TRUE(file.GetOneCommand(cmd));
    EXPECT_EQ(102ul, cmd.GetCmdCode());
    EXPECT_FALSE(file.GetOneCommand(cmd));
    ASSERT_TRUE(file.PushOneCommand(cmd));
    TScriptCmd again;
    ASSERT_TRUE(file.GetOneCommand(again));
    EXPECT_EQ(102ul, again.GetCmdCode());
    EXPECT_EQ(3ul, file.GetCurrentLineNO());

    TScriptFileImpl& unknown = Open("u.txt", ":x:{A=1};\n");
    EXPECT_TRUE(unknown.GoToFirstCommand());
    EXPECT_FALSE(unknown.GetOneCommand(cmd));
}

TEST_F(ScriptRead, HostileFilesEndInFalseOrRecordedErrors) {
    TScriptFileImpl file(1);
    EXPECT_FALSE(file.OpenForRead(1, dir_.c_str(), "missing.txt"));
    EXPECT_FALSE(file.OpenForRead(1, nullptr, nullptr));
    EXPECT_FALSE(file.OpenForRead(1, nullptr, ""));
    TScriptCmd cmd;
    EXPECT_FALSE(file.GetOneCommand(cmd));
    EXPECT_EQ(0ul, file.GetCmdCount());

    TScriptFileImpl& empty = Open("e.txt", "");
    EXPECT_TRUE(ReadAll(empty).empty());

    TScriptFileImpl& nul = Open("n.txt", std::string(5000, '\0'));
    EXPECT_TRUE(ReadAll(nul).empty());

    // One command of 10 MB without ";" is refused for its length and recorded.
    std::string huge = std::string(kUtf8Header) + ":cfg-set:{A=";
    huge += std::string(10 * 1024 * 1024, 'x');
    qxp::TraceCapture traces;
    TScriptFileImpl& big = Open("b.txt", huge);
    EXPECT_TRUE(ReadAll(big).empty());
    ASSERT_EQ(1u, big.GetCmdAnalyzedResult().size());
    EXPECT_TRUE(traces.Contains("AnalyseOneCommandEx failed, input string is too long."));

    // Trailing blanks beyond the limit are trimmed, not counted: this text fails as a syntax
    // error (it has no ";"), not for its length.
    const std::string padded =
        std::string(kUtf8Header) + ":cfg-set:{A=1}" + std::string(200000, ' ');
    qxp::TraceCapture shortTraces;
    TScriptFileImpl& blanks = Open("p.txt", padded);
    EXPECT_TRUE(ReadAll(blanks).empty());
    EXPECT_EQ(1u, blanks.GetCmdAnalyzedResult().size());
    EXPECT_FALSE(shortTraces.Contains("too long"));
}

TEST_F(ScriptRead, NeIdFromFileNames) {
    EXPECT_EQ(0x00090003ul, TScriptFileImpl::GetNEIDFromFileName("a/b/NE_9-3_cfg.txt"));
    EXPECT_EQ(0ul, TScriptFileImpl::GetNEIDFromFileName("NE.txt"));
    EXPECT_EQ(0ul, TScriptFileImpl::GetNEIDFromFileName("NE_x.txt"));
    EXPECT_EQ(0ul, TScriptFileImpl::GetNEIDFromFileName("NE_x_y.txt"));
    EXPECT_EQ(5ul, TScriptFileImpl::GetNEIDFromFileName("a\\NE_5_x.txt"));
    EXPECT_EQ(0ul, TScriptFileImpl::GetNEIDFromFileName(nullptr));
}
