#include "SafeOutput.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "FileChecks.h"
#include "Output.h"
#include "TempFiles.h"

namespace qxscript {

namespace fs = std::filesystem;

namespace {

constexpr int kMaxLinks = 40;

// The path a chain of symbolic links ends at (relative links taken from their own directory);
// path itself when it is no link or does not exist.
bool ResolveLinks(const std::string& path, std::string& resolved, std::string& error) {
    fs::path current(path);
    for (int hops = 0; hops < kMaxLinks; ++hops) {
        struct stat st {};
        if (lstat(current.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) {
            resolved = current.string();
            return true;
        }
        std::error_code ec;
        const fs::path next = fs::read_symlink(current, ec);
        if (ec) {
            error = "cannot follow " + current.string() + ": " + ec.message();
            return false;
        }
        current = next.is_absolute() ? next : current.parent_path() / next;
    }
    error = "cannot follow " + path + ": " + SystemError(ELOOP);
    return false;
}

std::string TempDirectory() {
    const char* tmp = std::getenv("TMPDIR");
    return tmp != nullptr && *tmp != '\0' ? tmp : "/tmp";
}

}  // namespace

SafeOutput::~SafeOutput() {
    if (m_temp.empty()) return;
    unlink(m_temp.c_str());
    TempFiles::Forget(m_temp);
}

bool SafeOutput::Begin(const std::string& target, std::string& error) {
    // The process's descriptor 1 carries the library's own prints elsewhere; these names mean
    // the tool's standard output.
    const bool toStdout = target == "-" || target == "/dev/stdout" || target == "/dev/fd/1" ||
                          target == "/proc/self/fd/1";
    std::string pattern;
    struct stat st {};
    if (toStdout) {
        m_stream = true;
        m_target = "-";
        pattern = TempDirectory() + "/qxscript.XXXXXX";
    } else if (stat(target.c_str(), &st) == 0 && !S_ISREG(st.st_mode)) {
        // Opened by its own name later, so that links (/dev/stderr too) lead where they lead.
        if (!S_ISCHR(st.st_mode) && !S_ISFIFO(st.st_mode)) {
            error = target + ": " +
                    (S_ISDIR(st.st_mode)
                         ? std::string("is a directory")
                         : std::string("not a regular file, a character device or a FIFO"));
            return false;
        }
        m_stream = true;
        m_target = target;
        pattern = TempDirectory() + "/qxscript.XXXXXX";
    } else {
        if (!ResolveLinks(target, m_target, error)) return false;
        const fs::path path(m_target);
        const fs::path dir = path.has_parent_path() ? path.parent_path() : fs::path(".");
        pattern = (dir / ("." + path.filename().string() + ".XXXXXX")).string();
    }
    const int fd = TempFiles::Make(pattern);
    if (fd < 0) {
        error = "cannot create a temporary file for " + (toStdout ? "the output" : target) + ": " +
                SystemError(errno);
        return false;
    }
    close(fd);
    m_temp = pattern;
    return true;
}

bool SafeOutput::CopyInto(int fd, const std::string& name, std::string& error) const {
    const int in = open(m_temp.c_str(), O_RDONLY | O_CLOEXEC);
    if (in < 0) {
        error = m_temp + ": " + SystemError(errno);
        return false;
    }
    std::vector<char> block(1 << 16);
    bool ok = true;
    for (;;) {
        const ssize_t n = read(in, block.data(), block.size());
        if (n == 0) break;
        if (n < 0) {
            if (errno == EINTR) continue;
            error = m_temp + ": " + SystemError(errno);
            ok = false;
            break;
        }
        for (ssize_t done = 0; done < n;) {
            const ssize_t w = write(fd, block.data() + done, static_cast<std::size_t>(n - done));
            if (w < 0 && errno == EINTR) continue;
            if (w <= 0) {
                error = "cannot write " + name + ": " + SystemError(w < 0 ? errno : EIO);
                ok = false;
                break;
            }
            done += w;
        }
        if (!ok) break;
    }
    close(in);
    return ok;
}

bool SafeOutput::Commit(std::string& error) {
    if (m_stream && m_target == "-") {
        // Whatever the tool wrote before goes out first.
        FILE* out = Output::Stream();
        if (std::fflush(out) != 0) {
            error = "cannot write to standard output: " + SystemError(errno);
            return false;
        }
        return CopyInto(fileno(out), "to standard output", error);
    }
    if (m_stream) {
        // O_APPEND keeps what another writer of a FIFO or a log device has put there.
        const int fd = open(m_target.c_str(), O_WRONLY | O_APPEND | O_NOCTTY | O_CLOEXEC);
        if (fd < 0) {
            error = "cannot write " + m_target + ": " + SystemError(errno);
            return false;
        }
        bool ok = CopyInto(fd, m_target, error);
        if (close(fd) != 0 && ok) {
            error = "cannot write " + m_target + ": " + SystemError(errno);
            ok = false;
        }
        return ok;
    }
    const int fd = open(m_temp.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0 || fsync(fd) != 0) {
        error = "cannot write " + m_temp + ": " + SystemError(errno);
        if (fd >= 0) close(fd);
        return false;
    }
    close(fd);
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
    TempFiles::Forget(m_temp);
    m_temp.clear();
    return true;
}

}  // namespace qxscript
