#include "enum/ScriptXMLParser.h"

#include <cstring>
#include <exception>

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

ScriptXMLParser::~ScriptXMLParser() {
    if (m_parser != nullptr) XML_ParserFree(m_parser);
}

bool ScriptXMLParser::Create() {
    m_parser = XML_ParserCreate_MM(nullptr, nullptr, nullptr);
    if (m_parser == nullptr) return false;
    XML_SetElementHandler(m_parser, &ScriptXMLParser::OnStart, &ScriptXMLParser::OnEnd);
    XML_SetXmlDeclHandler(m_parser, &ScriptXMLParser::OnXmlDecl);
    XML_SetUserData(m_parser, this);
    return true;
}

bool ScriptXMLParser::ParseStream(std::FILE* stream, char const* fileName) {
    bool ok = true;
    while (!std::feof(stream)) {
        void* buffer = XML_GetBuffer(m_parser, kReadSize);
        if (buffer == nullptr) throw std::bad_alloc();
        const std::size_t got = std::fread(buffer, 1, kReadSize, stream);
        // The final flag goes only with an empty read: a last short read that already reached
        // the end leaves an unclosed element unreported.
        const XML_Status status =
            XML_ParseBuffer(m_parser, static_cast<int>(got), got == 0 ? XML_TRUE : XML_FALSE);
        if (m_handlerError) std::rethrow_exception(m_handlerError);
        if (status == XML_STATUS_ERROR) {
            char const* text = XML_ErrorString(XML_GetErrorCode(m_parser));
            if (fileName != nullptr && fileName[0] != '\0') {
                std::printf("Parse error in file %s, at line %d:\n%s\n", fileName,
                            static_cast<int>(XML_GetCurrentLineNumber(m_parser)),
                            text != nullptr ? text : "");
            } else {
                std::printf("Parse error:\n%s\n", text != nullptr ? text : "");
            }
            std::fflush(stdout);
            ok = false;
            break;
        }
    }
    return ok;
}

void XMLCALL ScriptXMLParser::OnStart(void* self, XML_Char const* name, XML_Char const** attrs) {
    auto* parser = static_cast<ScriptXMLParser*>(self);
    try {
        parser->Start(name, attrs);
    } catch (...) {
        parser->m_handlerError = std::current_exception();
        XML_StopParser(parser->m_parser, XML_FALSE);
    }
}

void XMLCALL ScriptXMLParser::OnEnd(void* self, XML_Char const* name) {
    auto* parser = static_cast<ScriptXMLParser*>(self);
    try {
        parser->End(name);
    } catch (...) {
        parser->m_handlerError = std::current_exception();
        XML_StopParser(parser->m_parser, XML_FALSE);
    }
}

void XMLCALL ScriptXMLParser::OnXmlDecl(void*, XML_Char const*, XML_Char const*, int) {}

void ScriptXMLParser::Start(char const* name, char const** attrs) {
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

void ScriptXMLParser::End(char const* name) {
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
