#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "qx_platform/Export.h"

namespace qxp {

// The host's file service. Paths are byte strings in the named encoding ("UTF-8", "GBK",
// "ISO8859-1"); the standalone service converts them to the system's UTF-8 names. Every call
// goes through the installed FileService (see Control.h), so tests can put a failing or
// in-memory service in its place. All functions are thread-safe.

// Opens a file with fopen-style mode; nullptr on failure with the system error number kept.
QXP_API FILE* OrinFileOpen(const char* path, const char* mode, const char* pathEncoding = "UTF-8");
// Closes a stream opened by the service; 0 on success.
QXP_API int OrinFileClose(FILE* stream);
QXP_API bool OrinFileDelete(const char* path, const char* pathEncoding = "UTF-8");
// Renames, replacing an existing target (POSIX rename).
QXP_API bool OrinFileRename(const char* from, const char* to, const char* pathEncoding = "UTF-8");
// Creates the directory and any missing parents; true when it exists afterwards.
QXP_API bool OrinMakeDir(const char* path, const char* pathEncoding = "UTF-8");
QXP_API bool OrinIsDirectory(const char* path, const char* pathEncoding = "UTF-8");
QXP_API bool OrinIsAbsolutePath(const char* path);
// The system error number of the calling thread's last failed file call.
QXP_API int OrinGetLastError();
// Records the system error number of a failed file call made through another route (an Env),
// for callers that ask OrinGetLastError.
QXP_API void OrinSetLastError(int code);
// The path with every backslash turned into a forward slash.
QXP_API std::string OrinToUnixPath(const std::string& path);

// Modes of the file object. Standalone, both write modes create or truncate the file ("wb"):
// they differ only in intent. The read mode opens with "rb".
enum OrinFileMode : int {
    // Create or truncate, for a file that starts with a header.
    kOrinWriteWithHeader = 56,
    // Create or truncate, for a file written without a header.
    kOrinWriteNoHeader = 25,
    // Open an existing file for reading.
    kOrinRead = 1,
};

// The host's file object: opens one path and owns the stream until Close or destruction.
// Confined to one thread.
class QXP_API OrinFile {
  public:
    OrinFile() = default;
    ~OrinFile();
    OrinFile(const OrinFile&) = delete;
    OrinFile& operator=(const OrinFile&) = delete;

    // Opens path in one of the OrinFileMode modes (a stream already open is closed first).
    // The user-permission argument is the host's; the standalone service ignores it.
    // Returns 0 on success, the system error number otherwise.
    int Open(const char* path, int mode, int userPermission = 0,
             const char* pathEncoding = "UTF-8");
    FILE* GetStream() const { return stream_; }
    // Closes the stream; 0 on success (also when none was open).
    int Close();

  private:
    FILE* stream_ = nullptr;
};

}  // namespace qxp
