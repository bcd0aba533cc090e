#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "qx_platform/Strings.h"
#include "qx_platform/Trace.h"
#include "qx_scriptutil/EnumMap.h"
#include "qx_scriptutil/ScriptParser.h"
#include "qx_scriptutil/Escaping.h"
#include "qx_scriptutil/TScriptCmd.h"
#include "util/SafeString.h"

namespace NSQX_script {

namespace {

// Only this parameter carries texts large enough to need a limit.
constexpr char kBelongsName[] = "belongs";
constexpr std::size_t kBelongsLimit = 100000;
constexpr std::size_t kNotFound = static_cast<std::size_t>(-1);

// Runs an operation so that no exception leaves the library: a throw is a failed operation.
template <class Op>
bool NoThrow(Op&& op) noexcept {
    try {
        return op();
    } catch (...) {
        return false;
    }
}

bool NameIs(QXValue const& name, char const* wanted) {
    if (name.IsStringTypeEx()) return name.StringRef() == wanted;
    return name.As_std_string() == wanted;
}

// One value as text: a trailing backslash-dollar loses its dollar, then escaping is undone.
void TextOfValue(QXValue const& value, CStdString& out) {
    std::string text = value.As_std_string();
    const std::size_t n = text.size();
    if (n >= 2 && text[n - 2] == '\\' && text[n - 1] == '$') text.pop_back();
    std::string plain;
    UnConvertSpecialCharInStr(plain, text);
    out.assign(plain);
}

// Enumeration name first, then an integer text, then a number's integer part.
bool IntOfValue(QXValue const& value, unsigned long cmdCode, std::string const& paraName,
                int& out) {
    if (!value.IsStringTypeEx() && !value.IsNumericTypeEx()) return false;
    const std::string text = value.As_std_string();
    long number = 0;
    if (ValueS2C(number, text, cmdCode, paraName, 0) != 0 ||
        qxp::QXStr2Int(text.c_str(), number, 10)) {
        out = static_cast<int>(number);
        return true;
    }
    if (value.IsNumericTypeEx()) {
        out = value.AsInt();
        return true;
    }
    return false;
}

// Enumeration name first, then a number, then a text that is a whole decimal fraction.
bool FloatOfValue(QXValue const& value, unsigned long cmdCode, std::string const& paraName,
                  float& out) {
    if (!value.IsStringTypeEx() && !value.IsNumericTypeEx()) return false;
    const std::string text = value.As_std_string();
    long code = 0;
    if (ValueS2C(code, text, cmdCode, paraName, 0) != 0) {
        out = static_cast<float>(code);
        return true;
    }
    if (value.IsNumericTypeEx()) {
        out = value.AsFloat();
        return true;
    }
    char* end = nullptr;
    const float parsed = std::strtof(text.c_str(), &end);
    if (text.empty() || end != text.c_str() + text.size()) return false;
    out = parsed;
    return true;
}

bool ReadText(MMLParaStruct const& para, CStdString& value) {
    if (para.values.size() != 1) return false;
    TextOfValue(para.values.front(), value);
    return true;
}

bool ReadTexts(MMLParaStruct const& para, std::vector<CStdString>& values, unsigned int count) {
    if (count != 0 && count != para.values.size()) return false;
    values.clear();
    values.reserve(para.values.size());
    for (auto const& value : para.values) {
        values.emplace_back();
        TextOfValue(value, values.back());
    }
    return true;
}

bool ReadInt(MMLParaStruct const& para, unsigned long cmdCode, int& value) {
    if (para.values.size() != 1) return false;
    return IntOfValue(para.values.front(), cmdCode, para.name.As_std_string(), value);
}

bool ReadFloat(MMLParaStruct const& para, unsigned long cmdCode, float& value) {
    if (para.values.size() != 1) return false;
    return FloatOfValue(para.values.front(), cmdCode, para.name.As_std_string(), value);
}

bool ReadInts(MMLParaStruct const& para, unsigned long cmdCode, std::vector<int>& values,
              unsigned int count) {
    if (count != 0 && count != para.values.size()) return false;
    values.clear();
    const std::string paraName = para.name.As_std_string();
    for (auto const& value : para.values) {
        int number = 0;
        if (IntOfValue(value, cmdCode, paraName, number)) values.push_back(number);
    }
    return true;
}

// Zero-extends, so that codes written as negative 32-bit numbers read back as unsigned.
unsigned long Widen(int value) {
    return static_cast<unsigned int>(value);
}

bool ReadUnsignedInts(MMLParaStruct const& para, unsigned long cmdCode,
                      std::vector<unsigned long>& values, unsigned int count) {
    std::vector<int> ints;
    if (!ReadInts(para, cmdCode, ints, count)) return false;
    values.clear();
    values.reserve(ints.size());
    for (int v : ints) values.push_back(Widen(v));
    return true;
}

// The stored text of a value to add; see TScriptCmdRef::AddPara.
std::string PrepareValue(std::string const& text, bool asOneString) {
    const bool quoted =
        text.size() >= 2 && text.front() == '"' && text.rfind('"') == text.size() - 1;
    const bool unquote = quoted && !asOneString;
    std::string inner = unquote ? text.substr(1, text.size() - 2) : text;
    std::string prepared;
    if (unquote) prepared.push_back('"');
    if (inner.find("\"&\"") == std::string::npos && (asOneString || quoted)) {
        ConvertSpecialCharInStr(prepared, inner);
    } else {
        prepared += inner;
    }
    if (unquote) prepared.push_back('"');
    return prepared;
}

// Divides a value text into the values the parser would see: at every "&" outside quotes,
// square brackets and braces, except the "&&" of a range.
void SplitValues(std::string const& text, std::vector<QXValue>& values) {
    std::size_t start = 0;
    int braces = 0;
    bool inQuotes = false;
    bool inBrackets = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inQuotes || inBrackets) {
            if (c == '\\') {
                ++i;
            } else if ((inQuotes && c == '"') || (inBrackets && c == ']')) {
                inQuotes = inBrackets = false;
            }
            continue;
        }
        if (c == '"') {
            inQuotes = true;
        } else if (c == '[') {
            inBrackets = true;
        } else if (c == '{') {
            ++braces;
        } else if (c == '}') {
            --braces;
        } else if (c == '&' && braces == 0) {
            std::size_t run = 1;
            while (i + run < text.size() && text[i + run] == '&') ++run;
            // Pairs are ranges; an odd run ends with the separator.
            if (run % 2 == 1) {
                const std::size_t cut = i + run - 1;
                values.emplace_back(text.substr(start, cut - start), false);
                start = cut + 1;
            }
            i += run - 1;
        }
    }
    values.emplace_back(text.substr(start), false);
}

}  // namespace

