#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>

#include "qx_platform/Env.h"
#include "tests/TestFiles.h"

namespace {

// The same file operations behave alike on the disk and in memory.
class EnvContract : public ::testing::TestWithParam<bool> {
  protected:
    void SetUp() override {
        ASSERT_TRUE(tmp_.ok());
        if (GetParam()) {
            mem_ = qxp::NewMemEnv();
            env_ = mem_.get();
        } else {
            env_ = qxp::Env::Default();
        }
    }
    std::string Path(const std::string& name) const { return tmp_ / name; }

    test_files::TempDir tmp_{"qx_env"};
    std::unique_ptr<qxp::Env> mem_;
    qxp::Env* env_ = nullptr;
};

TEST_P(EnvContract, WritesAppendsReadsRenamesAndDeletes) {
    const std::string a = Path("a.txt"), b = Path("sub/dir/b.txt");
    const std::string big(200 * 1024, 'x');  // past the write buffer
    ASSERT_TRUE(qxp::WriteStringToFile(env_, "head;" + big, a).ok());

    std::unique_ptr<qxp::WritableFile> out;
    ASSERT_TRUE(env_->NewWritableFile(a, qxp::WriteMode::kAppend, &out).ok());
    ASSERT_TRUE(out->Append("tail", 4).ok());
    ASSERT_TRUE(out->Close().ok());
    EXPECT_TRUE(out->Close().ok());  // closing twice is harmless
    EXPECT_EQ(out->Append("x", 1).code(), EBADF);

    std::string data;
    ASSERT_TRUE(qxp::ReadFileToString(env_, a, &data).ok());
    EXPECT_EQ(data, "head;" + big + "tail");

    std::unique_ptr<qxp::ReadableFile> in;
    ASSERT_TRUE(env_->NewReadableFile(a, &in).ok());
    char buf[5];
    std::size_t got = 0;
    ASSERT_TRUE(in->Read(buf, sizeof buf, &got).ok());
    EXPECT_EQ(std::string(buf, got), "head;");
    ASSERT_TRUE(in->Rewind().ok());
    ASSERT_TRUE(in->Read(buf, 4, &got).ok());
    EXPECT_EQ(std::string(buf, got), "head");

    ASSERT_TRUE(env_->MakeDir(Path("sub/dir")).ok());
    EXPECT_TRUE(env_->IsDirectory(Path("sub")));
    ASSERT_TRUE(env_->RenameFile(a, b).ok());
    EXPECT_FALSE(env_->FileExists(a));
    ASSERT_TRUE(qxp::ReadFileToString(env_, b, &data).ok());
    EXPECT_EQ(data.size(), 5 + big.size() + 4);

    // A truncating open leaves an open reader with what it had.
    ASSERT_TRUE(env_->NewReadableFile(b, &in).ok());
    ASSERT_TRUE(qxp::WriteStringToFile(env_, "new", b).ok());
    ASSERT_TRUE(in->Read(buf, 3, &got).ok());
    EXPECT_EQ(got, 3u);

    ASSERT_TRUE(env_->DeleteFile(b).ok());
    const qxp::Status missing = qxp::ReadFileToString(env_, b, &data);
    EXPECT_EQ(missing.code(), ENOENT);
    EXPECT_EQ(missing.message(), b + ": No such file or directory");
    EXPECT_EQ(env_->DeleteFile(b).code(), ENOENT);
    EXPECT_EQ(env_->RenameFile(b, a).code(), ENOENT);
}

INSTANTIATE_TEST_SUITE_P(DiskAndMemory, EnvContract, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Memory" : "Posix"; });

// What only real files do: a full device, a FIFO that cannot go back, a folder as a file.
TEST(PosixEnv, ReportsFullDiskPipesAndFoldersAsStatuses) {
    qxp::Env* env = qxp::Env::Default();
    std::unique_ptr<qxp::WritableFile> full;
    ASSERT_TRUE(env->NewWritableFile("/dev/full", qxp::WriteMode::kAppend, &full).ok());
    ASSERT_TRUE(full->Append("abc", 3).ok());  // still in the buffer
    const qxp::Status closed = full->Close();
    EXPECT_EQ(closed.code(), ENOSPC);
    EXPECT_EQ(closed.message(), "/dev/full: No space left on device");

    test_files::TempDir tmp("qx_env_posix");
    const std::string fifo = tmp / "fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    std::unique_ptr<qxp::ReadableFile> reader;
    // A descriptor held open on both ends lets the reading end open without blocking.
    const int keep = ::open(fifo.c_str(), O_RDWR);
    ASSERT_GE(keep, 0);
    ASSERT_TRUE(env->NewReadableFile(fifo, &reader).ok());
    EXPECT_EQ(reader->Rewind().code(), ESPIPE);
    ::close(keep);

    std::unique_ptr<qxp::WritableFile> dir;
    EXPECT_EQ(env->NewWritableFile(tmp.path(), qxp::WriteMode::kTruncate, &dir).code(), EISDIR);
    EXPECT_EQ(dir, nullptr);
}

}  // namespace
