#include <gtest/gtest.h>

#include <sys/stat.h>

#include <fstream>
#include <random>
#include <string>

#include "qx_platform/CodeSet.h"
#include "qx_platform/Control.h"
#include "qx_platform/Trace.h"
#include "qx_scriptutil/CmdNameConvert.h"
#include "qx_scriptutil/QXScriptEnumMgr.h"
#include "qx_scriptutil/QXScriptErrMgr.h"
#include "qx_scriptutil/TScriptFileImpl.h"
#include "tests/TestFiles.h"

using namespace NSQX_script;

namespace {

constexpr std::int64_t kNoon = 1795334400;  // 2026-11-22 08:00:00 UTC

class ScriptWrite : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(tmp_.ok());
        qxp::SetFixedTime(kNoon);
        qxp::SetUserName(7, "alice");
        CmdNameConvert::AddCmdNameIDMap("cfg-set", 201);
        QXScriptErrMgr::Destroy();
    }
    void TearDown() override {
        qxp::ResetOverrides();
        CmdNameConvert::RemoveCmdNameIDMap(201);
        QXScriptErrMgr::Destroy();
    }

    std::string Read(const std::string& name) { return test_files::ReadFile(tmp_ / name); }

    static MMLParaStruct Para(const std::string& name, std::initializer_list<std::string> values) {
        MMLParaStruct p;
        p.name = QXValue(name, false);
        for (const auto& v : values) p.values.emplace_back(v, false);
        return p;
    }

    test_files::TempDir tmp_{"qx_write"};
    const std::string dir_ = tmp_.path();
};

}  // namespace

TEST_F(ScriptWrite, FirstHeaderFormByteForByte) {
    qxp::SetServerVersionName("");
    {
        TScriptFileImpl file(1);
        ASSERT_TRUE(file.OpenForWrite(1, dir_.c_str(), "h.txt", 7, true));
        TScriptCmd cmd(201);
        cmd.GetParaList().push_back(Para("a", {"1"}));
        ASSERT_TRUE(file.WriteCommand(cmd));
    }
    EXPECT_EQ(
        "// SlotFlagVer=1.1 \n"
        "// EMS version = unknown\n"
        "//{{script_version=2.1.3.2}}\n"
        "// NE Configuration Data Script\n"
        "// 2026-11-22 08:00:00 Created by alice\n"
        "// encoding=\"UTF-8\"\n"
        "\n"
        ":cfg-set:{a=1};\n\n",
        Read("h.txt"));

    qxp::TraceCapture traces;
    TScriptFileImpl unknown(1);
    ASSERT_TRUE(unknown.OpenForWrite(99, dir_.c_str(), "u.txt", 7, true));
    EXPECT_TRUE(traces.Contains(
        "Input Unknown ScriptType in TScriptFileImpl::WriteScriptExporterInfo, eScriptType is 99"));
}

TEST_F(ScriptWrite, SecondHeaderFormHasTwoEmptyLines) {
    qxp::SetServerVersionName("V1R2");
    {
        auto file = OpenFileForWrite(dir_.c_str(), "s.txt", "My Title", 7);
        ASSERT_NE(nullptr, file);
        EXPECT_EQ(8u, file->GetScriptType());
    }
    EXPECT_EQ(
        "// SlotFlagVer=1.1 \n"
        "// EMS version = V1R2\n"
        "//{{script_version=2.1.3.2}}\n"
        "// My Title\n"
        "// 2026-11-22 08:00:00 Created by alice\n"
        "// encoding=\"UTF-8\"\n"
        "\n\n",
        Read("s.txt"));
    EXPECT_EQ(nullptr, OpenFileForWrite(dir_.c_str(), nullptr, "t", 7));
    EXPECT_EQ(nullptr, OpenFileForWrite((dir_ + "/missing").c_str(), "s.txt", "t", 7));
}

