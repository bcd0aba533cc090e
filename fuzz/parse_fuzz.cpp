// Any bytes parse to 0, 1 or kParseTooLong without crashing, leaking or hanging; parsing into
// a command that still holds an earlier tree gives the same tree as parsing into a fresh one;
// the detailed entry gives the same status and tree, a failure offset within the text, and
// every integer it read without a narrowing note equal to a text that stands for it.
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>

#include "fuzz/TreeEqual.h"
#include "parser/ParseBuilder.h"
#include "qx_scriptutil/ScriptParser.h"

using namespace NSQX_script;

namespace {

using tree_equal::Same;

bool IsWordByte(char c) {
    return (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'z') || c == '_' ||
           c == '-';
}

// The exact values of every run of identifier bytes that is written as an integer, decimal or
// hexadecimal, where the value fits 64 bits. Runs inside strings only add values.
std::set<std::int64_t> IntegerTexts(const std::string& text) {
    std::set<std::int64_t> values;
    for (std::size_t i = 0; i < text.size();) {
        if (!IsWordByte(text[i])) {
            ++i;
            continue;
        }
        std::size_t end = i;
        while (end < text.size() && IsWordByte(text[end])) ++end;
        const std::string run = text.substr(i, end - i);
        i = end;
        const bool hex = run.size() > 2 && run[0] == '0' && run[1] == 'x';
        const std::size_t digits = hex ? 2 : run[0] == '-' ? 1 : 0;
        if (digits == run.size()) continue;
        unsigned __int128 v = 0;
        bool ok = true;
        for (std::size_t k = digits; k < run.size() && ok; ++k) {
            const char c = run[k];
            int d = -1;
            if (c >= '0' && c <= '9') d = c - '0';
            if (hex && (c | 0x20) >= 'a' && (c | 0x20) <= 'f') d = (c | 0x20) - 'a' + 10;
            ok = d >= 0;
            v = v * (hex ? 16 : 10) + static_cast<unsigned>(d < 0 ? 0 : d);
            if (v > (static_cast<unsigned __int128>(1) << 64)) ok = false;
        }
        if (ok && v <= static_cast<unsigned __int128>(INT64_MAX) + 1)
            values.insert(run[0] == '-' ? static_cast<std::int64_t>(-static_cast<__int128>(v))
                                        : static_cast<std::int64_t>(v));
    }
    return values;
}

// Every 64-bit integer name and value: those read from one number each (range members are
// 32-bit).
void WideIntegers(const std::vector<MMLParaStruct>& list, std::set<std::int64_t>& out) {
    for (const MMLParaStruct& p : list) {
        if (p.name.GetType() == QXValue::kInt64) out.insert(p.name.AsLong());
        for (const QXValue& v : p.values)
            if (v.GetType() == QXValue::kInt64) out.insert(v.AsLong());
        for (const auto& group : p.objects) WideIntegers(group, out);
    }
}

}  // namespace

// Ranges of millions of values would take most of the time; the cap itself has its unit test.
extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    NSQX_script::parser::SetValueBudget(std::size_t{1} << 16);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    MMLCmdStruct fresh;
    const int result = AnalyseOneCommandEx(text, fresh);
    if (result != 0 && result != 1 && result != kParseTooLong) std::abort();

    // Keeps the tree of the previous input, so every parse overwrites a different old tree.
    static MMLCmdStruct reused;
    if (AnalyseOneCommandEx(text, reused) != result || !Same(fresh, reused)) std::abort();
    if (AnalyseOneCommandEx(text, reused) != result || !Same(fresh, reused)) std::abort();

    const TParseResult detailed = AnalyseOneCommandDetailed(text, reused);
    if (detailed.status != result || !Same(fresh, reused)) std::abort();
    if (result != 0 && (detailed.offset > size || detailed.reason.empty())) std::abort();
    std::set<std::int64_t> read;
    WideIntegers(fresh.paraList, read);
    const std::set<std::int64_t> written = IntegerTexts(text);
    for (const TParseNote& note : detailed.notes) {
        if (note.offset + note.length > size || (result != 0 && note.offset >= detailed.offset))
            std::abort();
        if (note.kind != TParseNote::kNarrowedInteger) continue;
        const std::string::size_type as = note.message.rfind(" reads as ");
        if (as == std::string::npos) std::abort();
        read.erase(std::strtoll(note.message.c_str() + as + 10, nullptr, 10));
    }
    for (const std::int64_t v : read)
        if (written.count(v) == 0) std::abort();
    return 0;
}
