// The subcommands that convert single values: enum and name.

#include <cinttypes>
#include <cstdio>

#include "Commands.h"
#include "EnumTables.h"
#include "Output.h"
#include "qx_platform/Strings.h"
#include "qx_scriptutil/EnumMap.h"
#include "qx_scriptutil/ScriptFileName.h"

namespace qxscript {

int RunEnum(const CommonOptions&, const EnumOptions& opts) {
    EnumTables tables;
    EnumSettings settings;
    settings.files.push_back(opts.config);
    std::string error;
    if (!tables.Load(settings, error)) {
        Error(error);
        return kExitUsage;
    }
    const std::string where = " for command " + std::to_string(opts.cmdId) + ", parameter \"" +
                              opts.para + "\", extend ID " + std::to_string(opts.extendId);
    if (opts.direction == "s2c") {
        long code = 0;
        if (NSQX_script::ValueS2C(code, opts.value, opts.cmdId, opts.para, opts.extendId) != 1) {
            Error("no enumeration value named \"" + opts.value + "\"" + where);
            return kExitFindings;
        }
        Output::Line(std::to_string(code));
    } else {
        long code = 0;
        if (!qxp::QXStr2Int(opts.value.c_str(), code)) {
            Error("\"" + opts.value + "\" is not a decimal code");
            return kExitUsage;
        }
        std::string name;
        if (NSQX_script::ValueC2S(name, code, opts.cmdId, opts.para, opts.extendId) != 1) {
            Error("no enumeration value with code " + opts.value + where);
            return kExitFindings;
        }
        Output::Line(name);
    }
    return Output::FlushOrSay() ? kExitOk : kExitUsage;
}

int RunNameGenerate(const NameOptions& opts) {
    NSQX_script::ScriptFileName name;
    const char* text = opts.text.empty() ? nullptr : opts.text.c_str();
    const char* encoding = opts.encoding.empty() ? nullptr : opts.encoding.c_str();
    if (!opts.ne.empty()) {
        unsigned long neId = 0;
        if (!qxp::QXStr2NEID(opts.ne.c_str(), neId)) {
            Error("\"" + opts.ne + "\" is not an NE ID (use A-B, a decimal or a 0x number)");
            return kExitUsage;
        }
        name.GenerateNEFileName(opts.prefix.c_str(), neId, text, encoding);
    } else if (!opts.ip.empty()) {
        name.GenerateNEFileName(opts.prefix.c_str(), opts.ip.c_str(), text, encoding);
    } else {
        name.GenerateFileName(opts.prefix.c_str(), text, encoding);
    }
    Output::Line(name.GetFileName());
    return Output::FlushOrSay() ? kExitOk : kExitUsage;
}

int RunNameAnalyse(const NameOptions& opts) {
    int status = kExitOk;
    NSQX_script::ScriptFileName name;
    for (const std::string& text : opts.names) {
        if (!name.AnalyseFileName(text.c_str())) {
            Error(text +
                  ": not a script file name (its base name needs a \"_\" after the "
                  "prefix)");
            status = kExitFindings;
            continue;
        }
        const unsigned long neId = name.GetPhyNEID();
        char ne[64];
        std::snprintf(ne, sizeof ne, "%lu-%lu (0x%08lX)", (neId >> 16) & 0xFFFFul, neId & 0xFFFFul,
                      neId);
        Output::Line(text + ": prefix=" + name.GetPrefix() + " ne=" + (neId != 0 ? ne : "-") +
                     " ip=" + (name.GetIPAddr().empty() ? "-" : name.GetIPAddr()));
    }
    return Output::FlushOrSay() ? status : kExitUsage;
}

}  // namespace qxscript
