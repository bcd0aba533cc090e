#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "qx_platform/Export.h"

namespace qxp {

// The control API of the standalone host: what tests and the command-line tool use to set up
// the services that a host would provide. Thread-safe.

// In-process overrides of settings; they take precedence over the configuration file.
QXP_API void SetRegString(const std::string& section, const std::string& key,
                          const std::string& value);
QXP_API void SetUserCfgItem(const std::string& section, const std::string& name,
                            const std::string& value);
QXP_API void SetServerVersionName(const std::string& name);
QXP_API void SetAppRootPath(const std::string& path);
QXP_API void SetUserName(int userId, const std::string& name);
// A fixed clock (seconds since 1970, UTC) for reproducible headers; negative for the real one.
QXP_API void SetFixedTime(std::int64_t utcSeconds);
// Drops every override above, and re-reads the configuration file on next use.
QXP_API void ResetOverrides();

// The file service behind Files.h. The default one uses the POSIX calls; a test installs its
// own (for example one whose streams fail on write, like a full disk).
class QXP_API FileService {
  public:
    virtual ~FileService() = default;
    virtual FILE* Open(const std::string& path, const char* mode) = 0;
    virtual int Close(FILE* stream) = 0;
    virtual bool Delete(const std::string& path) = 0;
    virtual bool Rename(const std::string& from, const std::string& to) = 0;
    virtual bool MakeDir(const std::string& path) = 0;
    virtual bool IsDirectory(const std::string& path) = 0;
};
QXP_API FileService& PosixFileService();
// Installs a service (not owned; nullptr restores the POSIX one).
QXP_API void SetFileService(FileService* service);

}  // namespace qxp
