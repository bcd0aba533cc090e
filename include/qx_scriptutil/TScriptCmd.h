#pragma once

#include <string>
#include <utility>
#include <vector>

#include "qx_scriptutil/Types.h"

namespace NSQX_script {

// One parsed parameter: a tree node. A value type; copies are deep, nothing is shared.
// A parameter holds plain values or object groups, never both (a backward range may leave
// both empty).
// Copying and destroying walk the tree with a work list of their own, not the call stack, so
// a tree nested a hundred thousand groups deep is as safe as a flat one.
struct QX_API MMLParaStruct {
    QXValue name;
    std::vector<QXValue> values;
    std::vector<std::vector<MMLParaStruct>> objects;

    MMLParaStruct() = default;
    MMLParaStruct(const MMLParaStruct& other);
    MMLParaStruct(MMLParaStruct&& other) noexcept = default;
    MMLParaStruct& operator=(const MMLParaStruct& other);
    MMLParaStruct& operator=(MMLParaStruct&& other) noexcept;
    ~MMLParaStruct();
};

// One parsed command: its name as written and its top-level parameters. A value type.
struct QX_API MMLCmdStruct {
    std::string cmdName;
    std::vector<MMLParaStruct> paraList;
};

// A command viewed over a parameter vector that someone else owns; valid while that vector
// lives. Confined to the thread that uses it.
class QX_API TScriptCmdRef {
  public:
    TScriptCmdRef() = default;
    TScriptCmdRef(unsigned long cmdCode, std::vector<MMLParaStruct>* paraList, unsigned long lineNo)
        : m_cmdCode(cmdCode), m_pParaList(paraList), m_lineNo(lineNo) {}

    unsigned int GetSize() const {
        return m_pParaList ? static_cast<unsigned int>(m_pParaList->size()) : 0u;
    }
    unsigned long GetCmdCode() const { return m_cmdCode; }
    void SetCmdCode(unsigned long cmdCode) { m_cmdCode = cmdCode; }
    unsigned long GetLineNo() const { return m_lineNo; }
    // The referenced parameter vector (null when there is none).
    std::vector<MMLParaStruct>* GetParaListPtr() const { return m_pParaList; }
    void SetLineNo(unsigned long lineNo) { m_lineNo = lineNo; }

    // Ordered by command code alone: records of one code are equivalent.
    bool operator<(const TScriptCmdRef& other) const { return m_cmdCode < other.m_cmdCode; }

    // Destroys every parameter of the referenced vector, keeping its storage.
    void DeleteAllPara();

    // Reading by position; false when there is no list or the index is not below its size.
    // Text reads take a single value (a trailing backslash-dollar loses its dollar, escaping
    // is undone); text lists do the same per value. Integer and float reads try the
    // enumeration name (command code, parameter name, extend ID 0) first, then a whole decimal
    // text, then the number. The unsigned long forms zero-extend the 32-bit integer, so "-1"
    // reads as 0xFFFFFFFF.
    bool GetPara(unsigned int index, MMLParaStruct& para);
    bool GetPara(unsigned int index, CStdString& name, CStdString& value);
    bool GetPara(unsigned int index, CStdString& name, std::vector<CStdString>& values,
                 unsigned int count);
    bool GetPara(unsigned int index, CStdString& name, int& value);
    bool GetPara(unsigned int index, CStdString& name, unsigned long& value);
    bool GetPara(unsigned int index, CStdString& name, float& value);
    bool GetPara(unsigned int index, CStdString& name, std::vector<int>& values,
                 unsigned int count);
    bool GetPara(unsigned int index, CStdString& name, std::vector<unsigned long>& values,
                 unsigned int count);
    bool UpdatePara(unsigned int index, MMLParaStruct& para);