TEST_F(ScriptWrite, BodyWrapsAndRawLines) {
    {
        TScriptFileImpl file(1);
        ASSERT_TRUE(file.OpenForWriteNoHead(dir_.c_str(), "b.txt"));
        TScriptCmd cmd(201);
        for (int i = 0; i < 8; ++i) {
            cmd.GetParaList().push_back(
                Para("para" + std::to_string(i), {"value" + std::to_string(i)}));
        }
        ASSERT_TRUE(file.WriteCommand(cmd));
        TScriptCmd raw(999);  // no name registered: a raw line
        raw.GetParaList().push_back(Para("x", {"// a comment", "dropped"}));
        raw.GetParaList().push_back(Para("y", {" and more"}));
        ASSERT_TRUE(file.WriteCommand(raw));
        TScriptCmd none(201);
        ASSERT_TRUE(file.WriteCommand(none));
    }
    EXPECT_EQ(
        ":cfg-set:{para0=value0, para1=value1, para2=value2, para3=value3, para4=value4, \n"
        "  para5=value5, para6=value6, para7=value7};\n\n"
        "// a comment and more\n",
        Read("b.txt"));
}

TEST_F(ScriptWrite, AppendJoinsNewContentFirstInChunksOf254) {
    struct Case {
        std::size_t targetSize;
        std::size_t expectedTail;
    };
    for (const Case c : {Case{10, 254}, Case{254, 508}, Case{0, 254}}) {
        {
            std::ofstream(dir_ + "/new.txt") << "NEW";
            std::ofstream(dir_ + "/target.txt") << std::string(c.targetSize, 't');
        }
        TScriptFileImpl file(1);
        ASSERT_TRUE(file.OpenForAppend(dir_.c_str(), "target.txt", "new.txt"));
        const std::string joined = Read("target.txt");
        ASSERT_EQ(3 + c.expectedTail, joined.size()) << c.targetSize;
        EXPECT_EQ("NEW" + std::string(c.targetSize, 't'), joined.substr(0, 3 + c.targetSize));
        EXPECT_EQ(std::string(c.expectedTail - c.targetSize, '\0'),
                  joined.substr(3 + c.targetSize));
        EXPECT_FALSE(std::ifstream(dir_ + "/new.txt").good());
        EXPECT_FALSE(file.WriteString("x"));
    }

    // A missing target fails before anything is deleted.
    std::ofstream(dir_ + "/new.txt") << "NEW";
    qxp::TraceCapture traces;
    TScriptFileImpl file(1);
    EXPECT_FALSE(file.OpenForAppend(dir_.c_str(), "absent.txt", "new.txt"));
    EXPECT_TRUE(traces.Contains("Open Script File for read error!filename:"));
    EXPECT_EQ("NEW", Read("new.txt"));
}

namespace {

// Forwards to the POSIX service but fails the chosen step.
class FailingFiles : public qxp::FileService {
  public:
    enum Step { kNone, kOpenAppend, kCloseTarget, kDelete, kRename };
    explicit FailingFiles(Step step) : step_(step) {}
    FILE* Open(const std::string& path, const char* mode) override {
        if (step_ == kOpenAppend && mode[0] == 'a') return nullptr;
        FILE* f = posix_.Open(path, mode);
        if (mode[0] == 'r') target_ = f;
        return f;
    }
    int Close(FILE* stream) override {
        const int rc = posix_.Close(stream);
        return step_ == kCloseTarget && stream == target_ ? -1 : rc;
    }
    bool Delete(const std::string& path) override {
        return step_ != kDelete && posix_.Delete(path);
    }
    bool Rename(const std::string& from, const std::string& to) override {
        return step_ != kRename && posix_.Rename(from, to);
    }
    bool MakeDir(const std::string& path) override { return posix_.MakeDir(path); }
    bool IsDirectory(const std::string& path) override { return posix_.IsDirectory(path); }

  private:
    Step step_;
    qxp::FileService& posix_ = qxp::PosixFileService();
    FILE* target_ = nullptr;
};

}  // namespace

