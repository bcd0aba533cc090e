#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "qx_platform/Control.h"
#include "qx_platform/Env.h"
#include "qx_platform/Files.h"
#include "qx_platform/Trace.h"
#include "qx_scriptutil/CmdNameConvert.h"
#include "qx_scriptutil/QXScriptErrMgr.h"
#include "qx_scriptutil/TScriptFileImpl.h"
#include "tests/TestFiles.h"
#include "tests/TreeText.h"

using namespace NSQX_script;
using tree_text::Cmd;
using tree_text::Para;

namespace fs = std::filesystem;

namespace {

constexpr std::int64_t kNoon = 1795334400;  // 2026-11-22 08:00:00 UTC

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

// Memory files whose writes stop after a budget of bytes: the rest of the append is lost, as on a
// full disk.
class FailingEnv : public qxp::Env {
  public:
    explicit FailingEnv(std::size_t budget) : budget_(budget) {}
    qxp::Status NewReadableFile(const std::string& path,
                                std::unique_ptr<qxp::ReadableFile>* file) override {
        return mem_->NewReadableFile(path, file);
    }
    qxp::Status NewWritableFile(const std::string& path, qxp::WriteMode mode,
                                std::unique_ptr<qxp::WritableFile>* file) override {
        auto limited = std::make_unique<Limited>();
        const qxp::Status s = mem_->NewWritableFile(path, mode, &limited->inner);
        limited->path = path;
        limited->left = budget_;
        if (s.ok()) *file = std::move(limited);
        return s;
    }
    qxp::Status DeleteFile(const std::string& path) override { return mem_->DeleteFile(path); }
    qxp::Status RenameFile(const std::string& from, const std::string& to) override {
        return mem_->RenameFile(from, to);
    }
    qxp::Status MakeDir(const std::string& path) override { return mem_->MakeDir(path); }
    bool FileExists(const std::string& path) override { return mem_->FileExists(path); }
    bool IsDirectory(const std::string& path) override { return mem_->IsDirectory(path); }
    std::string Content(const std::string& path) {
        std::string data;
        qxp::ReadFileToString(mem_.get(), path, &data);
        return data;
    }

  private:
    struct Limited : qxp::WritableFile {
        qxp::Status Append(const char* data, std::size_t n) override {
            const std::size_t part = std::min(n, left);
            left -= part;
            qxp::Status s = inner->Append(data, part);
            return s.ok() && part < n ? qxp::Status::FromErrno(ENOSPC, path) : s;
        }
        qxp::Status Flush() override { return inner->Flush(); }
        qxp::Status Close() override { return inner->Close(); }
        std::string path;
        std::unique_ptr<qxp::WritableFile> inner;
        std::size_t left = 0;
    };

    std::unique_ptr<qxp::Env> mem_ = qxp::NewMemEnv();
    std::size_t budget_;
};

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
    static bool Write(TScriptFileImpl& file, TScriptCmd cmd) { return file.WriteCommand(cmd); }
    // A written header, byte for byte.
    static std::string Header(const std::string& ems, const std::string& version,
                              const std::string& encoding,
                              const std::string& title = "NE Configuration Data Script") {
        return "// SlotFlagVer=1.1 \n// EMS version = " + ems + "\n//{{script_version=" + version +
               "}}\n// " + title + "\n// 2026-11-22 08:00:00 Created by alice\n// encoding=\"" +
               encoding + "\"\n\n";
    }

    test_files::TempDir tmp_{"qx_write"};
    const std::string dir_ = tmp_.path();
};

}  // namespace

