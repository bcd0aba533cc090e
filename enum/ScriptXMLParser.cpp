#include "enum/ScriptXMLParser.h"

#include <cstring>

#include "qx_platform/Xml.h"

namespace NSQX_script {

namespace {

constexpr int kReadSize = 256;

// An absent or non-numeric attribute reads as 0 or the empty text.
std::int32_t AttrInt32(char const** attrs, char const* name) {
    long value = 0;
    if (!qxp::XmlAttrInt(attrs, name, value)) return 0;
    return static_cast<std::int32_t>(value);
}

std::string AttrText(char const** attrs, char const* name) {
    std::string value;
    if (!qxp::XmlAttrText(attrs, name, value)) value.clear();
    return value;
}

}  // namespace

bool ScriptXMLParser::Create() {
    return m_parser.Create(this);
}

bool ScriptXMLParser::ParseStream(std::FILE* stream, char const* fileName) {
    bool ok = true;
    char buffer[kReadSize];
    while (!std::feof(stream)) {
        const std::size_t got = std::fread(buffer, 1, kReadSize, stream);
        // The final flag goes only with an empty read: a last short read that already reached
        // the end leaves an unclosed element unreported.
        if (!m_parser.Feed(buffer, got, got == 0)) {
            char const* text = m_parser.ErrorText();
            if (fileName != nullptr && fileName[0] != '\0') {
                std::printf("Parse error in file %s, at line %d:\n%s\n", fileName,
                            static_cast<int>(m_parser.ErrorLine()), text);
            } else {
                std::printf("Parse error:\n%s\n", text);
            }
            std::fflush(stdout);
            ok = false;
            break;
        }
    }
    return ok;
}

void ScriptXMLParser::OnStart(char const* name, char const** attrs) {
    if (std::strcmp(name, "Cmd") == 0) {
        m_cmdName = AttrText(attrs, "name");
        m_cmdId = static_cast<std::uint32_t>(AttrInt32(attrs, "cmdid"));
    } else if (std::strcmp(name, "Para") == 0) {
        m_paraType = AttrText(attrs, "type");
        m_paraName = AttrText(attrs, "name");
        m_extendId = AttrInt32(attrs, "extendid");
    } else if (std::strcmp(name, "Value") == 0) {
        m_valueNum = AttrInt32(attrs, "num");
        m_valueName = AttrText(attrs, "str");
    }
}

void ScriptXMLParser::OnEnd(char const* name) {
    if (std::strcmp(name, "Value") == 0) {
        m_pairs.emplace_back(m_valueNum, m_valueName);
        m_valueNum = 0;
        m_valueName.clear();
    } else if (std::strcmp(name, "Para") == 0) {
        if (m_paraType == "enum" && m_pDest != nullptr) {
            m_key.m_cmdId = m_cmdId;
            m_key.m_paraName = m_paraName;
            m_key.m_extendId = m_extendId;
            m_pDest->emplace(m_key, m_pairs);
        }
        m_paraName.clear();
        m_paraType.clear();
        m_extendId = 0;
        m_pairs.clear();
    } else if (std::strcmp(name, "Cmd") == 0) {
        m_cmdName.clear();
        m_cmdId = 0;
    }
}

}  // namespace NSQX_script
