#pragma once

#include <string>

namespace NSQX_script {

// The names of the export-to-restore user setting and of its enumeration value, built at
// library load (enum/EnumLoad.cpp) before the manager's lock.
extern const std::string kExportRestoreSetting;
extern const std::string kExportRestoreValueName;

}  // namespace NSQX_script
