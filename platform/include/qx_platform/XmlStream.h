#pragma once

#include <cstddef>
#include <memory>

#include "qx_platform/Export.h"

namespace qxp {

// Receives the elements of a document as an XmlStreamParser reads them. Attributes come as an
// array of name, value, name, value, ..., nullptr, valid during the call. A handler may throw:
// the parser stops and Feed rethrows once it is out of the XML library's frames.
class QXP_API XmlStreamHandler {
  public:
    virtual ~XmlStreamHandler() = default;
    virtual void OnStart(const char* name, const char** attrs) = 0;
    virtual void OnEnd(const char* name) = 0;
};

// An incremental XML reader for callers that handle elements as they stream by instead of
// building a tree (see Xml.h for that). Owns its parser; the handler is not owned and must
// outlive it. Confined to one thread.
class QXP_API XmlStreamParser {
  public:
    XmlStreamParser();
    ~XmlStreamParser();
    XmlStreamParser(const XmlStreamParser&) = delete;
    XmlStreamParser& operator=(const XmlStreamParser&) = delete;

    // Makes the parser; false when the XML library cannot (out of memory).
    bool Create(XmlStreamHandler* handler);
    // Reads the next len bytes; final with the last block (which may be empty). False on a
    // malformed document: ErrorText and ErrorLine then say what and where.
    bool Feed(const char* data, std::size_t len, bool final);
    const char* ErrorText() const;
    unsigned long ErrorLine() const;
    // 1-based byte column on ErrorLine.
    unsigned long ErrorColumn() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace qxp
