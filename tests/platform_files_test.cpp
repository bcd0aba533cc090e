#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "qx_platform/Control.h"
#include "qx_platform/Files.h"
#include "tests/TestFiles.h"

namespace {

// A fresh directory under the system's temporary directory, removed afterwards.
class PlatformFiles : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(tmp_.ok()); }
    void TearDown() override { qxp::SetFileService(nullptr); }
    std::string Path(const std::string& name) const { return tmp_ / name; }
    static void WriteAll(const std::string& path, const std::string& text) {
        ASSERT_TRUE(test_files::WriteFile(path, text)) << path;
    }

    test_files::TempDir tmp_{"qx_platform_files"};
};

using test_files::ReadFile;

// Streams that accept nothing, as on a full disk: files opened for writing are /dev/full.
class FullDiskService : public qxp::FileService {
  public:
    FILE* Open(const std::string& path, const char* mode) override {
        return std::fopen(mode[0] == 'r' ? path.c_str() : "/dev/full", mode);
    }
    int Close(FILE* stream) override { return std::fclose(stream); }
    // The calls the test does not make fail.
    bool Delete(const std::string&) override { return false; }
    bool Rename(const std::string&, const std::string&) override { return false; }
    bool MakeDir(const std::string&) override { return false; }
    bool IsDirectory(const std::string&) override { return false; }
};

TEST_F(PlatformFiles, FileObjectWritesTruncatesAndReads) {
    const std::string path = Path("a.txt");
    WriteAll(path, "old content that is longer");
    {
        qxp::OrinFile file;
        ASSERT_EQ(file.Open(path.c_str(), qxp::kOrinWriteWithHeader), 0);
        ASSERT_NE(file.GetStream(), nullptr);
        std::fputs("new", file.GetStream());
    }  // closed by the destructor
    EXPECT_EQ(ReadFile(path), "new");

    qxp::OrinFile noHeader;
    ASSERT_EQ(noHeader.Open(path.c_str(), qxp::kOrinWriteNoHeader), 0);
    EXPECT_EQ(noHeader.Close(), 0);
    EXPECT_EQ(ReadFile(path), "");
    EXPECT_EQ(noHeader.Close(), 0);  // closing twice is harmless

    WriteAll(path, "x");
    qxp::OrinFile reader;
    ASSERT_EQ(reader.Open(path.c_str(), qxp::kOrinRead), 0);
    EXPECT_EQ(std::fgetc(reader.GetStream()), 'x');
    EXPECT_EQ(reader.Open(path.c_str(), 77), EINVAL);  // unknown mode
    EXPECT_EQ(reader.GetStream(), nullptr);
}

TEST_F(PlatformFiles, FailuresKeepTheSystemErrorOfTheCallingThread) {
    qxp::OrinFile file;
    EXPECT_EQ(file.Open(Path("missing/x.txt").c_str(), qxp::kOrinRead), ENOENT);
    EXPECT_EQ(file.GetStream(), nullptr);
    EXPECT_EQ(qxp::OrinGetLastError(), ENOENT);
    EXPECT_EQ(qxp::OrinFileOpen(Path("nope").c_str(), "r"), nullptr);
    EXPECT_EQ(qxp::OrinGetLastError(), ENOENT);
    EXPECT_FALSE(qxp::OrinFileDelete(Path("nope").c_str()));
    EXPECT_FALSE(qxp::OrinFileOpen(nullptr, "r"));

    if (geteuid() != 0) {  // root reads whatever the permission bits say
        const std::string locked = Path("locked.txt");
        WriteAll(locked, "secret");
        chmod(locked.c_str(), 0);
        EXPECT_EQ(qxp::OrinFileOpen(locked.c_str(), "r"), nullptr);
        EXPECT_EQ(qxp::OrinGetLastError(), EACCES);
    }
}

