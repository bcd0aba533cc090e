// Script file names. The input is cut into a generator choice, a prefix, a text, an encoding,
// an NE ID and an address (FuzzedDataProvider); the remaining bytes are also analysed as a
// name of their own.
//
// Properties:
// - whatever the generator builds analyses back to the prefix as generated, that is with the
//   fourteen reserved characters turned into "_" and cut at its first "_";
// - a name with a numeric NE part gives back the NE ID (both 16-bit halves), unless the prefix
//   holds an underscore of its own or the first half is 0: an NE part that begins with "0" is
//   read as hexadecimal ("0x%X_"), which "0-5" is not, so it gives 0;
// - GetNEIDFromFileName, which hands the NE part to the host's NE ID reader, gives a numeric
//   NE part back whole, the first half 0 included;
// - a name with a dotted address gives that address back and NE ID 0;
// - the encoding is not read back, and only encodings without a directory separator keep the
//   base name whole, so the checks above are made for those;
// - AnalyseFileName and GetNEIDFromFileName take any bytes without crashing, and a failed
//   analysis still records the name as passed.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "qx_scriptutil/ScriptFileName.h"
#include "qx_scriptutil/TScriptFileImpl.h"

using namespace NSQX_script;

namespace {

// The prefix as it must come back: reserved characters replaced, cut at the first "_".
std::string ExpectedPrefix(const std::string& prefix) {
    static const std::string kReserved = "/\\:*?\"<>|'!$;&";
    std::string out;
    for (char c : prefix) {
        if (c == '_' || kReserved.find(c) != std::string::npos) break;
        out.push_back(c);
    }
    return out;
}

bool PlainPrefix(const std::string& prefix) {
    return ExpectedPrefix(prefix).size() == prefix.size();
}

// char const* arguments stop at the first NUL, as a caller's C strings would.
std::string CText(std::string text) {
    text.resize(text.find('\0') == std::string::npos ? text.size() : text.find('\0'));
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    const int form = in.ConsumeIntegralInRange(0, 3);
    const std::string prefix = CText(in.ConsumeRandomLengthString(24));
    const bool withText = in.ConsumeBool();
    const std::string text = CText(in.ConsumeRandomLengthString(24));
    const bool withEncoding = in.ConsumeBool();
    const std::string encoding = CText(in.ConsumeRandomLengthString(12));
    const unsigned long neId = in.ConsumeIntegral<std::uint32_t>();
    const std::string address = form == 3
                                    ? std::to_string(in.ConsumeIntegral<std::uint8_t>()) + "." +
                                          std::to_string(in.ConsumeIntegral<std::uint8_t>()) + "." +
                                          std::to_string(in.ConsumeIntegral<std::uint8_t>()) + "." +
                                          std::to_string(in.ConsumeIntegral<std::uint8_t>())
                                    : CText(in.ConsumeRandomLengthString(24));
    const std::string rest = in.ConsumeRemainingBytesAsString();

    const char* textArg = withText ? text.c_str() : nullptr;
    const char* encodingArg = withEncoding ? encoding.c_str() : nullptr;
    ScriptFileName made;
    std::string name;
    switch (form) {
        case 0:
            name = made.GenerateFileName(prefix.c_str(), textArg, encodingArg);
            break;
        case 1:
            name = made.GenerateNEFileName(prefix.c_str(), neId, textArg, encodingArg);
            break;
        default:
            name = made.GenerateNEFileName(prefix.c_str(), address.c_str(), textArg, encodingArg);
            break;
    }
    if (made.GetEncoding() != (withEncoding ? encoding : std::string("UTF-8"))) std::abort();

    const bool wholeBase = !withEncoding || encoding.find_first_of("/\\") == std::string::npos;
    ScriptFileName read;
    const bool analysed = read.AnalyseFileName(name.c_str());
    if (read.GetFileName() != name) std::abort();
    if (wholeBase) {
        if (!analysed || read.GetPrefix() != ExpectedPrefix(prefix)) std::abort();
        if (form == 1 && PlainPrefix(prefix)) {
            const unsigned long high = (neId >> 16) & 0xFFFF;
            const unsigned long expected = high == 0 ? 0 : (high << 16 | (neId & 0xFFFF));
            if (read.GetPhyNEID() != expected || !read.GetIPAddr().empty()) std::abort();
        }
        if (form == 3 && PlainPrefix(prefix) && address[0] != '0') {
            if (read.GetIPAddr() != address || read.GetPhyNEID() != 0) std::abort();
        }
    }
    const unsigned long fromName = TScriptFileImpl::GetNEIDFromFileName(name.c_str());
    if (wholeBase && form == 1 && PlainPrefix(prefix) && fromName != (neId & 0xFFFFFFFFul))
        std::abort();

    ScriptFileName any;
    if (!any.AnalyseFileName(rest.c_str()) && any.GetFileName() != CText(rest)) std::abort();
    (void)TScriptFileImpl::GetNEIDFromFileName(rest.c_str());
    return 0;
}