bool TScriptCmdRef::GetPara(unsigned int index, MMLParaStruct& para) {
    return NoThrow([&] {
        if (m_pParaList == nullptr || index >= m_pParaList->size()) return false;
        para = (*m_pParaList)[index];
        return true;
    });
}

namespace {

// The parameter at index with its name delivered, or null.
MMLParaStruct const* AtIndex(std::vector<MMLParaStruct> const* list, unsigned int index,
                             CStdString& name) {
    if (list == nullptr || index >= list->size()) return nullptr;
    MMLParaStruct const& para = (*list)[index];
    name.assign(para.name.As_std_string());
    return &para;
}

std::size_t IndexOf(std::vector<MMLParaStruct> const* list, char const* name) {
    if (list == nullptr || name == nullptr) return kNotFound;
    for (std::size_t i = 0; i < list->size(); ++i) {
        if (NameIs((*list)[i].name, name)) return i;
    }
    return kNotFound;
}

// Finds the first parameter of that name, takes it out of the list when asked, and reads it.
template <class Read>
bool ReadByName(std::vector<MMLParaStruct>* list, char const* name, bool remove, Read&& read) {
    return NoThrow([&] {
        const std::size_t i = IndexOf(list, name);
        if (i == kNotFound) return false;
        if (!remove) return read((*list)[i]);
        MMLParaStruct taken = std::move((*list)[i]);
        list->erase(list->begin() + static_cast<std::ptrdiff_t>(i));
        return read(taken);
    });
}

}  // namespace

bool TScriptCmdRef::GetPara(unsigned int index, CStdString& name, CStdString& value) {
    return NoThrow([&] {
        auto const* para = AtIndex(m_pParaList, index, name);
        return para != nullptr && ReadText(*para, value);
    });
}

