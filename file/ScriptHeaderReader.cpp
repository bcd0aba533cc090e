// The script header as the reader sees it: encoding, slot flag, version, title and lines.

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <string>

#include "qx_scriptutil/ScriptHeader.h"

namespace NSQX_script {
namespace {

// The reader looks for the encoding and slot flag lines this far, up to the first NUL, and
// for the version line half as far.
constexpr std::size_t kFlagWindow = 1024;
constexpr std::size_t kVersionWindow = 512;

// The encoding lines the reader takes, in the order it tests them.
constexpr const char* kEncodings[] = {"UTF-8", "ISO8859-1", "GBK"};

std::string EncodingLine(const char* encoding) {
    return std::string("// encoding=\"") + encoding + "\"";
}

unsigned long Hex(std::string_view s, std::size_t pos, std::size_t len) {
    unsigned int v = 0;
    if (std::sscanf(std::string(s.substr(pos, len)).c_str(), "%x", &v) != 1) return 0;
    return v;
}

// "VxRxxxCxxBxxx", such as V200R007C03B100. The last part is added without masking, so a
// build number of 0x100 or more carries into the byte above.
bool ParseLongVersion(std::string_view s, unsigned long& version) {
    if (s.size() != 15 || s[0] != 'V' || s[4] != 'R' || s[8] != 'C' || s[11] != 'B') return false;
    unsigned long v = Hex(s, 1, 1);
    v = v * 256 + Hex(s, 5, 3);
    v = v * 256 + Hex(s, 9, 2);
    v = v * 256 + Hex(s, 12, 3);
    version = v;
    return true;
}

// "VxRxxxCxx" and one more character, such as V100R002C01 and its newline. The generation is
// the first digit plus 2; the lowest byte is always 0.
bool ParseShortVersion(std::string_view s, unsigned long& version) {
    if (s.size() != 12 || s[0] != 'V' || s.find('R') != 4 || s.find('C', 8) != 8) return false;
    unsigned long v = Hex(s, 1, 1) + 2;
    v = v * 256 + Hex(s, 5, 3);
    v = (v * 256 + Hex(s, 9, 2)) * 256;
    version = v;
    return true;
}

std::string_view Slice(std::string_view text, std::size_t pos, std::size_t len) {
    return pos < text.size() ? text.substr(pos, len) : std::string_view();
}

unsigned long ReadVersion(std::string_view head) {
    unsigned long version = kDefaultScriptVersion;
    std::size_t at;
    if ((at = head.find("// Q5100 NM version = Q5100")) != std::string_view::npos) {
        if (!ParseLongVersion(Slice(head, at + 27, 15), version)) version = kDefaultScriptVersion;
    } else if ((at = head.find("// EMS version = Q5100")) != std::string_view::npos) {
        // The offset of 27 skips the five characters after the product name on purpose.
        if (!ParseLongVersion(Slice(head, at + 27, 15), version)) version = kDefaultScriptVersion;
    } else if ((at = head.find("// EMS version = Q5300")) != std::string_view::npos) {
        if (!ParseShortVersion(Slice(head, at + 22, 12), version)) version = 0x03010101;
    }
    return version;
}

bool MentionsEncoding(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return lower.find("encoding") != std::string::npos;
}

void ReadLines(std::string_view head, std::string_view window, TScriptHeader& header) {
    unsigned long number = 0;
    for (std::size_t pos = 0; pos < head.size();) {
        std::size_t end = head.find('\n', pos);
        const bool complete = end != std::string_view::npos;
        if (!complete) end = head.size();
        std::string_view text = head.substr(pos, end - pos);
        pos = end + 1;
        ++number;
        if (!text.empty() && text.back() == '\r') text.remove_suffix(1);
        const std::size_t first = text.find_first_not_of(" \t");
        if (first == std::string_view::npos) continue;
        if (text.compare(first, 2, "//") != 0) break;  // the body begins
        std::string_view body = text.substr(first + 2);
        const std::size_t from = body.find_first_not_of(' ');
        body = from == std::string_view::npos ? std::string_view() : body.substr(from);
        while (!body.empty() && body.back() == ' ') body.remove_suffix(1);
        header.lines.push_back({number, std::string(body)});
        if (header.scriptType == 0) header.scriptType = ScriptTypeOfTitle(body);
        // Taken when it lies whole in the window; any other mention of an encoding is not.
        const std::size_t at = window.find(text);
        const bool seen = at != std::string_view::npos && at + text.size() <= window.size();
        const bool recognised =
            seen && std::any_of(std::begin(kEncodings), std::end(kEncodings), [&](const char* e) {
                return text.find(EncodingLine(e)) != std::string_view::npos;
            });
        if (!recognised && MentionsEncoding(text)) {
            header.unrecognisedEncodingLines.push_back({number, std::string(text)});
        }
        if (!complete) break;
    }
}

}  // namespace

const std::vector<TScriptTypeTitle>& ScriptTypeTitles() {
    static const std::vector<TScriptTypeTitle> titles = {
        {kNeConfigScript, "NE Configuration Data Script"},
        {kNePortNameScript, "NE Port Name Script"},
        {kNetworkConfigScript, "Network Config Script"},
        {kNeListScript, "NE List Script"},
        {kLocalNmInfo, "Local NM Information"},
        {kTransmitServiceScript, "Transmit Service Data Script"},
        {kErrorListFile, "Error List file"},
        {kMdsConfigScript, "MDS Config Script"},
        {kTemplateFile, "Template File"},
        {kUserCfgParamInfo, "Usercfgparam Information"},
    };
    return titles;
}

const char* ScriptTypeTitle(unsigned int scriptType) {
    for (const TScriptTypeTitle& t : ScriptTypeTitles()) {
        if (t.type == scriptType) return t.title;
    }
    return nullptr;
}

unsigned int ScriptTypeOfTitle(std::string_view title) {
    for (const TScriptTypeTitle& t : ScriptTypeTitles()) {
        if (title == t.title) return t.type;
    }
    return 0;
}

TScriptHeader ReadScriptHeader(std::string_view head) {
    TScriptHeader header;
    std::string_view window = head.substr(0, std::min(head.size(), kFlagWindow));
    window = window.substr(0, window.find('\0'));
    for (const char* encoding : kEncodings) {
        if (window.find(EncodingLine(encoding)) != std::string_view::npos) {
            header.encoding = encoding;
            break;
        }
    }
    header.hasSlotFlag = window.find("// SlotFlagVer=") != std::string_view::npos;
    header.slotFlag11 = window.find("// SlotFlagVer=1.1") != std::string_view::npos;
    header.version = ReadVersion(window.substr(0, std::min(window.size(), kVersionWindow)));
    ReadLines(head, window, header);
    return header;
}

}  // namespace NSQX_script
