#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "qx_platform/Export.h"

namespace qxp {

// One element of a parsed XML document: name, attributes in document order, child elements.
// Text content is not kept. A value type.
struct QXP_API XmlNode {
    std::string name;
    std::vector<std::pair<std::string, std::string>> attributes;
    std::vector<XmlNode> children;

    // The value of the first attribute of that name, or nullptr.
    const char* Attribute(const char* attrName) const;
};

// Something that reads a parsed document. Returns 0 on success.
class QXP_API XmlInterpreter {
  public:
    virtual ~XmlInterpreter() = default;
    virtual int Interpret(const XmlNode& root) = 0;
};

// The host's XML interpreter registry: interpreters register under a name; parsing a file
// builds the element tree with expat and hands the root to the named interpreter. A missing or
// malformed file is traced (file name, line, expat's message) and calls no interpreter.
// Thread-safe; interpreters are not owned.
class QXP_API XmlInterpreterRegistry {
  public:
    static XmlInterpreterRegistry* Instance();

    void Register(const std::string& name, XmlInterpreter* interpreter);
    void Unregister(const std::string& name);
    XmlInterpreter* Find(const std::string& name) const;
    // Parses the file and calls the interpreter. Returns its result, or -1 when the file cannot
    // be read or parsed or no interpreter has that name.
    int ParseFile(const std::string& path, const std::string& interpreterName);

  private:
    XmlInterpreterRegistry() = default;
};

// Where and why a document could not be read. A value type.
struct QXP_API XmlError {
    unsigned long line = 0;    // 1-based; 0 when the file could not be opened
    unsigned long column = 0;  // 1-based byte column on that line; 0 when unknown
    std::string reason;
};

// Parses a whole file into a tree; false (with a trace) when it cannot be read or parsed, and
// then, when error is given, what went wrong and where.
QXP_API bool XmlParseFile(const std::string& path, XmlNode& root, XmlError* error = nullptr);

// Attribute helpers over an expat-style attribute array (name, value, name, value, ..., null).
// False when the attribute is absent (the output is then unchanged) or, for the integer
// reader, not a decimal number.
QXP_API bool XmlAttrText(const char** attrs, const char* name, std::string& value);
QXP_API bool XmlAttrInt(const char** attrs, const char* name, long& value);

}  // namespace qxp
