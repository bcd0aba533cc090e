#include "ScriptSource.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <set>

#include "ConfigRoot.h"
#include "ProgressBar.h"
#include "qx_platform/CodeSet.h"
#include "qx_platform/Files.h"
#include "qx_scriptutil/CmdNameConvert.h"

namespace qxscript {

using NSQX_script::TScriptCmd;
using NSQX_script::TScriptFileImpl;

namespace {

constexpr std::size_t kExcerptLength = 60;

struct Title {
    const char* text;
    unsigned int type;
};

// The titles the library writes into headers, by script type.
constexpr Title kTitles[] = {
    {"NE Configuration Data Script", 1},
    {"NE Port Name Script", 2},
    {"Network Config Script", 3},
    {"NE List Script", 4},
    {"Local NM Information", 5},
    {"Transmit Service Data Script", 6},
    {"Error List file", 7},
    {"MDS Config Script", 10},
    {"Template File", 15},
    {"Usercfgparam Information", 40},
};

}  // namespace

bool ScriptSource::Open(const std::string& path, std::string& error) {
    if (!CheckReadableFile(path, error)) return false;
    m_path = path;
    m_file = std::make_unique<TScriptFileImpl>(NSQX_script::kNeConfigScript);
    if (!m_file->OpenForRead(NSQX_script::kNeConfigScript, nullptr, path.c_str())) {
        const int err = qxp::OrinGetLastError();
        error = path + ": " + (err != 0 ? SystemError(err) : std::string("cannot be opened"));
        return false;
    }
    return true;
}

unsigned long ScriptSource::ForEach(const std::function<bool(TScriptCmd&)>& visit) {
    ProgressBar bar(m_path);
    unsigned long count = 0;
    TScriptCmd cmd;
    m_file->GoToFirstCommand();
    while (m_file->GetOneCommand(cmd)) {
        ++count;
        bar.At(cmd.GetLineNo());
        if (!visit(cmd)) break;
    }
    return count;
}

std::vector<unsigned long> ScriptSource::FailedLines() const {
    std::vector<unsigned long> lines;
    for (const NSQX_script::TScriptResult& r : m_file->GetCmdAnalyzedResult()) {
        lines.push_back(static_cast<unsigned long>(r.m_kind));
    }
    return lines;
}

std::vector<std::string> ScriptSource::HeaderLines() const {
    std::vector<std::string> lines;
    std::ifstream in(m_path, std::ios::binary);
    std::string line;
    while (lines.size() < 16 && std::getline(in, line) && line.rfind("//", 0) == 0) {
        std::string text = line.substr(2);
        text.erase(0, text.find_first_not_of(' '));
        while (!text.empty() && (text.back() == ' ' || text.back() == '\r')) text.pop_back();
        lines.push_back(text);
    }
    return lines;
}

unsigned int ScriptSource::HeaderScriptType() const {
    for (const std::string& text : HeaderLines()) {
        for (const Title& t : kTitles) {
            if (text == t.text) return t.type;
        }
    }
    return 0;
}

std::string ScriptSource::HeaderEmsVersion() const {
    static const std::string kPrefix = "EMS version = ";
    for (const std::string& text : HeaderLines()) {
        if (text.rfind(kPrefix, 0) == 0) return text.substr(kPrefix.size());
    }
    return std::string();
}

std::vector<unsigned long> InvalidLines(const std::string& path, const std::string& encoding,
                                        std::size_t limit) {
    std::vector<unsigned long> lines;
    if (encoding == "ISO8859-1") return lines;  // every byte is a character
    std::ifstream in(path, std::ios::binary);
    std::string line;
    std::string converted;
    for (unsigned long lineNo = 1; lines.size() < limit && std::getline(in, line); ++lineNo) {
        const bool ascii = std::all_of(line.begin(), line.end(),
                                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
        if (!ascii && !qxp::OrinCodeSetConvert(encoding.c_str(), "UTF-8", line, converted)) {
            lines.push_back(lineNo);
        }
    }
    return lines;
}

std::map<unsigned long, std::string> Excerpts(const std::string& path, const std::string& encoding,
                                              const std::vector<unsigned long>& lines) {
    std::map<unsigned long, std::string> out;
    const std::set<unsigned long> wanted(lines.begin(), lines.end());
    if (wanted.empty()) return out;
    // A command's line is the one with its ";" (or the end of the file): the excerpt is the
    // last line up to there that holds something.
    std::ifstream in(path, std::ios::binary);
    std::string line;
    std::string last;
    auto next = wanted.begin();
    for (unsigned long lineNo = 1; next != wanted.end(); ++lineNo) {
        const bool more = static_cast<bool>(std::getline(in, line));
        if (more && line.find_first_not_of(" \t\r") != std::string::npos) last = line;
        if (more && lineNo < *next) continue;
        std::string text;
        if (!qxp::OrinCodeSetConvert(encoding.c_str(), "UTF-8", last, text)) {
            text.clear();  // raw bytes would garble the terminal; keep the ASCII
            for (char c : last) text += static_cast<unsigned char>(c) < 0x80 ? c : '?';
        }
        std::replace(text.begin(), text.end(), '\t', ' ');
        text.erase(0, text.find_first_not_of(" \r"));
        while (!text.empty() && (text.back() == ' ' || text.back() == '\r')) text.pop_back();
        if (text.size() > kExcerptLength) {
            std::size_t cut = kExcerptLength;
            while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) --cut;
            text = text.substr(0, cut) + "...";
        }
        for (; next != wanted.end() && (*next <= lineNo || !more); ++next) out[*next] = text;
    }
    return out;
}

std::string CommandName(unsigned long code) {
    std::string name;
    if (!NSQX_script::CmdNameConvert::GetCorrespondCmdName(name, code)) {
        name = "#" + std::to_string(code);
    }
    return name;
}

}  // namespace qxscript
