#include "SafeOutput.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "ConfigRoot.h"
#include "Output.h"
#include "qx_platform/Control.h"

namespace qxscript {

namespace fs = std::filesystem;

SafeOutput::~SafeOutput() {
    if (!m_temp.empty()) unlink(m_temp.c_str());
}

bool SafeOutput::Begin(const std::string& target, std::string& error) {
    m_target = target;
    m_toStdout = target == "-";
    std::string pattern;
    if (m_toStdout) {
        const char* tmp = std::getenv("TMPDIR");
        pattern = std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/qxscript.XXXXXX";
    } else {
        const fs::path path(target);
        const fs::path dir = path.has_parent_path() ? path.parent_path() : fs::path(".");
        pattern = (dir / ("." + path.filename().string() + ".XXXXXX")).string();
    }
    const int fd = mkstemp(pattern.data());
    if (fd < 0) {
        error = "cannot create a temporary file for " + (m_toStdout ? "the output" : target) +
                ": " + SystemError(errno);
        return false;
    }
    close(fd);
    m_temp = pattern;
    return true;
}

bool SafeOutput::Commit(std::string& error) {
    const int fd = open(m_temp.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0 || fsync(fd) != 0) {
        error = m_temp + ": " + SystemError(errno);
        if (fd >= 0) close(fd);
        return false;
    }
    close(fd);
    if (m_toStdout) {
        FILE* in = std::fopen(m_temp.c_str(), "rb");
        if (in == nullptr) {
            error = m_temp + ": " + SystemError(errno);
            return false;
        }
        char block[65536];
        std::size_t n = 0;
        while ((n = std::fread(block, 1, sizeof block, in)) > 0) {
            std::fwrite(block, 1, n, Output::Stream());
        }
        std::fclose(in);
        if (!Output::Flush()) {
            error = "cannot write to standard output";
            return false;
        }
        return true;
    }
    struct stat st {};
    mode_t mode = 0;
    if (stat(m_target.c_str(), &st) == 0) {
        mode = st.st_mode & 07777;
    } else {
        const mode_t mask = umask(0);
        umask(mask);
        mode = 0666 & ~mask;
    }
    chmod(m_temp.c_str(), mode);
    if (rename(m_temp.c_str(), m_target.c_str()) != 0) {
        error = "cannot replace " + m_target + ": " + SystemError(errno);
        return false;
    }
    m_temp.clear();
    return true;
}

namespace {

class WatchingFileService : public qxp::FileService {
  public:
    FILE* Open(const std::string& path, const char* mode) override {
        return qxp::PosixFileService().Open(path, mode);
    }
    int Close(FILE* stream) override {
        const int rc = qxp::PosixFileService().Close(stream);
        if (rc != 0 && firstError == 0) firstError = errno != 0 ? errno : EIO;
        return rc;
    }
    bool Delete(const std::string& path) override { return qxp::PosixFileService().Delete(path); }
    bool Rename(const std::string& from, const std::string& to) override {
        return qxp::PosixFileService().Rename(from, to);
    }
    bool MakeDir(const std::string& path) override { return qxp::PosixFileService().MakeDir(path); }
    bool IsDirectory(const std::string& path) override {
        return qxp::PosixFileService().IsDirectory(path);
    }

    int firstError = 0;
};

WatchingFileService& Watcher() {
    static WatchingFileService service;
    return service;
}

}  // namespace

CloseWatch::CloseWatch() {
    Watcher().firstError = 0;
    qxp::SetFileService(&Watcher());
}

CloseWatch::~CloseWatch() {
    qxp::SetFileService(nullptr);
}

int CloseWatch::FirstError() const {
    return Watcher().firstError;
}

}  // namespace qxscript