TEST_F(ScriptWrite, AppendThatFailsAtAnyStepLosesNoContent) {
    struct Case {
        FailingFiles::Step step;
        const char* trace;
    };
    const Case cases[] = {
        {FailingFiles::kOpenAppend, "Open Script File for write error!filename:"},
        {FailingFiles::kCloseTarget, "Close Script File fails!filename:"},
        {FailingFiles::kDelete, "Delete Script File fails!filename:"},
        {FailingFiles::kRename, "rename Script File fails!filename:"},
    };
    for (const Case& c : cases) {
        std::ofstream(dir_ + "/new.txt", std::ios::trunc) << "NEW";
        std::ofstream(dir_ + "/target.txt", std::ios::trunc) << "OLD";
        FailingFiles files(c.step);
        qxp::SetFileService(&files);
        qxp::TraceCapture traces;
        TScriptFileImpl file(1);
        EXPECT_FALSE(file.OpenForAppend(dir_.c_str(), "target.txt", "new.txt"));
        qxp::SetFileService(nullptr);
        EXPECT_TRUE(traces.Contains(c.trace)) << c.trace;
        // The target goes only once its whole content stands in the new file: until the delete
        // it is untouched; after it, the joined content waits under the new name.
        if (c.step == FailingFiles::kRename) {
            EXPECT_EQ(0u, Read("new.txt").find("NEWOLD"));
        } else {
            EXPECT_EQ("OLD", Read("target.txt")) << c.trace;
        }
    }
}

TEST_F(ScriptWrite, StringWriterFallsBackToTheOtherSingleByteEncoding) {
    TScriptFileImpl file(1);
    ASSERT_TRUE(file.OpenForWriteNoHead(dir_.c_str(), "e.txt"));
    EXPECT_FALSE(TScriptFileImpl(1).WriteString(""));  // no stream
    EXPECT_TRUE(file.WriteString(""));
    // A header read gives the object the encoding GBK, which the next write keeps.
    { std::ofstream(dir_ + "/g.txt") << "// encoding=\"GBK\"\n"; }
    TScriptFileImpl gbk(1);
    ASSERT_TRUE(gbk.OpenForRead(1, dir_.c_str(), "g.txt"));
    ASSERT_EQ("GBK", gbk.GetEncoding());
    EXPECT_FALSE(file.SetEncoding("LATIN1"));
    EXPECT_TRUE(file.SetEncoding("GBK"));
    EXPECT_EQ("GBK", file.GetEncoding());
    ASSERT_TRUE(gbk.OpenForWriteNoHead(dir_.c_str(), "g2.txt"));
    EXPECT_TRUE(gbk.WriteString("caf\xC3\xA9 \xE4\xB8\xAD"));  // GBK holds both
    EXPECT_TRUE(gbk.WriteString("\xC3\xBF"));                  // y with diaeresis: ISO8859-1 only
    gbk.OpenForWriteNoHead(dir_.c_str(), "other.txt");
    std::string expected;
    ASSERT_TRUE(qxp::OrinCodeSetConvert("UTF-8", "GBK", "caf\xC3\xA9 \xE4\xB8\xAD", expected));
    EXPECT_EQ(expected + "\xFF", Read("g2.txt"));
}

TEST_F(ScriptWrite, FailedWritesSetTheThreadErrorCode) {
    TScriptFileImpl file(1);
    EXPECT_FALSE(file.OpenForWrite(1, (dir_ + "/no/such/dir").c_str(), "x.txt", 7, true));
    EXPECT_FALSE(file.OpenForWrite(1, dir_.c_str(), nullptr, 7, true));

    TScriptFileImpl full(1);
    ASSERT_TRUE(full.OpenForWriteNoHead(nullptr, "/dev/full"));
    TScriptCmd cmd(201);
    cmd.GetParaList().push_back(Para("a", {std::string(70000, 'v')}));
    EXPECT_FALSE(full.WriteCommand(cmd));
    EXPECT_EQ(kScriptErrWriteFailed, QXScriptErrMgr::Instance()->m_errorCode);
}

// Small commands collect in the stream's buffer and reach the file in blocks: every byte arrives
// in order, and a block that cannot be written fails the command that filled it.
TEST_F(ScriptWrite, ManySmallCommandsArriveWholeAndAFullDiskIsReported) {
    std::string expected;
    std::vector<TScriptCmd> cmds;
    for (int i = 0; i < 3000; ++i) {
        TScriptCmd cmd(201);
        cmd.GetParaList().push_back(Para("n", {std::to_string(i * 7919)}));
        cmd.GetParaList().push_back(Para("t", {"\"caf\xC3\xA9\"", "x"}));
        expected += ":cfg-set:{n=" + std::to_string(i * 7919) + ", t=\"caf\xC3\xA9\"&x};\n\n";
        cmds.push_back(cmd);
    }
    {
        TScriptFileImpl file(1);
        ASSERT_TRUE(file.SetEncoding("UTF-8"));
        ASSERT_TRUE(file.OpenForWriteNoHead(dir_.c_str(), "many.txt"));
        for (auto& c : cmds) ASSERT_TRUE(file.WriteCommand(c));
        file.WriteAnnotationCommand("// end\n");
    }
    EXPECT_EQ(expected + "// end\n", Read("many.txt"));

    TScriptFileImpl full(1);
    ASSERT_TRUE(full.OpenForWriteNoHead(nullptr, "/dev/full"));
    std::size_t failed = 0;
    for (auto& c : cmds) failed += full.WriteCommand(c) ? 0 : 1;
    EXPECT_GT(failed, 0u);
    EXPECT_EQ(kScriptErrWriteFailed, QXScriptErrMgr::Instance()->m_errorCode);
}

