#pragma once

#include <string>

#include "qx_platform/Export.h"

namespace qxp {

// Registry strings, user configuration items and paths of the host. The standalone service
// reads them from the configuration file named by QX_PLATFORM_CONFIG (see platform/README.md),
// with in-process overrides (Control.h) taking precedence. All functions are thread-safe.

// A registry string (for example section "TRANS", key "script_path"); false when absent.
QXP_API bool OrinGetRegString(const char* section, const char* key, std::string& value);
// A user configuration item of a section; 0 on success with the text in value, non-zero when
// absent.
QXP_API int OrinGetUserCfgItem(const char* section, const char* name, std::string& value);
// The product server version name; empty when not configured.
QXP_API std::string OrinGetServerVersionName();
// The package directory for the two candidate directories: a prefix ending in "/" that a file
// name is appended to. The first candidate that exists under the root path wins; with none,
// the root path followed by the first candidate (just the root path when it is empty).
QXP_API std::string OrinGetPackagePath(const char* dir1, const char* dir2);
// The application root path, ending in "/"; "./" by default.
QXP_API std::string OrinGetAppRootPath();
// The name of a user; the login name of the process for users that are not configured.
QXP_API std::string OrinGetUserName(int userId);

}  // namespace qxp
