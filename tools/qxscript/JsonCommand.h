#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "qx_scriptutil/TScriptCmd.h"

namespace qxscript {

// One command read back from a line of dump's JSON (AppendJson), for build.
struct JsonCommand {
    std::string name;  // a lower-case identifier, as the reader gives names
    std::vector<NSQX_script::MMLParaStruct> paras;
};

// Why a JSON line cannot become a command, and where: column is the 1-based byte of the line
// at which the JSON stops being well-formed, 0 when the line is well-formed but holds
// something else than a command or a value that a script cannot hold.
struct JsonCommandError {
    std::size_t column = 0;
    std::string reason;
};

// Reads one object of dump's JSON ("file", "line" and "code" are ignored). Refuses what no
// script can hold so that it reads back the same: a name that is not a lower-case identifier,
// a parameter with both values and groups, an int32 outside 32 bits, an int64 outside
// -2147483648..4294967295 (decimal texts read as signed 32 bits, 0x texts as unsigned ones), a
// double that is not finite, a text holding a NUL or a carriage return, a double quote without a
// backslash before it, or ending in an unpaired backslash. Groups nest as deep as memory allows.
// Confined to the calling thread; nothing is shared.
bool ParseJsonCommand(const std::string& line, JsonCommand& cmd, JsonCommandError& error);

// Whether a text can stand in double quotes and read back as itself; otherwise why not.
bool QuotableText(const std::string& text, std::string& why);

}  // namespace qxscript