bool TScriptCmdRef::GetPara(unsigned int index, CStdString& name, std::vector<CStdString>& values,
                            unsigned int count) {
    return NoThrow([&] {
        auto const* para = AtIndex(m_pParaList, index, name);
        return para != nullptr && ReadTexts(*para, values, count);
    });
}

bool TScriptCmdRef::GetPara(unsigned int index, CStdString& name, int& value) {
    return NoThrow([&] {
        auto const* para = AtIndex(m_pParaList, index, name);
        return para != nullptr && ReadInt(*para, m_cmdCode, value);
    });
}

bool TScriptCmdRef::GetPara(unsigned int index, CStdString& name, unsigned long& value) {
    int number = 0;
    if (!GetPara(index, name, number)) return false;
    value = Widen(number);
    return true;
}

bool TScriptCmdRef::GetPara(unsigned int index, CStdString& name, float& value) {
    return NoThrow([&] {
        auto const* para = AtIndex(m_pParaList, index, name);
        return para != nullptr && ReadFloat(*para, m_cmdCode, value);
    });
}

bool TScriptCmdRef::GetPara(unsigned int index, CStdString& name, std::vector<int>& values,
                            unsigned int count) {
    return NoThrow([&] {
        auto const* para = AtIndex(m_pParaList, index, name);
        return para != nullptr && ReadInts(*para, m_cmdCode, values, count);
    });
}

bool TScriptCmdRef::GetPara(unsigned int index, CStdString& name,
                            std::vector<unsigned long>& values, unsigned int count) {
    return NoThrow([&] {
        auto const* para = AtIndex(m_pParaList, index, name);
        return para != nullptr && ReadUnsignedInts(*para, m_cmdCode, values, count);
    });
}

bool TScriptCmdRef::UpdatePara(unsigned int index, MMLParaStruct& para) {
    return NoThrow([&] {
        if (m_pParaList == nullptr || index >= m_pParaList->size()) return false;
        MMLParaStruct& target = (*m_pParaList)[index];
        if (&target != &para) target = para;
        return true;
    });
}

bool TScriptCmdRef::GetPara(char const* name, MMLParaStruct& para, bool remove) {
    return ReadByName(m_pParaList, name, remove, [&](MMLParaStruct const& found) {
        if (&found != &para) para = found;
        return true;
    });
}

bool TScriptCmdRef::GetPara(char const* name, CStdString& value, bool remove) {
    return ReadByName(m_pParaList, name, remove,
                      [&](MMLParaStruct const& found) { return ReadText(found, value); });
}

bool TScriptCmdRef::GetPara(char const* name, std::vector<CStdString>& values, unsigned int count,
                            bool remove) {
    return ReadByName(m_pParaList, name, remove,
                      [&](MMLParaStruct const& found) { return ReadTexts(found, values, count); });
}

bool TScriptCmdRef::GetPara(char const* name, int& value, bool remove) {
    return ReadByName(m_pParaList, name, remove,
                      [&](MMLParaStruct const& found) { return ReadInt(found, m_cmdCode, value); });
}

bool TScriptCmdRef::GetPara(char const* name, unsigned long& value, bool remove) {
    int number = 0;
    if (!GetPara(name, number, remove)) return false;
    value = Widen(number);
    return true;
}

bool TScriptCmdRef::GetPara(char const* name, float& value, bool remove) {
    return ReadByName(m_pParaList, name, remove, [&](MMLParaStruct const& found) {
        return ReadFloat(found, m_cmdCode, value);
    });
}

bool TScriptCmdRef::GetPara(char const* name, std::vector<int>& values, unsigned int count,
                            bool remove) {
    return ReadByName(m_pParaList, name, remove, [&](MMLParaStruct const& found) {
        return ReadInts(found, m_cmdCode, values, count);
    });
}

bool TScriptCmdRef::GetPara(char const* name, std::vector<unsigned long>& values,
                            unsigned int count, bool remove) {
    return ReadByName(m_pParaList, name, remove, [&](MMLParaStruct const& found) {
        return ReadUnsignedInts(found, m_cmdCode, values, count);
    });
}

