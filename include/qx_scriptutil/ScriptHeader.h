#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "qx_scriptutil/Export.h"

namespace NSQX_script {

// Script types known to the header writer.
enum ScriptType : unsigned int {
    kNeConfigScript = 1,
    kNePortNameScript = 2,
    kNetworkConfigScript = 3,
    kNeListScript = 4,
    kLocalNmInfo = 5,
    kTransmitServiceScript = 6,
    kErrorListFile = 7,
    kStandaloneScript = 8,  // written by OpenFileForWrite, titled by its caller
    kMdsConfigScript = 10,
    kTemplateFile = 15,
    kUserCfgParamInfo = 40,
};

constexpr unsigned long kDefaultScriptVersion = 0x02010302;  // 2.1.3.2

// A script type and the title the header writer gives it.
struct TScriptTypeTitle {
    unsigned int type;
    const char* title;
};

// Every type that has a title, in ascending order of type (the stand-alone type 8 has none:
// its caller titles it). Static storage.
QX_API const std::vector<TScriptTypeTitle>& ScriptTypeTitles();
// The title of a type, or nullptr for a type without one.
QX_API const char* ScriptTypeTitle(unsigned int scriptType);
// The type whose title a header line is (exactly), or 0.
QX_API unsigned int ScriptTypeOfTitle(std::string_view title);

// One comment line of a script's header: its 1-based line number and the text after "//",
// blanks around it removed.
struct TScriptHeaderLine {
    unsigned long line = 0;
    std::string text;
};

// What the first bytes of a script say, read as the script reader reads them. A value type.
struct TScriptHeader {
    // "UTF-8", "ISO8859-1" or "GBK" when an encoding line lies in the first 1024 bytes (up to
    // the first NUL); empty when none does (the reader then falls back, see TScriptFileImpl).
    std::string encoding;
    bool hasSlotFlag = false;  // "// SlotFlagVer=" in the first 1024 bytes
    bool slotFlag11 = false;   // "// SlotFlagVer=1.1" there
    // The version a version line in the first 512 bytes gives, else kDefaultScriptVersion.
    unsigned long version = kDefaultScriptVersion;
    // The type of the first header line that is a known title, or 0.
    unsigned int scriptType = 0;
    // The leading comment lines, up to the first line that is neither blank nor "//".
    std::vector<TScriptHeaderLine> lines;
    // Header lines that mention an encoding ("encoding", any case) in a form the reader does
    // not take, or outside the first 1024 bytes: the file would be read in the fallback.
    std::vector<TScriptHeaderLine> unrecognisedEncodingLines;
};

// Reads the header from the first bytes of a script (give at least the first 1024; header
// lines are looked for as far as head goes). Pure: no trace, no process-wide state.
QX_API TScriptHeader ReadScriptHeader(std::string_view head);

}  // namespace NSQX_script
