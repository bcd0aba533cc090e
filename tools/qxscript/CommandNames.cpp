#include "CommandNames.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <sstream>
#include <unordered_set>

#include "FileChecks.h"
#include "qx_platform/Strings.h"
#include "qx_platform/Xml.h"
#include "qx_scriptutil/CmdNameConvert.h"
#include "qx_scriptutil/PostAnalyse.h"
#include "qx_scriptutil/ScriptConfig.h"

namespace qxscript {

using NSQX_script::CmdNameConvert;

namespace {

struct NameState {
    bool autoRegister = true;
    unsigned long nextCode = 1;
    std::unordered_set<std::string> known;  // spares the map's scan for names seen before
    std::vector<std::string> unknown;
};

NameState& State() {
    static NameState state;
    return state;
}

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

bool SeeCommand(NSQX_script::MMLCmdStruct& cmd) {
    NameState& s = State();
    if (cmd.cmdName.empty() || s.known.count(cmd.cmdName) != 0) return true;
    unsigned long code = 0;
    if (CmdNameConvert::GetCorrespondCmdID(cmd.cmdName.c_str(), code)) {
        s.known.insert(cmd.cmdName);
    } else if (s.autoRegister) {
        CommandNames::Register(cmd.cmdName, s.nextCode);
    } else if (std::find(s.unknown.begin(), s.unknown.end(), cmd.cmdName) == s.unknown.end()) {
        s.unknown.push_back(cmd.cmdName);
    }
    return true;
}

const NSQX_script::AutoRegisterPostAnalyseFunc g_hook(&SeeCommand);

}  // namespace

void CommandNames::Register(const std::string& name, unsigned long code) {
    NameState& s = State();
    const std::string lower = Lower(name);
    CmdNameConvert::AddCmdNameIDMap(lower.c_str(), code);
    s.known.insert(lower);
    s.nextCode = std::max(s.nextCode, code + 1);
}

bool CommandNames::LoadEnumFile(const std::string& path, std::string& error) {
    if (!CheckReadableFile(path, error)) return false;
    qxp::XmlNode root;
    qxp::XmlError why;
    if (!qxp::XmlParseFile(path, root, &why)) {
        error = NSQX_script::ScriptConfigError{path, why.line, why.column, why.reason}.Text();
        return false;
    }
    for (const qxp::XmlNode& node : root.children) {
        if (node.name != "Cmd") continue;
        const char* name = node.Attribute("name");
        const char* id = node.Attribute("cmdid");
        unsigned long code = 0;
        // Code 0 holds the table's settings, not a command.
        if (name == nullptr || *name == '\0' || id == nullptr || !qxp::QXStr2UInt(id, code) ||
            code == 0) {
            continue;
        }
        Register(name, code);
    }
    return true;
}

bool CommandNames::LoadNamesFile(const std::string& path, std::string& error) {
    if (!CheckReadableFile(path, error)) return false;
    std::ifstream in(path);
    std::string line;
    for (int lineNo = 1; std::getline(in, line); ++lineNo) {
        std::istringstream fields(line);
        std::string id;
        std::string name;
        std::string extra;
        if (!(fields >> id) || id[0] == '#') continue;
        unsigned long code = 0;
        if (!qxp::QXStr2UInt(id.c_str(), code) || !(fields >> name) || (fields >> extra)) {
            error = path + ":" + std::to_string(lineNo) + ": expected \"ID NAME\"";
            return false;
        }
        Register(name, code);
    }
    return true;
}

void CommandNames::SetAutoRegister(bool on) {
    State().autoRegister = on;
}

const std::vector<std::string>& CommandNames::Unknown() {
    return State().unknown;
}

}  // namespace qxscript
