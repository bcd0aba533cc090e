#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "qx_platform/Env.h"

namespace qxp {

namespace {

class PosixReadableFile final : public ReadableFile {
  public:
    PosixReadableFile(std::string path, int fd) : path_(std::move(path)), fd_(fd) {}
    ~PosixReadableFile() override { ::close(fd_); }

    Status Read(char* buf, std::size_t n, std::size_t* got) override {
        *got = 0;
        for (;;) {
            const ssize_t r = ::read(fd_, buf, n);
            if (r >= 0) {
                *got = static_cast<std::size_t>(r);
                return Status::OK();
            }
            if (errno != EINTR) return Status::FromErrno(errno, path_);
        }
    }

    Status Rewind() override {
        if (::lseek(fd_, 0, SEEK_SET) == 0) return Status::OK();
        return Status::FromErrno(errno, path_);
    }

  private:
    std::string path_;
    int fd_;
};

// Small appends gather in a buffer; large ones go straight to the descriptor.
class PosixWritableFile final : public WritableFile {
  public:
    static constexpr std::size_t kBufferSize = 64 * 1024;

    PosixWritableFile(std::string path, int fd)
        : path_(std::move(path)), fd_(fd), buffer_(new char[kBufferSize]) {}
    ~PosixWritableFile() override { Close(); }

    Status Append(const char* data, std::size_t n) override {
        if (fd_ < 0) return Status::Error(EBADF, path_ + ": file is closed");
        const std::size_t room = kBufferSize - used_;
        if (n <= room) {
            std::memcpy(buffer_.get() + used_, data, n);
            used_ += n;
            return Status::OK();
        }
        // The buffer is filled before it is written, and a large append goes out in whole
        // buffers: the kernel gets writes of whole pages at page offsets, as from a stream.
        if (used_ != 0) {
            std::memcpy(buffer_.get() + used_, data, room);
            used_ = kBufferSize;
            data += room;
            n -= room;
            Status s = Flush();
            if (!s.ok()) return s;
        }
        const std::size_t whole = n - n % kBufferSize;
        if (whole != 0) {
            Status s = WriteAll(data, whole);
            if (!s.ok()) return s;
        }
        std::memcpy(buffer_.get(), data + whole, n - whole);
        used_ = n - whole;
        return Status::OK();
    }

    Status Flush() override {
        if (used_ == 0) return Status::OK();
        const std::size_t n = used_;
        used_ = 0;
        return WriteAll(buffer_.get(), n);
    }

    Status Close() override {
        if (fd_ < 0) return Status::OK();
        Status s = Flush();
        // A descriptor is released by close even when close reports an error.
        if (::close(fd_) != 0 && s.ok()) s = Status::FromErrno(errno, path_);
        fd_ = -1;
        return s;
    }

  private:
    Status WriteAll(const char* data, std::size_t n) {
        while (n > 0) {
            const ssize_t w = ::write(fd_, data, n);
            if (w < 0) {
                if (errno == EINTR) continue;
                return Status::FromErrno(errno, path_);
            }
            data += w;
            n -= static_cast<std::size_t>(w);
        }
        return Status::OK();
    }

    std::string path_;
    int fd_;
    std::unique_ptr<char[]> buffer_;
    std::size_t used_ = 0;
};

class PosixEnv final : public Env {
  public:
    Status NewReadableFile(const std::string& path, std::unique_ptr<ReadableFile>* file) override {
        file->reset();
        const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) return Status::FromErrno(errno, path);
        file->reset(new PosixReadableFile(path, fd));
        return Status::OK();
    }

    Status NewWritableFile(const std::string& path, WriteMode mode,
                           std::unique_ptr<WritableFile>* file) override {
        file->reset();
        const int flags =
            O_WRONLY | O_CREAT | O_CLOEXEC | (mode == WriteMode::kAppend ? O_APPEND : O_TRUNC);
        const int fd = ::open(path.c_str(), flags, 0666);
        if (fd < 0) return Status::FromErrno(errno, path);
        file->reset(new PosixWritableFile(path, fd));
        return Status::OK();
    }

    Status DeleteFile(const std::string& path) override {
        if (::unlink(path.c_str()) == 0) return Status::OK();
        return Status::FromErrno(errno, path);
    }

    Status RenameFile(const std::string& from, const std::string& to) override {
        if (std::rename(from.c_str(), to.c_str()) == 0) return Status::OK();
        return Status::FromErrno(errno, from + " -> " + to);
    }

    Status MakeDir(const std::string& path) override {
        if (path.empty()) return Status::FromErrno(ENOENT, path);
        // Each missing ancestor in turn; one that exists already is fine.
        for (std::size_t pos = path.find('/', 1);; pos = path.find('/', pos + 1)) {
            const std::string part = path.substr(0, pos);
            if (!part.empty() && ::mkdir(part.c_str(), 0777) != 0 && errno != EEXIST) {
                return Status::FromErrno(errno, part);
            }
            if (pos == std::string::npos) break;
        }
        return IsDirectory(path) ? Status::OK() : Status::FromErrno(ENOTDIR, path);
    }

    bool FileExists(const std::string& path) override { return ::access(path.c_str(), F_OK) == 0; }

    bool IsDirectory(const std::string& path) override {
        struct stat st;
        return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
    }
};

}  // namespace

Env* Env::Default() {
    static PosixEnv* env = new PosixEnv;  // never destroyed: used at exit too
    return env;
}

Status ReadFileToString(Env* env, const std::string& path, std::string* data) {
    data->clear();
    std::unique_ptr<ReadableFile> file;
    Status s = env->NewReadableFile(path, &file);
    if (!s.ok()) return s;
    char buf[64 * 1024];
    for (;;) {
        std::size_t got = 0;
        s = file->Read(buf, sizeof buf, &got);
        if (!s.ok() || got == 0) return s;
        data->append(buf, got);
    }
}

Status WriteStringToFile(Env* env, const std::string& data, const std::string& path) {
    std::unique_ptr<WritableFile> file;
    Status s = env->NewWritableFile(path, WriteMode::kTruncate, &file);
    if (!s.ok()) return s;
    s = file->Append(data.data(), data.size());
    const Status closed = file->Close();
    return s.ok() ? closed : s;
}

}  // namespace qxp
