#include <string>

#include "qx_platform/Files.h"
#include "qx_platform/Settings.h"
#include "qx_platform/Strings.h"
#include "qx_platform/Trace.h"
#include "qx_scriptutil/TScriptFileImpl.h"

namespace NSQX_script {

std::string GetScriptRootDirectory() {
    std::string path = "./hosted_public/script";
    std::string value;
    if (qxp::OrinGetRegString("TRANS", "script_path", value)) {
        path = value;
    } else {
        qxp::QXTrace(qxp::kTraceError, "OrinGetRegString script_path failed! Set to %s.\n",
                     path.c_str());
    }
    path = qxp::OrinToUnixPath(path);
    if (!qxp::OrinIsDirectory(path.c_str(), "UTF-8")) qxp::OrinMakeDir(path.c_str(), "UTF-8");
    return path;
}

unsigned long TScriptFileImpl::GetNEIDFromFileName(const char* fileName) {
    if (fileName == nullptr) return 0;
    std::string name = fileName;
    // Only the forward slash separates directories here; a backslash belongs to the name.
    const std::size_t slash = name.rfind('/');
    if (slash != std::string::npos) name.erase(0, slash + 1);
    const std::size_t first = name.find('_');
    if (first == std::string::npos) return 0;
    const std::size_t second = name.find('_', first + 1);
    if (second == std::string::npos) return 0;
    unsigned long neId = 0;
    if (!qxp::QXStr2NEID(name.substr(first + 1, second - first - 1).c_str(), neId)) return 0;
    return neId;
}

}  // namespace NSQX_script
