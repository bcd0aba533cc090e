#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "qx_scriptutil/QXConvertDataStorage.h"
#include "qx_scriptutil/TScriptCmd.h"

namespace NSQX_script {

// The slot conversion that the per-command pass applies to each slot piece. It follows the
// same numbers as QXScriptSlotConvert with wider ranges and without its trace: types 0 and 1
// encode every value above 99, and type 2 always rewrites (shelf * 100 + slot, or 10000 +
// slot for an unshelved slot above 99). False for a text that is not a decimal number.
//
// The type is the one the script in hand chose (SlotTypeForFlag); the overload without it
// takes the store's process-wide type.
bool ConvertSlotValue(unsigned long neId, const CStdString& in, CStdString& out, std::int32_t type);
bool ConvertSlotValue(unsigned long neId, const CStdString& in, CStdString& out);

// The conversion type a script's "// SlotFlagVer=" header line chooses under an operation
// type: 0 without the line, 3 for version 1.1 (operation type 0 or 1), else 1 or 2 by
// operation type.
std::int32_t SlotTypeForFlag(bool slotFlagIs11, bool slotFlagPresent, int operType);

// Cuts a parameter value with a SeparatorNode and reaches its target pieces. Pieces keep
// their leading and trailing double quote and their separator, so that joining them gives the
// value back with only the targets changed.
class SeparatorWalk {
  public:
    // Rewrites each target piece of value by ConvertSlotValue; pieces that are not numbers
    // stay as they were.
    static void Convert(const SeparatorNode& node, std::string& value, unsigned long neId,
                        std::int32_t type);
    static void Convert(const SeparatorNode& node, std::string& value, unsigned long neId);
    // Appends each target piece to collected; two pieces found at one level are joined into
    // one NE ID text "a-b", the form qxp::QXStr2NEID reads as a physical NE ID.
    static void Collect(const SeparatorNode& node, const std::string& value,
                        std::vector<std::string>& collected);
};

// The per-command pass: when the "slotcvtswitch"/"cvtswitch" switch is on and the store has a
// record for the command's name, logs the command, rewrites the slot values of each
// NE-ID/slot pair of the record in place, and logs it again.
//
// A "cfg-onepara" command describes one parameter of one NE, whose NE ID need not stand
// beside every slot-carrying parameter: its pairs are run in order as for other commands, but
// a pair whose NE ID parameter yields no NE ID uses the last NE ID found by an earlier pair.
//
// NE IDs and slots are read from the first parameter of each configured name, as the typed
// access by name finds it, but as the raw value texts: only the values that the conversion
// changes are replaced (by their new text), so every other value keeps its type and its
// escaping exactly, and an empty value cannot hold up the rest.
//
// A script file passes the type its own header chose, so that tasks converting scripts of
// different slot flags at the same time do not see each other's; the overload without it
// takes the store's process-wide type.
void ConvertCommandSlots(TScriptCmdRef& cmd, std::int32_t type);
void ConvertCommandSlots(TScriptCmdRef& cmd);

// Appends the command to "script/ConvertSlotResult.txt" under the application root when the
// "logconvertresult"/"logresult" switch is on, laid out as in a script file. A log that cannot
// be opened or written is traced and otherwise ignored.
void LogConvertedCmd(const TScriptCmdRef& cmd);

}  // namespace NSQX_script