    // Reading by name (exact, case-sensitive; the first match wins); with remove set the
    // parameter is erased from the list once it has been read.
    bool GetPara(char const* name, MMLParaStruct& para, bool remove);
    bool GetPara(char const* name, CStdString& value, bool remove);
    bool GetPara(char const* name, std::vector<CStdString>& values, unsigned int count,
                 bool remove);
    bool GetPara(char const* name, int& value, bool remove);
    bool GetPara(char const* name, unsigned long& value, bool remove);
    bool GetPara(char const* name, float& value, bool remove);
    bool GetPara(char const* name, std::vector<int>& values, unsigned int count, bool remove);
    bool GetPara(char const* name, std::vector<unsigned long>& values, unsigned int count,
                 bool remove);

    // Adding: the new parameter is appended at the end of the list. asOneString: take the
    // whole text as one string value and escape it (otherwise only a quoted text is escaped,
    // inside its quotes). split: divide the prepared text at each "&" outside quotes, brackets
    // and braces (a range's "&&" stays whole) into one value each, as the parser would;
    // otherwise store it as one value, which the writer puts out unchanged.
    // The int list form always divides (one value per element); int values are stored as text.
    // UpdatePara by name replaces values (and groups) of the first match with the texts
    // prepared as AddPara(name, text, false, false) does; empty texts are refused.
    // AddObjectPara parses "NAME={...}&{...}" (any parameter text) as the body of a command
    // and appends every parameter it yields; a syntax error adds nothing.
    bool AddPara(char const* name, char const* value, bool asOneString, bool split);
    bool AddPara(char const* name, int value, bool asOneString, bool split, bool unused);
    bool AddPara(char const* name, unsigned long value, bool asOneString, bool split);
    bool AddPara(char const* name, std::vector<int> const& values, bool asOneString, bool split,
                 bool unused);
    bool AddPara(char const* name, float value, bool asOneString);
    bool UpdatePara(char const* name, char const* value);
    bool UpdatePara(char const* name, std::vector<CStdString>& values);
    bool AddObjectPara(char const* text);

  protected:
    unsigned long m_cmdCode = 0;
    std::vector<MMLParaStruct>* m_pParaList = nullptr;
    unsigned long m_lineNo = 0;
};

// A command that owns its parameter tree. m_pParaList always points at the object's own
// m_paraList, also after copying. A value type confined to the thread that uses it.
class QX_API TScriptCmd : public TScriptCmdRef {
  public:
    TScriptCmd() : TScriptCmdRef(0, nullptr, 0) { m_pParaList = &m_paraList; }
    explicit TScriptCmd(unsigned long cmdCode) : TScriptCmdRef(cmdCode, nullptr, 0) {
        m_pParaList = &m_paraList;
    }
    TScriptCmd(unsigned long cmdCode, std::vector<MMLParaStruct>& paraList, unsigned long lineNo)
        : TScriptCmdRef(cmdCode, nullptr, lineNo), m_paraList(paraList) {
        m_pParaList = &m_paraList;
    }
    TScriptCmd(const TScriptCmd& other)
        : TScriptCmdRef(other.m_cmdCode, nullptr, other.m_lineNo), m_paraList(other.m_paraList) {
        m_pParaList = &m_paraList;
    }
    TScriptCmd(TScriptCmd&& other) noexcept
        : TScriptCmdRef(other.m_cmdCode, nullptr, other.m_lineNo),
          m_paraList(std::move(other.m_paraList)) {
        m_pParaList = &m_paraList;
    }
    TScriptCmd& operator=(const TScriptCmd& other);
    TScriptCmd& operator=(TScriptCmd&& other) noexcept;
    ~TScriptCmd() = default;

    std::vector<MMLParaStruct>& GetParaList() { return m_paraList; }
    const std::vector<MMLParaStruct>& GetParaList() const { return m_paraList; }

    // The groups of the named object parameter as a command of their own: the parameters of
    // all groups in group order, with this command's code and line. Reading a name with
    // removal from the result thus walks the groups in turn. False for a parameter without
    // groups (which is still removed when asked).
    bool GetObjectPara(char const* name, TScriptCmd& object, bool remove);

  private:
    std::vector<MMLParaStruct> m_paraList;
};

}  // namespace NSQX_script
