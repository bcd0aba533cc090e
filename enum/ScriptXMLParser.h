#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "qx_platform/XmlStream.h"
#include "qx_scriptutil/EnumMap.h"
#include "qx_scriptutil/ScriptConfig.h"

namespace NSQX_script {

// Reads "script_enum.xml" into an enumeration map as the platform's XML stream parser goes:
// each "Para" of type "enum" becomes one entry (plain insert, duplicates kept). Owns its
// parser; confined to the thread of QXScriptEnumMgr::Init, which holds the manager's write
// lock over the destination.
class ScriptXMLParser : private qxp::XmlStreamHandler {
  public:
    explicit ScriptXMLParser(EnumMap* dest) : m_pDest(dest) {}
    ScriptXMLParser(ScriptXMLParser const&) = delete;
    ScriptXMLParser& operator=(ScriptXMLParser const&) = delete;

    // Creates the parser with the handlers installed; false when it cannot be made.
    bool Create();
    // Feeds the stream in 256-byte reads; false on a malformed document, with entries inserted
    // before the error kept. Without error, prints the message to standard output; with it,
    // fills it in instead. With wholeDocument, a document that ends inside an element or a
    // failed read counts as malformed too; without it, as Init has always read, an unclosed
    // element is missed when the last read already reached the end. Throws what a handler
    // threw, once the XML parser has stopped.
    bool ParseStream(std::FILE* stream, char const* fileName, bool wholeDocument = false,
                     ScriptConfigError* error = nullptr);
    // Reads a document held in memory, whole; otherwise as ParseStream.
    bool ParseText(std::string const& text, char const* name, ScriptConfigError* error);

  private:
    void OnStart(char const* name, char const** attrs) override;
    void OnEnd(char const* name) override;
    bool Failed(char const* fileName, ScriptConfigError* error);

    qxp::XmlStreamParser m_parser;

    std::string m_cmdName;  // kept, not part of the key
    std::uint64_t m_cmdId = 0;
    std::string m_paraName;
    std::string m_paraType;
    std::int64_t m_extendId = 0;
    std::string m_valueName;
    std::int32_t m_valueNum = 0;
    QXEnumMapKey m_key;
    std::vector<QXEnumPair> m_pairs;
    EnumMap* m_pDest;
};

}  // namespace NSQX_script
