#include "qx_scriptutil/Escaping.h"

#include "qx_platform/Strings.h"
#include "qx_platform/Task.h"
#include "qx_platform/Trace.h"
#include "qx_scriptutil/EnumMap.h"

namespace NSQX_script {

namespace {

// Scripts from this version on escape every character they put a backslash before.
constexpr long kLastOldRuleVersion = 50855935;  // 0x307FFFF

long CurrentScriptVersion() {
    qxp::OrinGnlTask* task = qxp::OrinGetCurrentTask();
    std::string text;
    if (task != nullptr && task->GetContext() != nullptr) {
        task->GetContext()->GetFlag("Script_Version", text);
    }
    long version = 0;
    if (!qxp::QXStr2Int(text.c_str(), version, 10)) version = 0;
    return version;
}

// A backslash escapes the next character; a doubled one stands for one backslash.
void UnescapeEveryChar(std::string& out, std::string const& in) {
    out.clear();
    out.reserve(in.size());
    for (std::size_t i = 0; i < in.size(); ++i) {
        if (in[i] != '\\') {
            out.push_back(in[i]);
        } else if (i + 1 < in.size() && in[i + 1] == '\\') {
            out.push_back('\\');
            ++i;
        }
    }
}

// Undoes a backslash before a quote and halves even runs of backslashes; an odd run before
// another character (or at the end) stays whole.
void UnescapeQuotesAndRuns(std::string& out, std::string const& in) {
    out.clear();
    out.reserve(in.size());
    std::size_t run = 0;
    auto flushRun = [&out, &run] {
        out.append(run % 2 == 0 ? run / 2 : run, '\\');
        run = 0;
    };
    for (char c : in) {
        if (c == '\\') {
            ++run;
            continue;
        }
        if ((c == '"' || c == '\'') && run > 0) --run;
        flushRun();
        out.push_back(c);
    }
    flushRun();
}

void Unescape(std::string& out, const std::string& in, bool everyChar) {
    if (&out == &in) {
        const std::string copy(in);
        Unescape(out, copy, everyChar);
    } else if (everyChar) {
        UnescapeEveryChar(out, in);
    } else {
        UnescapeQuotesAndRuns(out, in);
    }
}

}  // namespace

void ConvertSpecialCharInStr(std::string& out, std::string& in) {
    if (&out == &in) {
        std::string copy(in);
        ConvertSpecialCharInStr(out, copy);
        return;
    }
    out.reserve(out.size() + in.size() + 4);
    for (char c : in) {
        if (c == '\\' || c == '"') out.push_back('\\');
        out.push_back(c);
    }
}

void UnConvertSpecialCharInStr(std::string& out, std::string& in) {
    Unescape(out, in, CurrentScriptVersion() > kLastOldRuleVersion);
}

void UnConvertSpecialCharInStr(std::string& out, const std::string& in,
                               unsigned long scriptVersion) {
    Unescape(out, in, scriptVersion > static_cast<unsigned long>(kLastOldRuleVersion));
}

const char* GetCfgEncoding() {
    static const std::string kValueName = "curscriptencoding";
    static const std::string kSetting = "encoding";
    long encoding = 1;
    if (ValueS2C(encoding, kValueName, 0, kSetting, 0) != 0) {
        qxp::QXTrace(qxp::kTraceInfo, "Get cfg from cfgfile succed encoding = %d",
                     static_cast<int>(encoding));
    }
    if (encoding == 0) return "GBK";
    if (encoding == 2) return "ISO8859-1";
    return "UTF-8";
}

}  // namespace NSQX_script
