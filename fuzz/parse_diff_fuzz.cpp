// The hand-written parser against the generated one. Whenever the hand-written parser claims a
// command, the generated parser must accept the same text with the very same tree, value types
// included. Each input is tried as it is and, to reach the shapes that the hand-written parser
// must claim, as the seed of a typical command, which it must not decline.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz/TreeEqual.h"
#include "parser/FastParser.h"
#include "parser/Grammar.h"
#include "parser/ParseBuilder.h"
#include "parser/SampleCommands.h"
#include "qx_scriptutil/ScriptParser.h"

using namespace NSQX_script;

namespace {

using tree_equal::Same;

[[noreturn]] void Fail(const char* what, const std::string& text) {
    std::fprintf(stderr, "%s: [%s]\n", what, text.c_str());
    std::abort();
}

// Returns whether the hand-written parser claimed the text.
bool Check(const std::string& text) {
    // Both parse into records that hold the previous input's trees, as the script reader's does.
    static MMLCmdStruct fast;
    static MMLCmdStruct reference;
    const bool claimed = parser::FastParseCommand(text, fast);
    const int result = parser::ParseWithGrammar(text, reference);
    if (claimed && result != 0) Fail("claimed a text that the grammar refuses", text);
    if (claimed && !Same(fast, reference)) Fail("claimed with another tree", text);

    // The public entry gives the generated parser's answer, the fast path in front or not.
    MMLCmdStruct fresh;
    if (text.size() <= 131071 && AnalyseOneCommandEx(text, fresh) != result)
        Fail("entry result differs", text);
    if (text.size() <= 131071 && !Same(fresh, reference)) Fail("entry tree differs", text);
    return claimed;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // Ranges of millions of values would take most of the time; the cap has its unit test.
    parser::SetValueBudget(std::size_t{1} << 16);
    parser::SampleCommands typical(7u, true);
    for (int i = 0; i < 300; ++i) {
        const std::string text = typical.Command();
        if (!Check(text)) Fail("declined a typical command", text);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    Check(text);

    std::uint32_t seed = 2166136261u;
    for (std::size_t i = 0; i < size && i < 64; ++i) seed = (seed ^ data[i]) * 16777619u;
    const std::string typical = parser::SampleCommands(seed, true).Command();
    if (!Check(typical)) Fail("declined a typical command", typical);
    return 0;
}