TEST_F(ScriptWrite, RoundTripThroughWriterAndReader) {
    std::mt19937 rng(3);
    std::vector<TScriptCmd> written;
    for (int i = 0; i < 200; ++i) {
        TScriptCmd cmd(201);
        auto& list = cmd.GetParaList();
        MMLParaStruct ints;
        ints.name = QXValue("ints", false);
        for (int k = 0; k < 1 + static_cast<int>(rng() % 40); ++k)
            ints.values.emplace_back(static_cast<long>(rng() % 100000));
        list.push_back(ints);
        list.push_back(Para("ident", {"value_" + std::to_string(rng() % 1000)}));
        list.push_back(Para("text", {"\"quoted \\\" and \\\\ text\""}));
        list.push_back(Para("accent", {"\"caf\xC3\xA9\""}));  // held by all three encodings
        MMLParaStruct frac;
        frac.name = QXValue("frac", false);
        frac.values.emplace_back(static_cast<double>(rng() % 10000) / 16.0);
        list.push_back(frac);
        MMLParaStruct group;
        group.name = QXValue("grp", false);
        group.objects.push_back({Para("a", {"x"}), Para("b", {"y"})});
        group.objects.push_back({Para("a", {"z"})});
        list.push_back(group);
        written.push_back(cmd);
    }
    // The configured encoding reaches file objects through the enumeration table's settings.
    std::ofstream(dir_ + "/enum.xml") << "<root/>";
    qxp::SetAppRootPath(dir_ + "/");
    for (const char* encoding : {"0", "1", "2"}) {
        qxp::SetUserCfgItem("TRANS", "encoding", encoding);
        ASSERT_EQ(0u, QXScriptEnumMgr::Instance()->Init("enum.xml"));
        {
            TScriptFileImpl out(1);
            ASSERT_TRUE(out.OpenForWrite(1, dir_.c_str(), "r.txt", 7, true));
            for (auto& c : written) ASSERT_TRUE(out.WriteCommand(c));
        }
        TScriptFileImpl in(1);
        ASSERT_TRUE(in.OpenForRead(1, dir_.c_str(), "r.txt"));
        ASSERT_TRUE(in.GoToFirstCommand());
        TScriptCmd cmd;
        std::size_t n = 0;
        while (in.GetOneCommand(cmd)) {
            ASSERT_LT(n, written.size());
            const auto& a = written[n].GetParaList();
            const auto& b = cmd.GetParaList();
            ASSERT_EQ(a.size(), b.size());
            for (std::size_t p = 0; p < a.size(); ++p) {
                EXPECT_EQ(a[p].name.As_std_string(), b[p].name.As_std_string());
                ASSERT_EQ(a[p].values.size(), b[p].values.size());
                for (std::size_t v = 0; v < a[p].values.size(); ++v) {
                    std::string sent = a[p].values[v].As_std_string();
                    // The parser takes a quoted text's outer quotes off.
                    if (sent.size() > 1 && sent.front() == '"')
                        sent = sent.substr(1, sent.size() - 2);
                    EXPECT_EQ(sent, b[p].values[v].As_std_string());
                }
                EXPECT_EQ(a[p].objects.size(), b[p].objects.size());
            }
            ++n;
        }
        EXPECT_EQ(written.size(), n);
        EXPECT_TRUE(in.GetCmdAnalyzedResult().empty());
        EXPECT_EQ(std::string(encoding) == "0" ? "GBK"
                  : encoding[0] == '1'         ? "UTF-8"
                                               : "ISO8859-1",
                  in.GetEncoding());
        QXScriptEnumMgr::Instance()->Release();
    }
}
