// The script reader's gatherer against the gatherer's rules taken one byte at a time: every
// command text, the line it ends on, where reading stops (the end of the file or the board
// information marker) and the line of a block comment left open must be the same, with and
// without a diagnostic sink. The first input byte may place the rest across a refill of the
// reader's buffer and repeat it past the longest text the parser takes, so that the buffered
// runs meet both ends.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "file/ScriptReader.h"
#include "fuzz/FuzzFiles.h"
#include "fuzz/GatherByByte.h"

using namespace NSQX_script;

namespace {

using gather_rules::GatherByByte;
using gather_rules::Gathered;

class Quiet : public TScriptDiagnosticSink {
  public:
    void Report(const TScriptDiagnostic&) override {}
};

Gathered GatherByReader(const std::string& path, bool withSink) {
    Quiet sink;
    ScriptContext context;
    context.encoding = "UTF-8";
    if (withSink) context.sink = &sink;
    ScriptReader reader;
    if (!reader.Open(*fuzz_files::Memory(), path).ok()) std::abort();
    Gathered out;
    for (unsigned long line; (line = reader.GatherCommandText(context)) != 0;)
        out.texts.emplace_back(reader.Text(), line);
    out.openComment = reader.TakeOpenComment(context);
    return out;
}

[[noreturn]] void Fail(const char* what, std::size_t index) {
    std::fprintf(stderr, "%s (text %zu)\n", what, index);
    std::abort();
}

void Compare(const Gathered& expected, const Gathered& got) {
    if (expected.texts.size() != got.texts.size()) Fail("another number of texts", 0);
    for (std::size_t i = 0; i < expected.texts.size(); ++i) {
        if (expected.texts[i].first != got.texts[i].first) Fail("another text", i);
        if (expected.texts[i].second != got.texts[i].second) Fail("another line", i);
    }
    if (expected.openComment != got.openComment) Fail("another open comment", 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    // A comment line before the input may put its bytes up to 32 bytes before a refill of the
    // reader's 64 KiB buffer; one input in eight is repeated past the longest text kept.
    std::string bytes;
    if ((data[0] & 0x80) != 0) {
        bytes = "//";
        bytes.append((1u << 16) - 32 + (data[0] & 15) - 3, ' ');
        bytes += '\n';
    }
    const std::string input(reinterpret_cast<const char*>(data) + 1, size - 1);
    bytes += input;
    if ((data[0] & 0x70) == 0x70 && !input.empty()) {
        while (bytes.size() < GatheredBytes::kCapacity + 64) bytes += input;
    }

    static const std::string path = "gather.txt";
    if (!fuzz_files::Store(path, bytes.data(), bytes.size())) return 0;
    const Gathered expected = GatherByByte(bytes);
    Compare(expected, GatherByReader(path, false));
    Compare(expected, GatherByReader(path, true));
    return 0;
}
