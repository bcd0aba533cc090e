// Any bytes parse to 0, 1 or kParseTooLong without crashing, leaking or hanging, and parsing into
// a command that still holds an earlier tree gives the same tree as parsing into a fresh one.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "qx_scriptutil/ScriptParser.h"

using namespace NSQX_script;

namespace {

bool SameValue(const QXValue& a, const QXValue& b) {
    return a == b && a.StringRef() == b.StringRef();
}

bool SameList(const std::vector<MMLParaStruct>& a, const std::vector<MMLParaStruct>& b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (!SameValue(a[i].name, b[i].name) || a[i].values.size() != b[i].values.size() ||
            a[i].objects.size() != b[i].objects.size())
            return false;
        for (std::size_t j = 0; j < a[i].values.size(); ++j)
            if (!SameValue(a[i].values[j], b[i].values[j])) return false;
        for (std::size_t j = 0; j < a[i].objects.size(); ++j)
            if (!SameList(a[i].objects[j], b[i].objects[j])) return false;
    }
    return true;
}

bool Same(const MMLCmdStruct& a, const MMLCmdStruct& b) {
    return a.cmdName == b.cmdName && SameList(a.paraList, b.paraList);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    MMLCmdStruct fresh;
    const int result = AnalyseOneCommandEx(text, fresh);
    if (result != 0 && result != 1 && result != kParseTooLong) std::abort();

    // Keeps the tree of the previous input, so every parse overwrites a different old tree.
    static MMLCmdStruct reused;
    if (AnalyseOneCommandEx(text, reused) != result || !Same(fresh, reused)) std::abort();
    if (AnalyseOneCommandEx(text, reused) != result || !Same(fresh, reused)) std::abort();
    return 0;
}
