// Escaping and unescaping of quoted values under both rules of the running task's
// "Script_Version" flag. The first byte chooses the rule (even: a version up to 0x307FFFF, the
// rule that only undoes escapes before quotes and halves even backslash runs; odd: 0x3080000,
// the rule where a backslash escapes any character); the rest is the text.
//
// Properties:
// - escaping appends: what the output held before stays in front of the escaped text, which is
//   the text with one backslash more before every backslash and double quote;
// - under the newer rule unescaping what escaping produced gives back the original, always;
// - under the older rule it does so unless a run of two or more backslashes stands directly
//   before a single quote: a run of k doubles to 2k, the quote takes one and the odd rest is
//   kept, so the original returns only for k <= 1;
// - unescaping never lengthens a text, and any bytes are read and written within bounds.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "qx_platform/Task.h"
#include "qx_scriptutil/Escaping.h"

using namespace NSQX_script;

namespace {

bool OldRuleRoundTrips(const std::string& text) {
    std::size_t run = 0;
    for (char c : text) {
        if (c == '\\') {
            ++run;
            continue;
        }
        if (c == '\'' && run >= 2) return false;
        run = 0;
    }
    return true;
}

qxp::OrinGnlTask& Task(bool newRule) {
    static qxp::OrinGnlTask oldTask;
    static qxp::OrinGnlTask newTask;
    static const bool flagged = [] {
        oldTask.GetContext()->SetFlag("Script_Version", "50855935");
        newTask.GetContext()->SetFlag("Script_Version", "50855936");
        return true;
    }();
    (void)flagged;
    return newRule ? newTask : oldTask;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const bool newRule = (data[0] & 1) != 0;
    std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    qxp::ScopedCurrentTask current(&Task(newRule));

    const std::string head = "kept";
    std::string escaped = head;
    ConvertSpecialCharInStr(escaped, text);
    if (escaped.compare(0, head.size(), head) != 0) std::abort();
    std::size_t special = 0;
    for (char c : text) special += (c == '\\' || c == '"') ? 1 : 0;
    if (escaped.size() != head.size() + text.size() + special) std::abort();

    std::string body = escaped.substr(head.size());
    std::string back = "stale";
    UnConvertSpecialCharInStr(back, body);
    if ((newRule || OldRuleRoundTrips(text)) && back != text) std::abort();

    std::string raw = text;
    std::string out;
    UnConvertSpecialCharInStr(out, raw);
    if (out.size() > raw.size() || raw != text) std::abort();
    // The same string as input and output: the result must not depend on the aliasing.
    UnConvertSpecialCharInStr(raw, raw);
    if (raw != out) std::abort();
    return 0;
}
