#pragma once

#include <list>
#include <vector>

#include "qx_scriptutil/Types.h"

namespace NSQX_script {

// The outcome of one operation of an import or export run. The calling tasks define what the
// three numbers mean; the first two identify the operation and order it, the third is its
// result. A value type, not locked.
struct QX_API TScriptOperationResult {
    unsigned long m_key1 = 0;
    unsigned long m_key2 = 0;
    unsigned long m_value = 0;

    TScriptOperationResult() = default;
    TScriptOperationResult(unsigned long key1, unsigned long key2, unsigned long value)
        : m_key1(key1), m_key2(key2), m_value(value) {}

    // By the first two fields; the result does not take part.
    bool operator<(const TScriptOperationResult& other) const;
};

// The outcome of one port operation. The first six fields identify the port and the operation
// and order it; the seventh is the result. The calling tasks define their meaning. A value type,
// not locked.
struct QX_API TScriptPortOperationResult {
    unsigned long m_key1 = 0;
    unsigned long m_key2 = 0;
    unsigned int m_key3 = 0;
    unsigned short m_key4 = 0;
    unsigned long m_key5 = 0;
    unsigned long m_key6 = 0;
    unsigned long m_value = 0;

    TScriptPortOperationResult() = default;
    TScriptPortOperationResult(unsigned long key1, unsigned long key2, unsigned int key3,
                               unsigned short key4, unsigned long key5, unsigned long key6,
                               unsigned long value)
        : m_key1(key1),
          m_key2(key2),
          m_key3(key3),
          m_key4(key4),
          m_key5(key5),
          m_key6(key6),
          m_value(value) {}

    // By the first six fields in order; the result does not take part.
    bool operator<(const TScriptPortOperationResult& other) const;
};

// The outcome of one script command or one matched command: a leading text, a caller-chosen
// kind, further text and a caller-chosen number. A value type that owns its texts; not locked.
struct QX_API TScriptResult {
    CStdString m_text;
    int m_kind = 0;
    CStdString m_detail;
    unsigned long m_value = 0;

    TScriptResult() = default;
    TScriptResult(const CStdString& text, int kind, const CStdString& detail, unsigned long value)
        : m_text(text), m_kind(kind), m_detail(detail), m_value(value) {}

    // By the text as a NUL-terminated string (bytes after an embedded NUL do not count), then
    // by kind; detail and value do not take part.
    bool operator<(const TScriptResult& other) const;
};

// Collects the results of a run in arrival order; nothing is sorted or merged on the way in.
// Owns its lists. Not locked: a collector is confined to one thread (see QXScriptErrMgr).
class QX_API TScriptManagementResult {
  public:
    void AppendOperationResult(unsigned long key1, unsigned long key2, unsigned long value);
    void AppendOperationResult(const std::list<TScriptOperationResult>& results);

    void AppendPortOperRslt(unsigned long key1, unsigned long key2, unsigned int key3,
                            unsigned short key4, unsigned long key5, unsigned long key6,
                            unsigned long value);
    void AppendPortOperRslt(const std::list<TScriptPortOperationResult>& results);

    // Note the argument order (text, kind, value, detail) differs from the field order.
    void AppendScriptResult(const CStdString& text, int kind, unsigned long value,
                            const CStdString& detail);
    void AppendScriptResult(const std::vector<TScriptResult>& results);
    void AppendScriptResult(const std::list<TScriptResult>& results);

    unsigned long GetOperationResultVectorSize() const { return m_operationResults.size(); }

    std::list<TScriptOperationResult> m_operationResults;
    std::list<TScriptPortOperationResult> m_portOperationResults;
    std::list<TScriptResult> m_scriptResults;
    unsigned long m_errorCode = 0;  // 0: no error
};

}  // namespace NSQX_script