TEST_F(PlatformFiles, RenameReplacesAnExistingTargetAndDeleteRemoves) {
    WriteAll(Path("a"), "A");
    WriteAll(Path("b"), "B");
    ASSERT_TRUE(qxp::OrinFileRename(Path("a").c_str(), Path("b").c_str()));
    EXPECT_EQ(ReadFile(Path("b")), "A");
    EXPECT_FALSE(qxp::OrinFileRename(Path("a").c_str(), Path("c").c_str()));
    EXPECT_EQ(qxp::OrinGetLastError(), ENOENT);
    EXPECT_TRUE(qxp::OrinFileDelete(Path("b").c_str()));
    EXPECT_EQ(qxp::OrinFileOpen(Path("b").c_str(), "r"), nullptr);
}

TEST_F(PlatformFiles, DirectoriesAndPathForms) {
    const std::string deep = Path("x/y/z");
    EXPECT_FALSE(qxp::OrinIsDirectory(deep.c_str()));
    EXPECT_TRUE(qxp::OrinMakeDir(deep.c_str()));
    EXPECT_TRUE(qxp::OrinIsDirectory(deep.c_str()));
    EXPECT_TRUE(qxp::OrinMakeDir((deep + "/").c_str()));  // existing, trailing slash
    WriteAll(Path("file"), "");
    EXPECT_FALSE(qxp::OrinMakeDir(Path("file/sub").c_str()));
    EXPECT_FALSE(qxp::OrinIsDirectory(Path("file").c_str()));
    EXPECT_FALSE(qxp::OrinMakeDir(""));

    EXPECT_TRUE(qxp::OrinIsAbsolutePath("/a"));
    EXPECT_FALSE(qxp::OrinIsAbsolutePath("a/b"));
    EXPECT_FALSE(qxp::OrinIsAbsolutePath(nullptr));
    EXPECT_EQ(qxp::OrinToUnixPath("a\\b\\c/d"), "a/b/c/d");
}

TEST_F(PlatformFiles, PathsInOtherEncodingsNameTheUtf8File) {
    // "\xC4\xE3" is one character in GBK; its UTF-8 form names the file on disk.
    ASSERT_TRUE(qxp::OrinMakeDir(Path("\xC4\xE3").c_str(), "GBK"));
    EXPECT_TRUE(qxp::OrinIsDirectory(Path("\xE4\xBD\xA0").c_str()));
    FILE* f = qxp::OrinFileOpen(Path("\xE9.txt").c_str(), "w", "ISO8859-1");
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(qxp::OrinFileClose(f), 0);
    EXPECT_NE(qxp::OrinFileOpen(Path("\xC3\xA9.txt").c_str(), "r"), nullptr);
    // A path that is not valid in its encoding opens nothing.
    EXPECT_EQ(qxp::OrinFileOpen(Path("\xFF").c_str(), "w", "GBK"), nullptr);
    EXPECT_EQ(qxp::OrinGetLastError(), EILSEQ);
}

TEST_F(PlatformFiles, InstalledServiceServesEveryCall) {
    FullDiskService full;
    qxp::SetFileService(&full);
    qxp::OrinFile file;
    ASSERT_EQ(file.Open(Path("full.txt").c_str(), qxp::kOrinWriteWithHeader), 0);
    std::fputs("text that does not fit", file.GetStream());
    // The buffered text is lost when the stream is flushed on close.
    EXPECT_EQ(file.Close(), ENOSPC);
    EXPECT_EQ(qxp::OrinGetLastError(), ENOSPC);
    FILE* raw = qxp::OrinFileOpen(Path("full2.txt").c_str(), "w");
    ASSERT_NE(raw, nullptr);
    std::fputs("more", raw);
    EXPECT_NE(std::fflush(raw), 0);
    EXPECT_EQ(errno, ENOSPC);
    qxp::OrinFileClose(raw);

    qxp::SetFileService(nullptr);
    ASSERT_EQ(file.Open(Path("ok.txt").c_str(), qxp::kOrinWriteNoHeader), 0);
    EXPECT_GE(std::fputs("fits", file.GetStream()), 0);
    EXPECT_EQ(file.Close(), 0);
    EXPECT_EQ(ReadFile(Path("ok.txt")), "fits");
}

}  // namespace
