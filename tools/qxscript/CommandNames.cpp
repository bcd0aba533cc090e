#include "CommandNames.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <sstream>
#include <unordered_set>
#include <utility>

#include "FileChecks.h"
#include "NameLock.h"
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

thread_local std::vector<std::string> t_unknownHere;

void NoteUnknown(NameState& s, const std::string& name) {
    if (std::find(t_unknownHere.begin(), t_unknownHere.end(), name) == t_unknownHere.end()) {
        t_unknownHere.push_back(name);
    }
    if (NameLock::Enabled()) return;  // workers keep them per file, on their own threads
    if (std::find(s.unknown.begin(), s.unknown.end(), name) == s.unknown.end()) {
        s.unknown.push_back(name);
    }
}

// Runs on the thread that reads, holding a NameLock slot when workers read at once.
bool SeeCommand(NSQX_script::MMLCmdStruct& cmd) {
    NameState& s = State();
    const std::string& name = cmd.cmdName;
    if (name.empty() || s.known.count(name) != 0) return true;
    unsigned long code = 0;
    const bool registered = CmdNameConvert::GetCorrespondCmdID(name.c_str(), code);
    if (!registered && !s.autoRegister) {
        NoteUnknown(s, name);
        return true;
    }
    NameLock::Learn([&] { return s.known.count(name) != 0; },
                    [&] {
                        if (CmdNameConvert::GetCorrespondCmdID(name.c_str(), code)) {
                            s.known.insert(name);
                        } else {
                            CommandNames::Register(name, s.nextCode);
                        }
                    });
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

std::vector<std::string> CommandNames::TakeUnknownHere() {
    return std::exchange(t_unknownHere, {});
}

}  // namespace qxscript
