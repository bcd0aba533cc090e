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

using namespace NSQX_script;

namespace {

using Texts = std::vector<std::pair<std::string, unsigned long>>;

struct Gathered {
    Texts texts;
    unsigned long openComment = 0;  // the line of a block comment that runs to the end
};

// The rules, one byte at a time, with the reader's limit: a text is kept up to
// GatheredBytes::kCapacity bytes; one that goes on past them with more than blanks is handed
// over cut and untrimmed, for the parser to refuse.
Gathered GatherByByte(const std::string& bytes) {
    static const char kMarker[] = "/*NeBoardInfo";
    constexpr std::size_t kKeep = GatheredBytes::kCapacity;
    Gathered out;
    std::string raw;
    enum { kText, kQuote, kEscape, kSlash, kLine, kBlock, kStar } state = kText;
    unsigned long line = 1;
    unsigned long commentLine = 0;
    int marker = 0;
    auto add = [&raw](char c) {
        if (!raw.empty() || c != ' ') raw.push_back(c);
    };
    auto take = [&] {
        std::string text = raw.substr(0, kKeep);
        if (raw.find_first_not_of(' ', kKeep) == std::string::npos) {
            const std::size_t first = text.find_first_not_of(' ');
            text = first == std::string::npos
                       ? std::string()
                       : text.substr(first, text.find_last_not_of(' ') + 1 - first);
        }
        out.texts.emplace_back(std::move(text), line);
        raw.clear();
    };
    for (const char c : bytes) {
        if (c == '\r') continue;
        if (c == '\n') ++line;
        marker = c == kMarker[marker] ? marker + 1 : 0;
        if (marker == 12) return out;
        const char blank = c == '\n' ? ' ' : c;
        switch (state) {
            case kText:
                if (c == '/') {
                    state = kSlash;
                    break;
                }
                add(c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : blank);
                if (c == '"') state = kQuote;
                if (c == ';') take();
                break;
            case kQuote:
                add(c);
                state = c == '\\' ? kEscape : c == '"' ? kText : kQuote;
                break;
            case kEscape:
                add(c);
                state = kQuote;
                break;
            case kSlash:
                state = c == '/' ? kLine : c == '*' ? kBlock : kText;
                if (state == kBlock) commentLine = line;
                if (state == kText) {
                    add('/');
                    add(blank);
                    if (c == ';') take();
                }
                break;
            case kLine:
                if (c == '\n') {
                    add(' ');
                    state = kText;
                }
                break;
            case kBlock:
            case kStar:
                if (state == kStar && c == '/') {
                    add(' ');
                    state = kText;
                } else {
                    state = c == '*' ? kStar : kBlock;
                }
                break;
        }
    }
    if (state == kBlock || state == kStar) out.openComment = commentLine;
    if (!raw.empty()) take();
    return out;
}

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
    // reader's 64 KiB buffer; one input in four is repeated past the longest text kept.
    std::string bytes;
    if ((data[0] & 128) != 0) {
        bytes = "//";
        bytes.append((1u << 16) - 32 + (data[0] & 31) - 3, ' ');
        bytes += '\n';
    }
    const std::string input(reinterpret_cast<const char*>(data) + 1, size - 1);
    bytes += input;
    if ((data[0] & 96) == 96 && !input.empty()) {
        while (bytes.size() < GatheredBytes::kCapacity + (1u << 16)) bytes += input;
    }

    static const std::string path = "gather.txt";
    if (!fuzz_files::Store(path, bytes.data(), bytes.size())) return 0;
    const Gathered expected = GatherByByte(bytes);
    Compare(expected, GatherByReader(path, false));
    Compare(expected, GatherByReader(path, true));
    return 0;
}
