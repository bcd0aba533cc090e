// A command that parses, laid out as the script writer writes it, parses again to the same tree,
// and laying that tree out again gives the same text: what an export writes, an import reads back.
// The parser keeps a quoted string without its quotes, and the writer writes a value's text as it
// stands, so a plug-in puts the quotes back when it adds such a value; the target does the same
// for every string that would not read back as a bare identifier.
//
// Integers compare by their low 32 bits: a member of a range is a 32-bit integer and the same
// number written alone reads back as a 64-bit one, and a hexadecimal number is read as unsigned
// 32 bits (0xFFFFFFFF is 4294967295) while the decimal text the writer makes of it is narrowed
// to signed 32 bits (-1). So the text is stable from the second writing on, not always the first.
//
// Outside this promise, and skipped: a parameter without a name (the writer traces it and the
// text cannot name it), a parameter with neither values nor groups (written as "A=", which the
// grammar does not take), and a written text beyond the parser's length limit (ranges expand).
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "cmd/CommandLayout.h"
#include "fuzz/TreeEqual.h"
#include "parser/ParseBuilder.h"
#include "qx_scriptutil/ScriptParser.h"

using namespace NSQX_script;

namespace {

bool Digits(std::string_view s, bool hex) {
    if (s.empty()) return false;
    for (char c : s)
        if (!(c >= '0' && c <= '9') && !(hex && ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'))))
            return false;
    return true;
}

// Whether the text scans as one identifier: a run of letters, digits, "_" and "-" that is neither
// a decimal nor a hexadecimal number.
bool BareIdentifier(std::string_view s) {
    if (s.empty()) return false;
    for (char c : s)
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '_' && c != '-') return false;
    const std::string_view unsigned_part = s[0] == '-' ? s.substr(1) : s;
    if (Digits(unsigned_part, false)) return false;
    return !(s.size() > 2 && s[0] == '0' && s[1] == 'x' && Digits(s.substr(2), true));
}

void QuoteStrings(QXValue& value) {
    if (value.GetType() == QXValue::kString && !BareIdentifier(value.StringRef()))
        value = QXValue("\"" + value.As_std_string() + "\"", true);
}

void QuoteStrings(std::vector<MMLParaStruct>& paras) {
    for (MMLParaStruct& para : paras) {
        QuoteStrings(para.name);
        for (QXValue& value : para.values) QuoteStrings(value);
        for (std::vector<MMLParaStruct>& group : para.objects) QuoteStrings(group);
    }
}

bool SameValue(const QXValue& a, const QXValue& b) {
    const auto integer = [](const QXValue& v) {
        return v.GetType() == QXValue::kInt32 || v.GetType() == QXValue::kInt64;
    };
    if (integer(a) && integer(b))
        return static_cast<std::uint32_t>(a.AsLong()) == static_cast<std::uint32_t>(b.AsLong());
    return tree_equal::SameValue(a, b);
}

// A tree a script can hold: named parameters, each with values or groups, not none and not both
// (a backward name range before groups leaves values beside groups, "8&&7={b=1}&{c=2}", which
// no script text writes back).
bool Writable(const std::vector<MMLParaStruct>& paras) {
    for (const MMLParaStruct& para : paras) {
        if (para.name.StringRef().empty()) return false;
        if (para.values.empty() == para.objects.empty()) return false;
        for (const std::vector<MMLParaStruct>& group : para.objects)
            if (!Writable(group)) return false;
    }
    return true;
}

std::string Written(CommandLayout& layout, const MMLCmdStruct& cmd) {
    std::vector<MMLParaStruct> quoted = cmd.paraList;
    QuoteStrings(quoted);
    layout.Clear();
    layout.AppendNamed(cmd.cmdName, quoted);
    return layout.Text();
}

// Writes the tree, reads the text back into into and checks that nothing changed on the way.
// False when the text is beyond the parser's length limit.
bool RoundTrip(CommandLayout& layout, const MMLCmdStruct& from, MMLCmdStruct& into,
               std::string& text) {
    text = Written(layout, from);
    const int result = AnalyseOneCommandEx(text, into);
    if (result == kParseTooLong) return false;
    if (result != 0 || from.cmdName != into.cmdName ||
        !tree_equal::SameList(from.paraList, into.paraList, SameValue))
        std::abort();
    return true;
}

}  // namespace

// Ranges of millions of values would take most of the time; the cap itself has its unit test.
extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    NSQX_script::parser::SetValueBudget(std::size_t{1} << 16);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static MMLCmdStruct first;
    static MMLCmdStruct second;
    static MMLCmdStruct third;
    static CommandLayout layout;
    static std::string once;
    static std::string twice;

    const std::string text(reinterpret_cast<const char*>(data), size);
    if (AnalyseOneCommandEx(text, first) != 0 || first.cmdName.empty() || !Writable(first.paraList))
        return 0;
    if (!RoundTrip(layout, first, second, once) || !RoundTrip(layout, second, third, twice))
        return 0;
    if (Written(layout, third) != twice) std::abort();
    return 0;
}
