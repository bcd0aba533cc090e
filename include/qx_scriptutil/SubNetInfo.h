#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "qx_scriptutil/Export.h"

namespace NSQX_script {

enum class SubnetFamily : std::uint8_t { kIPv4 = 4, kIPv6 = 6 };

// One subnet: its network address, its mask and prefix length (which always agree) and its
// address family. Addresses and masks are in network byte order; an IPv4 subnet uses the first
// four bytes and leaves the rest zero, so two equal subnets compare equal byte for byte.
// A value type, not locked.
struct QX_API SubNetInfo {
    SubnetFamily m_family = SubnetFamily::kIPv4;
    std::uint8_t m_prefixLength = 0;
    std::array<std::uint8_t, 16> m_address{};
    std::array<std::uint8_t, 16> m_mask{};

    bool operator==(const SubNetInfo& other) const;
    bool operator!=(const SubNetInfo& other) const { return !(*this == other); }
};

// Where and why a subnet text was refused; column counts bytes from 1.
struct QX_API SubnetError {
    std::size_t m_column = 0;
    const char* m_reason = "";
};

// Parses one subnet description. The forms taken, with blanks and tabs allowed around the whole:
//   "10.1.0.0/16"           IPv4 address and prefix length 0 to 32;
//   "10.1.0.0 255.255.0.0"  IPv4 address and dotted mask after one or more blanks or tabs
//                           (also taken after "/"); the mask's ones must be contiguous;
//   "2001:db8::/32"         IPv6 address in any text form of RFC 4291 ("::" compression,
//                           either case, a dotted IPv4 tail) and prefix length 0 to 128.
// A subnet names its network, so an address with host bits set ("10.1.2.3/16") is refused
// rather than masked, as is a text without a prefix or mask. IPv4 octets are decimal without
// leading zeros ("010" is refused: other readers take it as octal); zone indices ("%eth0") are
// refused. On failure it returns false, leaves out unchanged, fills error when given and
// traces "ParseSubnet failed at column <n>: <reason>" at level 1. Never throws.
QX_API bool ParseSubnet(std::string_view text, SubNetInfo& out, SubnetError* error = nullptr);

// Parses a list of subnets separated by "&", the way a script separates the values of one
// parameter ("10.1.0.0/16&10.2.0.0/16"). Every item must parse and none may be empty (so the
// range operator "&&" is refused); on failure out is left unchanged and the column counts in
// the whole text.
QX_API bool ParseSubnet(std::string_view text, std::vector<SubNetInfo>& out,
                        SubnetError* error = nullptr);

// The canonical text of a subnet: IPv4 as "10.1.0.0/16", IPv6 in the form of RFC 5952
// ("2001:db8::/32": lower case, no leading zeros, the longest run of two or more zero groups
// compressed, the first of equal runs; an IPv4-mapped address as "::ffff:10.1.2.3/128").
// Of a subnet ParseSubnet made, ParseSubnet reads it back to the same SubNetInfo; of one
// filled by hand, only the family, the address and the prefix length are written.
QX_API std::string FormatSubnet(const SubNetInfo& subnet);

// The items' canonical texts joined by "&".
QX_API std::string FormatSubnet(const std::vector<SubNetInfo>& subnets);

}  // namespace NSQX_script
