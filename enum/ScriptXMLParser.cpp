#include "enum/ScriptXMLParser.h"

#include <cerrno>
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

bool ScriptXMLParser::Failed(char const* fileName, ScriptConfigError* error) {
    char const* text = m_parser.ErrorText();
    if (error != nullptr) {
        *error = ScriptConfigError{fileName != nullptr ? fileName : "", m_parser.ErrorLine(),
                                   m_parser.ErrorColumn(), text};
    } else if (fileName != nullptr && fileName[0] != '\0') {
        std::printf("Parse error in file %s, at line %d:\n%s\n", fileName,
                    static_cast<int>(m_parser.ErrorLine()), text);
        std::fflush(stdout);
    } else {
        std::printf("Parse error:\n%s\n", text);
        std::fflush(stdout);
    }
    return false;
}

bool ScriptXMLParser::ParseStream(std::FILE* stream, char const* fileName, bool wholeDocument,
                                  ScriptConfigError* error) {
    char buffer[kReadSize];
    bool ended = false;
    while (!std::feof(stream)) {
        const std::size_t got = std::fread(buffer, 1, kReadSize, stream);
        if (wholeDocument && std::ferror(stream)) {
            const int err = errno;
            if (error != nullptr) {
                *error = ScriptConfigError{fileName != nullptr ? fileName : "",
                                           m_parser.ErrorLine(), 0, std::strerror(err)};
            }
            return false;
        }
        // The final flag goes only with an empty read: a last short read that already reached
        // the end leaves an unclosed element unreported unless the whole document is asked for.
        ended = got == 0;
        if (!m_parser.Feed(buffer, got, ended)) return Failed(fileName, error);
    }
    if (wholeDocument && !ended && !m_parser.Feed(buffer, 0, true)) {
        return Failed(fileName, error);
    }
    return true;
}

bool ScriptXMLParser::ParseText(std::string const& text, char const* name,
                                ScriptConfigError* error) {
    return m_parser.Feed(text.data(), text.size(), true) || Failed(name, error);
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
