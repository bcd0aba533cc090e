#pragma once

#include <string>
#include <vector>

namespace qxscript {

// What the tool asks of the library's configuration for one run.
struct EnumSettings {
    std::vector<std::string> files;  // enumeration tables given by the user
    int encoding = -1;               // written scripts: 0 GBK, 1 UTF-8, 2 ISO8859-1; -1 default
    int slotVersion = -1;            // header slot flag of written scripts: 0 "1.0", else "1.1"
    bool slotSwitch = false;         // turn slot conversion of commands on
    bool logSwitch = false;          // log converted commands
    long scriptVersion = -1;         // script version of new headers; -1 as configured
};

// Loads the enumeration tables into the library's process-wide table, together with the
// user settings and switches of EnumSettings. The library reads those settings from the host
// when a table is loaded, so they are set first and one table of the tool's own, held in
// memory, is always loaded last; the user's tables come first, so their entries win.
// Releases its loads on destruction. Confined to the main thread.
class EnumTables {
  public:
    EnumTables() = default;
    ~EnumTables();
    EnumTables(const EnumTables&) = delete;
    EnumTables& operator=(const EnumTables&) = delete;

    bool Load(const EnumSettings& settings, std::string& error);

  private:
    int m_loaded = 0;
};

// The setting value of an encoding name ("UTF-8", "GBK", "ISO8859-1"); -1 for another name.
int EncodingSetting(const std::string& name);

}  // namespace qxscript