TEST_F(ScriptWrite, HeaderFormsAndBodyByteForByte) {
    qxp::SetServerVersionName("");
    {
        TScriptFileImpl file(1);
        ASSERT_TRUE(file.OpenForWrite(1, dir_.c_str(), "h.txt", 7, true));
        // The body goes through the command layout (its wrapping is tested there): named
        // commands, raw lines for codes without a name, nothing for a command without parameters.
        ASSERT_TRUE(Write(file, Cmd(201, {Para("a", {"1"}), Para("b", {"x", "y"})})));
        ASSERT_TRUE(Write(
            file, Cmd(999, {Para("x", {"// a comment", "dropped"}), Para("y", {" and more"})})));
        ASSERT_TRUE(Write(file, Cmd(201, {})));
    }
    EXPECT_EQ(
        Header("unknown", "2.1.3.2", "UTF-8") + ":cfg-set:{a=1, b=x&y};\n\n// a comment and more\n",
        Read("h.txt"));

    qxp::TraceCapture traces;
    TScriptFileImpl unknown(1);
    ASSERT_TRUE(unknown.OpenForWrite(99, dir_.c_str(), "u.txt", 7, true));
    EXPECT_TRUE(traces.Contains(
        "Input Unknown ScriptType in TScriptFileImpl::WriteScriptExporterInfo, eScriptType is 99"));

    // The second form, for files a caller titles, has two empty lines.
    qxp::SetServerVersionName("V1R2");
    {
        auto file = OpenFileForWrite(dir_.c_str(), "s.txt", "My Title", 7);
        ASSERT_NE(nullptr, file);
        EXPECT_EQ(8u, file->GetScriptType());
    }
    EXPECT_EQ(Header("V1R2", "2.1.3.2", "UTF-8", "My Title") + "\n", Read("s.txt"));
    EXPECT_EQ(nullptr, OpenFileForWrite(dir_.c_str(), nullptr, "t", 7));
    EXPECT_EQ(nullptr, OpenFileForWrite((dir_ + "/missing").c_str(), "s.txt", "t", 7));
    EXPECT_FALSE(
        TScriptFileImpl(1).OpenForWrite(1, (dir_ + "/no/such/dir").c_str(), "x.txt", 7, true));
    EXPECT_FALSE(TScriptFileImpl(1).OpenForWrite(1, dir_.c_str(), nullptr, 7, true));
}

// Each file's header names its own version, server version and encoding, whatever the process
// is configured with and whatever other threads write at the same time; a file that chooses
// nothing keeps the configured values.
TEST_F(ScriptWrite, HeaderFieldsAreChosenPerFileAcrossThreads) {
    qxp::SetServerVersionName("V9");
    struct Choice {
        const char* encoding;
        unsigned long version;
        const char* versionText;
        const char* ems;
    };
    const Choice choices[] = {{"GBK", 0x03020100, "3.2.1.0", "V100R002C01"},
                              {"ISO8859-1", 0x02070400, "2.7.4.0", "V200R007C03B100"}};
    std::vector<std::thread> writers;
    for (int t = 0; t < 2; ++t) {
        writers.emplace_back([&, t] {
            const Choice& c = choices[t];
            for (int i = 0; i < 50; ++i) {
                TScriptFileImpl file(1);
                EXPECT_TRUE(file.SetEncoding(c.encoding));
                file.SetHeaderVersion(c.version);
                EXPECT_TRUE(file.SetHeaderEmsVersion(c.ems));
                const std::string name = std::to_string(t) + "_" + std::to_string(i) + ".txt";
                EXPECT_TRUE(file.OpenForWrite(1, dir_.c_str(), name.c_str(), 7, true));
                EXPECT_TRUE(file.Close());
            }
        });
    }
    for (std::thread& w : writers) w.join();
    for (int t = 0; t < 2; ++t) {
        const Choice& c = choices[t];
        const std::string expected = Header(c.ems, c.versionText, c.encoding);
        for (int i = 0; i < 50; ++i)
            ASSERT_EQ(expected, Read(std::to_string(t) + "_" + std::to_string(i) + ".txt"));
    }

    TScriptFileImpl plain(1);
    EXPECT_FALSE(plain.SetHeaderEmsVersion("V1\n// SlotFlagVer=1.0"));
    EXPECT_FALSE(plain.SetHeaderEmsVersion(nullptr));
    ASSERT_TRUE(plain.OpenForWrite(1, dir_.c_str(), "plain.txt", 7, true));
    ASSERT_TRUE(plain.Close());
    EXPECT_EQ(Header("V9", "2.1.3.2", "UTF-8"), Read("plain.txt"));
}

