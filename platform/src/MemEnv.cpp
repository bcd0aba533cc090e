#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <set>

#include "qx_platform/Env.h"
#include "qx_platform/Lock.h"

namespace qxp {

namespace {

// One file's bytes, shared by the environment and the files opened on it, so that a file
// stays readable after it is deleted or the environment goes, as on POSIX.
struct FileState {
    Mutex mutex;
    std::string data QXP_GUARDED_BY(mutex);
};

class MemReadableFile final : public ReadableFile {
  public:
    explicit MemReadableFile(std::shared_ptr<FileState> state) : state_(std::move(state)) {}

    Status Read(char* buf, std::size_t n, std::size_t* got) override {
        LockGuard<Mutex> lock(state_->mutex);
        const std::size_t left = state_->data.size() - std::min(pos_, state_->data.size());
        *got = std::min(n, left);
        std::memcpy(buf, state_->data.data() + pos_, *got);
        pos_ += *got;
        return Status::OK();
    }

    Status Rewind() override {
        pos_ = 0;
        return Status::OK();
    }

  private:
    std::shared_ptr<FileState> state_;
    std::size_t pos_ = 0;
};

class MemWritableFile final : public WritableFile {
  public:
    MemWritableFile(std::string path, std::shared_ptr<FileState> state)
        : path_(std::move(path)), state_(std::move(state)) {}

    Status Append(const char* data, std::size_t n) override {
        if (closed_) return Status::Error(EBADF, path_ + ": file is closed");
        LockGuard<Mutex> lock(state_->mutex);
        state_->data.append(data, n);
        return Status::OK();
    }
    Status Flush() override { return Status::OK(); }
    Status Close() override {
        closed_ = true;
        return Status::OK();
    }

  private:
    std::string path_;
    std::shared_ptr<FileState> state_;
    bool closed_ = false;
};

// Directories are only names: a file may be created whatever its folder, as the library
// creates its folders before writing anyway.
class MemEnv final : public Env {
  public:
    Status NewReadableFile(const std::string& path, std::unique_ptr<ReadableFile>* file) override {
        file->reset();
        LockGuard<Mutex> lock(mutex_);
        const auto it = files_.find(path);
        if (it == files_.end()) return Status::FromErrno(ENOENT, path);
        file->reset(new MemReadableFile(it->second));
        return Status::OK();
    }

    Status NewWritableFile(const std::string& path, WriteMode mode,
                           std::unique_ptr<WritableFile>* file) override {
        file->reset();
        LockGuard<Mutex> lock(mutex_);
        if (dirs_.count(path) != 0) return Status::FromErrno(EISDIR, path);
        std::shared_ptr<FileState>& state = files_[path];
        if (!state || mode == WriteMode::kTruncate) {
            // A fresh state, so that readers of the old file keep what they had.
            state = std::make_shared<FileState>();
        }
        file->reset(new MemWritableFile(path, state));
        return Status::OK();
    }

    Status DeleteFile(const std::string& path) override {
        LockGuard<Mutex> lock(mutex_);
        return files_.erase(path) != 0 ? Status::OK() : Status::FromErrno(ENOENT, path);
    }

    Status RenameFile(const std::string& from, const std::string& to) override {
        LockGuard<Mutex> lock(mutex_);
        const auto it = files_.find(from);
        if (it == files_.end()) return Status::FromErrno(ENOENT, from);
        std::shared_ptr<FileState> state = it->second;
        files_.erase(it);
        files_[to] = std::move(state);
        return Status::OK();
    }

    Status MakeDir(const std::string& path) override {
        if (path.empty()) return Status::FromErrno(ENOENT, path);
        LockGuard<Mutex> lock(mutex_);
        for (std::size_t pos = path.find('/', 1);; pos = path.find('/', pos + 1)) {
            const std::string part = path.substr(0, pos);
            if (files_.count(part) != 0) return Status::FromErrno(ENOTDIR, part);
            if (!part.empty()) dirs_.insert(part);
            if (pos == std::string::npos) break;
        }
        return Status::OK();
    }

    bool FileExists(const std::string& path) override {
        LockGuard<Mutex> lock(mutex_);
        return files_.count(path) != 0 || dirs_.count(path) != 0;
    }

    bool IsDirectory(const std::string& path) override {
        LockGuard<Mutex> lock(mutex_);
        return dirs_.count(path) != 0;
    }

  private:
    Mutex mutex_;
    std::map<std::string, std::shared_ptr<FileState>> files_ QXP_GUARDED_BY(mutex_);
    std::set<std::string> dirs_ QXP_GUARDED_BY(mutex_);
};

}  // namespace

std::unique_ptr<Env> NewMemEnv() {
    return std::make_unique<MemEnv>();
}

}  // namespace qxp
