// The separator walk of the slot conversion. The input builds a SeparatorNode tree (signs,
// positions, deeper nodes; FuzzedDataProvider) and the remaining bytes are the value walked.
//
// Properties:
// - with conversion type 3, where a slot number converts to itself, converting gives the value
//   back byte for byte: cutting and joining lose and add nothing, quotes included;
// - when no sign holds a digit or a NUL, the value with its digits and NULs replaced by a
//   letter that no sign holds has no number in it, so converting leaves it as it is and traces
//   every piece it visits as not a number; those pieces, in order, are exactly the pieces that
//   collecting gathers, once collecting's joining of two pieces of one level ("a-b") is undone
//   (checked when no visited piece holds a "-" of its own);
// - with any conversion type, any tree and any bytes, the walk stays within bounds.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "qx_platform/Trace.h"
#include "qx_scriptutil/QXConvertDataStorage.h"
#include "slot/CommandSlotConvert.h"

using namespace NSQX_script;

namespace {

constexpr char kNotNumber[] = "QXConvertDataStorage convert input para Err, input string: ";

void Build(FuzzedDataProvider& in, SeparatorNode& node, int depth) {
    node.m_sign = in.ConsumeRandomLengthString(3);
    const int count = depth >= 4 ? 0 : in.ConsumeIntegralInRange(0, 3);
    for (int i = 0; i < count; ++i) {
        const std::int32_t pos = in.ConsumeIntegralInRange(-1, 6);
        std::unique_ptr<SeparatorNode> deeper;
        if (in.ConsumeBool()) {
            deeper = std::make_unique<SeparatorNode>();
            Build(in, *deeper, depth + 1);
        }
        node.m_positions.emplace_back(pos, std::move(deeper));
    }
}

void Signs(const SeparatorNode& node, std::string& all) {
    all += node.m_sign;
    for (const auto& pos : node.m_positions) {
        if (pos.second) Signs(*pos.second, all);
    }
}

void SetType(int type) {
    QXConvertDataStorage* store = QXConvertDataStorage::Instance();
    store->SetOperType(type == 2 ? 1 : 0);
    store->PrepareScriptOper(type == 3, type != 0);
}

std::vector<std::string> Split(const std::vector<std::string>& joined) {
    std::vector<std::string> out;
    for (const std::string& text : joined) {
        std::size_t start = 0;
        for (;;) {
            const std::size_t dash = text.find('-', start);
            out.push_back(text.substr(start, dash - start));
            if (dash == std::string::npos) break;
            start = dash + 1;
        }
    }
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    SeparatorNode node;
    Build(in, node, 0);
    const int type = in.ConsumeIntegralInRange(0, 3);
    const std::string value = in.ConsumeRemainingBytesAsString();

    SetType(3);
    std::string same = value;
    SeparatorWalk::Convert(node, same, 0);
    if (same != value) std::abort();

    SetType(type);
    std::string converted = value;
    SeparatorWalk::Convert(node, converted, 0);
    std::vector<std::string> collected;
    SeparatorWalk::Collect(node, value, collected);

    std::string signs;
    Signs(node, signs);
    if (signs.find_first_of(std::string("0123456789\0", 11)) != std::string::npos) return 0;
    char letter = 0;
    for (char c : {'q', 'Z', '~', '#'}) {
        if (signs.find(c) == std::string::npos) {
            letter = c;
            break;
        }
    }
    if (letter == 0) return 0;
    std::string letters = value;
    for (char& c : letters) {
        if ((c >= '0' && c <= '9') || c == '\0') c = letter;
    }

    std::vector<std::string> visited;
    std::string walked = letters;
    {
        qxp::TraceCapture capture;
        SeparatorWalk::Convert(node, walked, 0);
        for (const qxp::TraceLine& line : capture.Lines()) {
            const std::string& text = line.text;
            if (text.compare(0, sizeof kNotNumber - 1, kNotNumber) != 0 || text.back() != ' ')
                std::abort();
            visited.push_back(text.substr(sizeof kNotNumber - 1, text.size() - sizeof kNotNumber));
        }
    }
    if (walked != letters) std::abort();
    for (const std::string& piece : visited) {
        if (piece.find('-') != std::string::npos) return 0;
    }
    collected.clear();
    SeparatorWalk::Collect(node, letters, collected);
    if (Split(collected) != visited) std::abort();
    return 0;
}
