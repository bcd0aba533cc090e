// Any bytes parse to 0, 1 or kParseTooLong without crashing, leaking or hanging, and parsing into
// a command that still holds an earlier tree gives the same tree as parsing into a fresh one.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "fuzz/TreeEqual.h"
#include "qx_scriptutil/ScriptParser.h"

using namespace NSQX_script;

namespace {

using tree_equal::Same;

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