bool TScriptCmdRef::AddPara(char const* name, char const* value, bool asOneString, bool split) {
    return NoThrow([&] {
        if (name == nullptr || name[0] == '\0' || m_pParaList == nullptr) return false;
        const bool empty = value == nullptr || value[0] == '\0';
        if (empty && !asOneString) return false;
        const std::string text = empty ? std::string() : std::string(value);
        if (std::strcmp(name, kBelongsName) == 0 && text.size() > kBelongsLimit) {
            qxp::QXTrace(qxp::kTraceError, "TScriptCmdRef::AddPara failed.");
            return false;
        }
        MMLParaStruct para;
        para.name = QXValue(name, false);
        std::string prepared = PrepareValue(text, asOneString);
        if (split) {
            SplitValues(prepared, para.values);
        } else {
            para.values.emplace_back(std::move(prepared), false);
        }
        m_pParaList->push_back(std::move(para));
        return true;
    });
}

bool TScriptCmdRef::AddPara(char const* name, int value, bool asOneString, bool split,
                            bool /*unused*/) {
    char text[32] = {};
    if (snprintf_s(text, sizeof text, "%d", value) < 0) {
        qxp::QXTrace(qxp::kTraceError, "snprintf_s failed.");
    }
    return AddPara(name, text, asOneString, split);
}

bool TScriptCmdRef::AddPara(char const* name, unsigned long value, bool asOneString, bool split) {
    return AddPara(name, static_cast<int>(value), asOneString, split, false);
}

bool TScriptCmdRef::AddPara(char const* name, std::vector<int> const& values, bool asOneString,
                            bool /*split*/, bool /*unused*/) {
    return NoThrow([&] {
        std::string text;
        char number[32] = {};
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (snprintf_s(number, sizeof number, "%d", values[i]) < 0) {
                qxp::QXTrace(qxp::kTraceError, "snprintf_s failed.");
            }
            if (i != 0) text.push_back('&');
            text += number;
        }
        // Always divided, so that the parameter holds one value per element.
        return AddPara(name, text.c_str(), asOneString, true);
    });
}

bool TScriptCmdRef::AddPara(char const* name, float value, bool asOneString) {
    char text[64] = {};
    if (snprintf_s(text, sizeof text, "%f", static_cast<double>(value)) < 0) {
        qxp::QXTrace(qxp::kTraceError, "snprintf_s failed.");
    }
    return AddPara(name, text, asOneString, false);
}

bool TScriptCmdRef::UpdatePara(char const* name, char const* value) {
    return NoThrow([&] {
        if (value == nullptr || value[0] == '\0') return false;
        const std::size_t i = IndexOf(m_pParaList, name);
        if (i == kNotFound) return false;
        MMLParaStruct& para = (*m_pParaList)[i];
        para.values.clear();
        para.values.emplace_back(PrepareValue(value, false), false);
        para.objects.clear();
        return true;
    });
}

bool TScriptCmdRef::UpdatePara(char const* name, std::vector<CStdString>& values) {
    return NoThrow([&] {
        if (values.empty()) return false;
        for (auto const& value : values) {
            if (value.empty()) return false;
        }
        const std::size_t i = IndexOf(m_pParaList, name);
        if (i == kNotFound) return false;
        std::vector<QXValue> prepared;
        prepared.reserve(values.size());
        for (auto const& value : values) prepared.emplace_back(PrepareValue(value, false), false);
        MMLParaStruct& para = (*m_pParaList)[i];
        para.values = std::move(prepared);
        para.objects.clear();
        return true;
    });
}

bool TScriptCmdRef::AddObjectPara(char const* text) {
    return NoThrow([&] {
        if (text == nullptr || text[0] == '\0' || m_pParaList == nullptr) return false;
        std::string command = ":x:{";
        command += text;
        command += "};";
        MMLCmdStruct parsed;
        if (AnalyseOneCommandEx(command, parsed) != 0 || parsed.paraList.empty()) return false;
        for (auto& para : parsed.paraList) m_pParaList->push_back(std::move(para));
        return true;
    });
}

bool TScriptCmd::GetObjectPara(char const* name, TScriptCmd& object, bool remove) {
    return ReadByName(m_pParaList, name, remove, [&](MMLParaStruct const& found) {
        if (found.objects.empty()) return false;
        std::vector<MMLParaStruct> nested;
        for (auto const& group : found.objects) {
            nested.insert(nested.end(), group.begin(), group.end());
        }
        object.m_paraList = std::move(nested);
        object.m_cmdCode = m_cmdCode;
        object.m_lineNo = m_lineNo;
        return true;
    });
}

}  // namespace NSQX_script