TEST_F(ScriptWrite, AppendJoinsNewContentFirstInChunksOf254AndLosesNothing) {
    // The target's bytes follow the new ones, padded with NULs to a whole number of chunks.
    for (auto [targetSize, padded] :
         {std::pair<std::size_t, std::size_t>{10, 254}, {254, 508}, {0, 254}}) {
        test_files::WriteFile(tmp_ / "new.txt", "NEW");
        test_files::WriteFile(tmp_ / "target.txt", std::string(targetSize, 't'));
        TScriptFileImpl file(1);
        ASSERT_TRUE(file.OpenForAppend(dir_.c_str(), "target.txt", "new.txt"));
        EXPECT_EQ("NEW" + std::string(targetSize, 't') + std::string(padded - targetSize, '\0'),
                  Read("target.txt"));
        EXPECT_FALSE(std::ifstream(dir_ + "/new.txt").good());
        EXPECT_FALSE(file.WriteString("x"));
    }

    // A missing target fails before anything is deleted.
    test_files::WriteFile(tmp_ / "new.txt", "NEW");
    {
        qxp::TraceCapture traces;
        EXPECT_FALSE(TScriptFileImpl(1).OpenForAppend(dir_.c_str(), "absent.txt", "new.txt"));
        EXPECT_TRUE(traces.Contains("Open Script File for read error!filename:"));
    }
    EXPECT_EQ("NEW", Read("new.txt"));
    {
        // An object that was opened before still closes the new file of a failed append.
        TScriptFileImpl reused(1);
        ASSERT_TRUE(reused.OpenForWrite(1, dir_.c_str(), "other.txt", 0, false));
        EXPECT_FALSE(reused.OpenForAppend(dir_.c_str(), "absent.txt", "new.txt"));
        auto descriptors = [] {
            return std::distance(fs::directory_iterator("/proc/self/fd"), {});
        };
        const auto before = descriptors();
        for (int i = 0; i < 5; ++i)
            EXPECT_FALSE(reused.OpenForAppend(dir_.c_str(), "absent.txt", "new.txt"));
        EXPECT_EQ(before, descriptors());
    }

    // An append that fails at any later step loses no content either.
    for (auto [step, trace] :
         {std::pair<FailingFiles::Step, const char*>{FailingFiles::kOpenAppend,
                                                     "Open Script File for write error!filename:"},
          {FailingFiles::kCloseTarget, "Close Script File fails!filename:"},
          {FailingFiles::kDelete, "Delete Script File fails!filename:"},
          {FailingFiles::kRename, "rename Script File fails!filename:"}}) {
        test_files::WriteFile(tmp_ / "new.txt", "NEW");
        test_files::WriteFile(tmp_ / "target.txt", "OLD");
        FailingFiles files(step);
        qxp::SetFileService(&files);
        qxp::TraceCapture traces;
        TScriptFileImpl file(1);
        EXPECT_FALSE(file.OpenForAppend(dir_.c_str(), "target.txt", "new.txt"));
        qxp::SetFileService(nullptr);
        EXPECT_TRUE(traces.Contains(trace)) << trace;
        // The target goes only once its whole content stands in the new file: until the delete
        // it is untouched; after it, the joined content waits under the new name.
        const bool renamed = step == FailingFiles::kRename;
        EXPECT_EQ(renamed ? "NEWOLD" + std::string(251, '\0') : "OLD",
                  Read(renamed ? "new.txt" : "target.txt"))
            << trace;
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
    ASSERT_TRUE(gbk.OpenForWriteNoHead(dir_.c_str(), "g2.txt"));
    EXPECT_TRUE(gbk.WriteString("caf\xC3\xA9 \xE4\xB8\xAD"));  // GBK holds both
    EXPECT_TRUE(gbk.WriteString("\xC3\xBF"));                  // y with diaeresis: ISO8859-1 only
    gbk.OpenForWriteNoHead(dir_.c_str(), "other.txt");
    EXPECT_EQ("caf\xA8\xA6 \xD6\xD0\xFF", Read("g2.txt"));
}

// Names and values beyond ASCII go into a UTF-8 file as they are. A command with a text that is
// not valid UTF-8 is traced and written unconverted all the same; texts that a raw line joins
// are judged together.
TEST_F(ScriptWrite, TextsBeyondAsciiReachAUtf8FileAsTheyAre) {
    TScriptFileImpl file(1);
    ASSERT_TRUE(file.SetEncoding("UTF-8"));
    ASSERT_TRUE(file.OpenForWriteNoHead(dir_.c_str(), "u.txt"));
    const std::string wide = "\xE4\xB8\xAD" + std::string(30, 'x');
    {
        qxp::TraceCapture trace;
        EXPECT_TRUE(Write(file, Cmd(201, {Para("n\xC3\xA9", {"caf\xC3\xA9", wide})})));
        EXPECT_TRUE(Write(file, Cmd(9999, {Para("a", {"\xC3"}), Para("b", {"\xA9!"})})));
        EXPECT_FALSE(trace.Contains("Script export write string failed!"));
    }
    {
        qxp::TraceCapture trace;
        EXPECT_TRUE(Write(file, Cmd(201, {Para("n", {"ok\xC3\xA9", "bad\xC3("})})));
        EXPECT_TRUE(trace.Contains("Script export write string failed!"));
    }
    EXPECT_TRUE(file.Close());
    EXPECT_EQ(":cfg-set:{n\xC3\xA9=caf\xC3\xA9&" + wide + "};\n\n\xC3\xA9!\n" +
                  ":cfg-set:{n=ok\xC3\xA9&bad\xC3(};\n\n",
              Read("u.txt"));
}

// Commands of every size around the write buffer's, then small ones that collect in the stream's
// buffer and reach the file in blocks, arrive whole and in order; a block that cannot be written
// fails the command that filled it.
TEST_F(ScriptWrite, CommandsOfAnySizeArriveInOrderAndAFullDiskSetsTheErrorCode) {
    std::string expected;
    std::vector<TScriptCmd> sized, cmds;
    char fill = 'a';
    for (std::size_t size : {10, 65500, 20, 65536, 70000, 3, 131000, 65529, 1, 100000}) {
        sized.push_back(Cmd(201, {Para("v", {std::string(size, fill)})}));
        expected += ":cfg-set:{v=" + std::string(size, fill++) + "};\n\n";
    }
    for (int i = 0; i < 3000; ++i) {
        cmds.push_back(
            Cmd(201, {Para("n", {std::to_string(i * 7919)}), Para("t", {"\"caf\xC3\xA9\"", "x"})}));
        expected += ":cfg-set:{n=" + std::to_string(i * 7919) + ", t=\"caf\xC3\xA9\"&x};\n\n";
    }
    {
        TScriptFileImpl file(1);
        ASSERT_TRUE(file.SetEncoding("UTF-8"));
        ASSERT_TRUE(file.OpenForWriteNoHead(dir_.c_str(), "many.txt"));
        for (auto& c : sized) ASSERT_TRUE(file.WriteCommand(c));
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

    // A command larger than a block fails at once.
    QXScriptErrMgr::Destroy();
    TScriptFileImpl fullToo(1);
    ASSERT_TRUE(fullToo.OpenForWriteNoHead(nullptr, "/dev/full"));
    EXPECT_FALSE(Write(fullToo, Cmd(201, {Para("a", {std::string(70000, 'v')})})));
    EXPECT_EQ(kScriptErrWriteFailed, QXScriptErrMgr::Instance()->m_errorCode);
}

// The reader measures a command with its line wraps read as blanks: a command that only grows
// past the reader's limit once wrapped is refused whole, and one that fits reads back.
TEST_F(ScriptWrite, CommandsAReaderWouldRefuseAreNotWritten) {
    struct Collect : TScriptDiagnosticSink {
        void Report(const TScriptDiagnostic& d) override { seen.push_back(d); }
        std::vector<TScriptDiagnostic> seen;
    } sink;
    auto Values = [](int n) {
        MMLParaStruct p = Para("a");
        p.values.assign(n, QXValue("x", false));
        return Cmd(201, {p});
    };
    TScriptFileImpl file(1);
    ASSERT_TRUE(file.SetEncoding("UTF-8"));
    file.SetDiagnosticSink(&sink);
    ASSERT_TRUE(file.OpenForWrite(1, dir_.c_str(), "long.txt", 7, true));
    ASSERT_TRUE(Write(file, Cmd(201, {Para("a", {"1"})})));
    const std::string before = Read("long.txt");

    qxp::TraceCapture traces;
    // 64000 values take 128013 bytes unwrapped and 132813 with their 1600 wraps.
    EXPECT_FALSE(Write(file, Values(64000)));
    EXPECT_EQ(kScriptErrWriteFailed, QXScriptErrMgr::Instance()->m_errorCode);
    EXPECT_TRUE(traces.Contains("WriteCommand failed, command longer than 131071 bytes."));
    ASSERT_EQ(1u, sink.seen.size());
    EXPECT_EQ(TScriptDiagnostic::kError, sink.seen[0].severity);
    EXPECT_EQ(10ul, sink.seen[0].line);  // six header lines, an empty one, the first command's two
    EXPECT_EQ(0ul, sink.seen[0].column);
    EXPECT_EQ("command is 132813 bytes once written, longer than the 131071 bytes a reader accepts",
              sink.seen[0].reason);

    ASSERT_TRUE(Write(file, Values(60000)));
    file.OpenForWriteNoHead(dir_.c_str(), "other.txt");
    EXPECT_EQ(before, Read("long.txt").substr(0, before.size()));
    TScriptFileImpl reader(1);
    ASSERT_TRUE(reader.OpenForRead(1, dir_.c_str(), "long.txt"));
    std::vector<TScriptResult> results;
    EXPECT_EQ(2ul, reader.GetAllCommands(results));
    EXPECT_TRUE(results.empty());
}

// The writer lays out a command nested as deep as a reader takes without deep recursion.
TEST_F(ScriptWrite, DeeplyNestedCommandsAreWrittenAndReadBack) {
    constexpr int kDepth = 30000;
    MMLParaStruct top = Para("a", {"1"});
    for (int i = 1; i < kDepth; ++i) {
        MMLParaStruct outer = Para("a", {});
        outer.objects.emplace_back();
        outer.objects[0].push_back(std::move(top));
        top = std::move(outer);
    }
    {
        TScriptFileImpl file(1);
        ASSERT_TRUE(file.SetEncoding("UTF-8"));
        ASSERT_TRUE(file.OpenForWriteNoHead(dir_.c_str(), "deep.txt"));
        ASSERT_TRUE(Write(file, Cmd(201, {top})));
    }
    const std::string text = Read("deep.txt");
    EXPECT_EQ(0u, text.find(":cfg-set:{a={a={"));
    EXPECT_EQ(static_cast<std::size_t>(kDepth - 1), std::count(text.begin(), text.end(), '{') - 1);
    EXPECT_EQ(text.size() - text.find("a=1}}}"), 3 + static_cast<std::size_t>(kDepth) + 3);

    TScriptFileImpl reader(1);
    ASSERT_TRUE(reader.OpenForRead(1, dir_.c_str(), "deep.txt"));
    ASSERT_TRUE(reader.GoToFirstCommand());
    TScriptCmd back;
    ASSERT_TRUE(reader.GetOneCommand(back));
    int depth = 1;
    for (const MMLParaStruct* p = &back.GetParaList()[0]; !p->objects.empty();
         p = &p->objects[0][0]) {
        ++depth;
    }
    EXPECT_EQ(kDepth, depth);
}

// A script written and read back through an in-memory environment: nothing touches the disk,
// reading more than one buffer and going back to the start work through the environment's files.
TEST_F(ScriptWrite, ReadAndWriteGoThroughTheGivenEnvironment) {
    const std::unique_ptr<qxp::Env> env = qxp::NewMemEnv();
    std::vector<TScriptCmd> cmds;
    for (int i = 0; i < 3000; ++i)
        cmds.push_back(
            Cmd(201, {Para("n", {"v" + std::to_string(i)}), Para("t", {"\"caf\xC3\xA9\""})}));
    TScriptFileImpl out(1);
    out.SetEnv(env.get());
    ASSERT_TRUE(out.SetEncoding("GBK"));
    ASSERT_TRUE(out.OpenForWrite(1, "mem", "m.txt", 7, true));
    for (auto& c : cmds) ASSERT_TRUE(out.WriteCommand(c));
    EXPECT_TRUE(out.Close());
    EXPECT_FALSE(fs::exists("mem"));

    std::string bytes;
    ASSERT_TRUE(qxp::ReadFileToString(env.get(), "mem/m.txt", &bytes).ok());
    EXPECT_GT(bytes.size(), 64u * 1024);
    EXPECT_NE(std::string::npos,
              bytes.find("// encoding=\"GBK\"\n\n:cfg-set:{n=v0, t=\"caf\xA8\xA6\"};"));

    TScriptFileImpl in(1);
    in.SetEnv(env.get());
    ASSERT_TRUE(in.OpenForRead(1, "mem", "m.txt"));
    EXPECT_EQ("GBK", in.GetEncoding());
    for (int pass = 0; pass < 2; ++pass) {
        ASSERT_TRUE(in.GoToFirstCommand());
        int n = 0;
        for (TScriptCmd cmd; in.GetOneCommand(cmd); ++n) {
            ASSERT_EQ(
                tree_text::Show({Para("n", {"v" + std::to_string(n)}), Para("t", {"caf\xC3\xA9"})}),
                tree_text::Show(cmd.GetParaList()));
        }
        EXPECT_EQ(3000, n);
    }

    TScriptFileImpl missing(1);
    missing.SetEnv(env.get());
    EXPECT_FALSE(missing.OpenForRead(1, "mem", "none.txt"));
    EXPECT_EQ("mem/none.txt: No such file or directory", missing.LastError());
    EXPECT_EQ(ENOENT, qxp::OrinGetLastError());
}

// A write that comes out short fails the command that made it, and every later one; a close
// that fails is reported by Close. Either way the thread's error code is set and the reason
// is kept.
TEST_F(ScriptWrite, FailedWritesAndClosesReachTheCaller) {
    FailingEnv full(100);
    TScriptFileImpl file(1);
    file.SetEnv(&full);
    ASSERT_TRUE(file.OpenForWriteNoHead("mem", "full.txt"));
    TScriptCmd cmd = Cmd(201, {Para("n", {"0123456789"})});
    int written = 0;
    while (written < 100 && file.WriteCommand(cmd)) ++written;
    EXPECT_EQ(3, written);  // 27 bytes each: the fourth comes out short
    EXPECT_EQ("mem/full.txt: No space left on device", file.LastError());
    EXPECT_EQ(kScriptErrWriteFailed, QXScriptErrMgr::Instance()->m_errorCode);
    EXPECT_FALSE(file.WriteString("// more\n"));
    EXPECT_FALSE(file.Close());
    EXPECT_EQ(100u, full.Content("mem/full.txt").size());

    // The device takes nothing, which the file's buffer shows only when Close writes it out.
    QXScriptErrMgr::Destroy();
    TScriptFileImpl closing(1);
    ASSERT_TRUE(closing.OpenForWriteNoHead(nullptr, "/dev/full"));
    EXPECT_TRUE(closing.WriteCommand(cmd));
    EXPECT_TRUE(closing.LastError().empty());
    EXPECT_FALSE(closing.Close());
    EXPECT_EQ("/dev/full: No space left on device", closing.LastError());
    EXPECT_EQ(kScriptErrWriteFailed, QXScriptErrMgr::Instance()->m_errorCode);
    EXPECT_FALSE(closing.WriteString("x"));
}
