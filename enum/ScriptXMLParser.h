#pragma once

#include <expat.h>

#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "qx_scriptutil/EnumMap.h"

namespace NSQX_script {

// Reads "script_enum.xml" with expat into an enumeration map: each "Para" of type "enum"
// becomes one entry (plain insert, duplicates kept). Owns its expat parser; confined to the
// thread of QXScriptEnumMgr::Init, which holds the manager's write lock over the destination.
class ScriptXMLParser {
  public:
    explicit ScriptXMLParser(EnumMap* dest) : m_pDest(dest) {}
    ~ScriptXMLParser();
    ScriptXMLParser(ScriptXMLParser const&) = delete;
    ScriptXMLParser& operator=(ScriptXMLParser const&) = delete;

    // Creates the expat parser with the handlers installed; false when expat cannot make one.
    bool Create();
    // Feeds the stream in 256-byte reads. On a parse error prints the message to standard
    // output and returns false; entries inserted before the error stay. Throws what a handler
    // threw (after expat has been stopped), so that no exception crosses expat's frames.
    bool ParseStream(std::FILE* stream, char const* fileName);

  private:
    static void XMLCALL OnStart(void* self, XML_Char const* name, XML_Char const** attrs);
    static void XMLCALL OnEnd(void* self, XML_Char const* name);
    static void XMLCALL OnXmlDecl(void* self, XML_Char const* version, XML_Char const* encoding,
                                  int standalone);
    void Start(char const* name, char const** attrs);
    void End(char const* name);

    XML_Parser m_parser = nullptr;

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

    std::exception_ptr m_handlerError;
};

}  // namespace NSQX_script
