// Subnet descriptions, one and as a "&"-separated list, from any bytes.
//
// Properties:
// - what parses is well formed: the mask has exactly the prefix length's leading ones, no host
//   bit is set, and an IPv4 subnet leaves the bytes past its fourth zero;
// - formatting what parsed gives a text that parses to the same subnet, and formatting that
//   again gives the same text (the canonical form is stable);
// - the list reader accepts a text exactly when every "&"-separated item parses on its own,
//   agrees with the one-subnet reader item by item, round-trips through its formatter, and
//   leaves its output untouched when it refuses.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "qx_scriptutil/SubNetInfo.h"

using namespace NSQX_script;

namespace {

void Check(bool condition) {
    if (!condition) std::abort();
}

void CheckWellFormed(const SubNetInfo& subnet) {
    const unsigned bits = subnet.m_family == SubnetFamily::kIPv4 ? 32 : 128;
    Check(subnet.m_family == SubnetFamily::kIPv4 || subnet.m_family == SubnetFamily::kIPv6);
    Check(subnet.m_prefixLength <= bits);
    for (unsigned bit = 0; bit < 128; ++bit) {
        const bool maskBit = (subnet.m_mask[bit / 8] >> (7 - bit % 8)) & 1;
        const bool addressBit = (subnet.m_address[bit / 8] >> (7 - bit % 8)) & 1;
        Check(maskBit == (bit < subnet.m_prefixLength));
        Check(!addressBit || maskBit);
    }
}

void CheckRoundTrip(const SubNetInfo& subnet) {
    CheckWellFormed(subnet);
    const std::string text = FormatSubnet(subnet);
    SubNetInfo again;
    Check(ParseSubnet(text, again));
    Check(again == subnet);
    Check(FormatSubnet(again) == text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);

    SubNetInfo one;
    const bool oneParsed = ParseSubnet(text, one);
    if (oneParsed) CheckRoundTrip(one);

    std::vector<SubNetInfo> list(1);
    const std::vector<SubNetInfo> before = list;
    const bool listParsed = ParseSubnet(text, list);
    if (!listParsed) Check(list == before);

    bool everyItem = true;
    std::size_t index = 0;
    for (std::size_t begin = 0;; ++index) {
        const std::size_t amp = text.find('&', begin);
        SubNetInfo item;
        const bool itemParsed = ParseSubnet(text.substr(begin, amp - begin), item);
        everyItem = everyItem && itemParsed;
        if (listParsed) {
            Check(itemParsed && index < list.size() && list[index] == item);
        }
        if (amp == std::string_view::npos) break;
        begin = amp + 1;
    }
    Check(listParsed == everyItem);
    if (!listParsed) return 0;
    Check(list.size() == index + 1);
    Check(!oneParsed || (list.size() == 1 && list[0] == one));

    const std::string joined = FormatSubnet(list);
    std::vector<SubNetInfo> again;
    Check(ParseSubnet(joined, again));
    Check(again == list);
    Check(FormatSubnet(again) == joined);
    return 0;
}
