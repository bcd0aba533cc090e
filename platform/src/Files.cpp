#include "qx_platform/Files.h"

#include <sys/stat.h>
#include <sys/types.h>

#include <atomic>
#include <cerrno>

#include "qx_platform/CodeSet.h"
#include "qx_platform/Control.h"

namespace qxp {

namespace {

thread_local int t_lastError = 0;

std::atomic<FileService*> g_service{nullptr};

FileService& Service() {
    FileService* s = g_service.load(std::memory_order_acquire);
    return s != nullptr ? *s : PosixFileService();
}

// Keeps errno of a failed call; a service that failed without setting errno counts as EIO.
void RecordFailure() {
    t_lastError = errno != 0 ? errno : EIO;
}

bool IsUtf8Name(const char* encoding) {
    return encoding == nullptr || *encoding == '\0' || std::string(encoding) == "UTF-8";
}

// System names are UTF-8; a path in another encoding is converted first.
bool SystemPath(const char* path, const char* encoding, std::string& out) {
    if (path == nullptr) {
        t_lastError = EINVAL;
        return false;
    }
    if (IsUtf8Name(encoding)) {
        out.assign(path);
        return true;
    }
    if (!OrinCodeSetConvert(encoding, "UTF-8", std::string(path), out)) {
        t_lastError = EILSEQ;
        return false;
    }
    return true;
}

class PosixService final : public FileService {
  public:
    FILE* Open(const std::string& path, const char* mode) override {
        return std::fopen(path.c_str(), mode);
    }
    int Close(FILE* stream) override { return std::fclose(stream); }
    bool Delete(const std::string& path) override { return std::remove(path.c_str()) == 0; }
    bool Rename(const std::string& from, const std::string& to) override {
        return std::rename(from.c_str(), to.c_str()) == 0;
    }
    bool MakeDir(const std::string& path) override {
        if (path.empty()) {
            errno = ENOENT;
            return false;
        }
        // Creates each missing ancestor in turn; one that exists already is fine.
        for (std::size_t pos = path.find('/', 1);; pos = path.find('/', pos + 1)) {
            const std::string part = path.substr(0, pos);
            if (!part.empty() && ::mkdir(part.c_str(), 0777) != 0 && errno != EEXIST) {
                return false;
            }
            if (pos == std::string::npos) break;
        }
        if (!IsDirectory(path)) {
            errno = ENOTDIR;
            return false;
        }
        return true;
    }
    bool IsDirectory(const std::string& path) override {
        struct stat st;
        return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
    }
};

}  // namespace

FileService& PosixFileService() {
    static PosixService* service = new PosixService;  // never destroyed: used at exit too
    return *service;
}

void SetFileService(FileService* service) {
    g_service.store(service, std::memory_order_release);
}

FILE* OrinFileOpen(const char* path, const char* mode, const char* pathEncoding) {
    std::string name;
    if (!SystemPath(path, pathEncoding, name)) return nullptr;
    if (mode == nullptr) {
        t_lastError = EINVAL;
        return nullptr;
    }
    errno = 0;
    FILE* stream = Service().Open(name, mode);
    if (stream == nullptr) RecordFailure();
    return stream;
}

int OrinFileClose(FILE* stream) {
    if (stream == nullptr) {
        t_lastError = EBADF;
        return EOF;
    }
    errno = 0;
    const int rc = Service().Close(stream);
    if (rc != 0) RecordFailure();
    return rc;
}

bool OrinFileDelete(const char* path, const char* pathEncoding) {
    std::string name;
    if (!SystemPath(path, pathEncoding, name)) return false;
    errno = 0;
    if (Service().Delete(name)) return true;
    RecordFailure();
    return false;
}

bool OrinFileRename(const char* from, const char* to, const char* pathEncoding) {
    std::string source, target;
    if (!SystemPath(from, pathEncoding, source) || !SystemPath(to, pathEncoding, target)) {
        return false;
    }
    errno = 0;
    if (Service().Rename(source, target)) return true;
    RecordFailure();
    return false;
}

bool OrinMakeDir(const char* path, const char* pathEncoding) {
    std::string name;
    if (!SystemPath(path, pathEncoding, name)) return false;
    errno = 0;
    if (Service().MakeDir(name)) return true;
    RecordFailure();
    return false;
}

bool OrinIsDirectory(const char* path, const char* pathEncoding) {
    std::string name;
    if (!SystemPath(path, pathEncoding, name)) return false;
    return Service().IsDirectory(name);
}

bool OrinIsAbsolutePath(const char* path) {
    return path != nullptr && path[0] == '/';
}

int OrinGetLastError() {
    return t_lastError;
}

void OrinSetLastError(int code) {
    t_lastError = code;
}

std::string OrinToUnixPath(const std::string& path) {
    std::string out(path);
    for (char& c : out) {
        if (c == '\\') c = '/';
    }
    return out;
}

OrinFile::~OrinFile() {
    Close();
}

int OrinFile::Open(const char* path, int mode, int userPermission, const char* pathEncoding) {
    (void)userPermission;
    Close();
    const char* fopenMode = nullptr;
    switch (mode) {
        // Both write modes truncate: standalone, a header is the writer's business.
        case kOrinWriteWithHeader:
        case kOrinWriteNoHeader:
            fopenMode = "wb";
            break;
        case kOrinRead:
            fopenMode = "rb";
            break;
        default:
            t_lastError = EINVAL;
            return EINVAL;
    }
    stream_ = OrinFileOpen(path, fopenMode, pathEncoding);
    return stream_ != nullptr ? 0 : OrinGetLastError();
}

int OrinFile::Close() {
    if (stream_ == nullptr) return 0;
    FILE* stream = stream_;
    stream_ = nullptr;
    return OrinFileClose(stream) == 0 ? 0 : OrinGetLastError();
}

}  // namespace qxp
