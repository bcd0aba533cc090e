#include "qx_scriptutil/ScriptConfig.h"

#include <array>
#include <cstddef>

#include "qx_platform/Lock.h"
#include "qx_platform/Settings.h"

namespace NSQX_script {

namespace {

constexpr char kConfDir[] = "cbb/trans/core/conf/xml/script";
constexpr char kConfDirAlt[] = "rtsp/InvUnitedmgr/cbb/trans/core/conf/xml/script";
constexpr char kEnumFile[] = "script_enum.xml";
constexpr char kSlotTable[] = "cbb/trans/core/conf/xml/script/xml_script/slotcovert_cmd_cfg.xml";
constexpr char kSlotNETypes[] = "slotconvert_cmd_desc.txt";
constexpr char kSlotLog[] = "script/ConvertSlotResult.txt";

constexpr std::size_t kFileCount = static_cast<std::size_t>(ScriptConfigFile::kSlotLog) + 1;

struct Overrides {
    qxp::Mutex mutex;
    std::array<std::string, kFileCount> paths QXP_GUARDED_BY(mutex);
};

Overrides& Named() {
    static Overrides overrides;
    return overrides;
}

std::string Named(ScriptConfigFile file) {
    Overrides& o = Named();
    qxp::LockGuard<qxp::Mutex> guard(o.mutex);
    return o.paths[static_cast<std::size_t>(file)];
}

}  // namespace

std::string ScriptConfigPath(ScriptConfigFile file) {
    std::string named = Named(file);
    if (!named.empty()) return named;
    switch (file) {
        case ScriptConfigFile::kEnumTable:
            return qxp::OrinGetPackagePath(kConfDir, kConfDirAlt) + kEnumFile;
        case ScriptConfigFile::kSlotTable:
            return qxp::OrinGetAppRootPath() + kSlotTable;
        case ScriptConfigFile::kSlotNETypes: {
            const std::string table = ScriptConfigPath(ScriptConfigFile::kSlotTable);
            const std::size_t slash = table.rfind('/');
            return (slash == std::string::npos ? std::string() : table.substr(0, slash + 1)) +
                   kSlotNETypes;
        }
        case ScriptConfigFile::kSlotLog:
            return qxp::OrinGetAppRootPath() + kSlotLog;
    }
    return std::string();
}

void SetScriptConfigPath(ScriptConfigFile file, const std::string& path) {
    const auto index = static_cast<std::size_t>(file);
    if (index >= kFileCount) return;
    Overrides& o = Named();
    qxp::LockGuard<qxp::Mutex> guard(o.mutex);
    o.paths[index] = path;
}

std::string ScriptConfigError::Text() const {
    std::string text = file;
    if (line != 0) {
        text += ":" + std::to_string(line);
        if (column != 0) text += ":" + std::to_string(column);
    }
    return text + ": " + reason;
}

}  // namespace NSQX_script
