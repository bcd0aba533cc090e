// The subcommands that convert single values: enum and name.

#include <cinttypes>
#include <cstdio>

#include <nlohmann/json.hpp>

#include "Commands.h"
#include "EnumTables.h"
#include "Findings.h"
#include "Output.h"
#include "qx_platform/Strings.h"
#include "qx_scriptutil/EnumMap.h"
#include "qx_scriptutil/QXScriptEnumMgr.h"
#include "qx_scriptutil/ScriptFileName.h"

namespace qxscript {

namespace {

// enum list: the table's entries, each with its names and codes in table order. The tool's own
// settings (command 0) are not enumerations and are left out.
int ListEnum(const EnumOptions& opts) {
    unsigned long cmdFilter = 0;
    if (!opts.args.empty() && !qxp::QXStr2UInt(opts.args[0].c_str(), cmdFilter)) {
        Error("\"" + opts.args[0] + "\" is not a command code");
        return kExitUsage;
    }
    if (opts.args.size() > 2) {
        Error("list takes at most CMDID and PARA");
        return kExitUsage;
    }
    NSQX_script::EnumMap table;
    NSQX_script::QXScriptEnumMgr::CopyEnumMap(table);
    const bool json = opts.format == "json";
    std::string out;
    for (const auto& [key, pairs] : table) {
        if (key.m_cmdId == 0 || (cmdFilter != 0 && key.m_cmdId != cmdFilter)) continue;
        if (opts.args.size() == 2 && key.m_paraName != opts.args[1]) continue;
        if (json) {
            nlohmann::ordered_json values = nlohmann::ordered_json::array();
            for (const NSQX_script::QXEnumPair& p : pairs) {
                values.push_back({{"name", p.m_name}, {"code", p.m_value}});
            }
            out += nlohmann::ordered_json{{"cmdid", key.m_cmdId},
                                          {"para", key.m_paraName},
                                          {"extendid", key.m_extendId},
                                          {"values", std::move(values)}}
                       .dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) +
                   "\n";
            continue;
        }
        for (const NSQX_script::QXEnumPair& p : pairs) {
            out += std::to_string(key.m_cmdId) + "\t" + EscapeForTerminal(key.m_paraName) + "\t" +
                   std::to_string(key.m_extendId) + "\t" + std::to_string(p.m_value) + "\t" +
                   EscapeForTerminal(p.m_name) + "\n";
        }
    }
    Output::Write(Output::Stream(), out);
    return Output::FlushOrSay() ? kExitOk : kExitUsage;
}

}  // namespace

int RunEnum(const CommonOptions&, const EnumOptions& opts) {
    if (opts.direction != "list" && opts.args.size() != 3) {
        Error(opts.direction + " takes CMDID PARA VALUE");
        return kExitUsage;
    }
    EnumTables tables;
    EnumSettings settings;
    settings.files.push_back(opts.config);
    std::string error;
    if (!tables.Load(settings, error)) {
        Error(error);
        return kExitUsage;
    }
    if (opts.direction == "list") return ListEnum(opts);
    unsigned long cmdId = 0;
    if (!qxp::QXStr2UInt(opts.args[0].c_str(), cmdId)) {
        Error("\"" + opts.args[0] + "\" is not a command code");
        return kExitUsage;
    }
    const std::string& para = opts.args[1];
    const std::string& value = opts.args[2];
    const std::string where = " for command " + std::to_string(cmdId) + ", parameter \"" + para +
                              "\", extend ID " + std::to_string(opts.extendId);
    if (opts.direction == "s2c") {
        long code = 0;
        if (NSQX_script::ValueS2C(code, value, cmdId, para, opts.extendId) != 1) {
            Error("no enumeration value named \"" + value + "\"" + where);
            return kExitFindings;
        }
        Output::Line(std::to_string(code));
    } else {
        long code = 0;
        if (!qxp::QXStr2Int(value.c_str(), code)) {
            Error("\"" + value + "\" is not a decimal code");
            return kExitUsage;
        }
        std::string name;
        if (NSQX_script::ValueC2S(name, code, cmdId, para, opts.extendId) != 1) {
            Error("no enumeration value with code " + value + where);
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
