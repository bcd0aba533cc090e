#include <gtest/gtest.h>

#include <arpa/inet.h>

#include <array>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "qx_platform/Trace.h"
#include "qx_scriptutil/SubNetInfo.h"

using namespace NSQX_script;

namespace {

// The canonical text of what text parses to, or "refused: <column> <reason>".
std::string Canonical(const std::string& text) {
    SubNetInfo subnet;
    SubnetError error;
    if (!ParseSubnet(text, subnet, &error)) {
        return "refused: " + std::to_string(error.m_column) + " " + error.m_reason;
    }
    return FormatSubnet(subnet);
}

}  // namespace

TEST(Subnet, ReadsEachFormIntoAddressMaskPrefixAndFamily) {
    SubNetInfo v4;
    ASSERT_TRUE(ParseSubnet(" 10.1.0.0 \t255.255.240.0 ", v4));
    EXPECT_EQ(v4.m_family, SubnetFamily::kIPv4);
    EXPECT_EQ(v4.m_prefixLength, 20);
    EXPECT_EQ(v4.m_address, (std::array<std::uint8_t, 16>{10, 1}));
    EXPECT_EQ(v4.m_mask, (std::array<std::uint8_t, 16>{255, 255, 240}));

    SubNetInfo v6;
    ASSERT_TRUE(ParseSubnet("2001:DB8:0:0:8000::/65", v6));
    EXPECT_EQ(v6.m_family, SubnetFamily::kIPv6);
    EXPECT_EQ(v6.m_prefixLength, 65);
    EXPECT_EQ(v6.m_address,
              (std::array<std::uint8_t, 16>{0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0x80}));
    EXPECT_EQ(v6.m_mask,
              (std::array<std::uint8_t, 16>{0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0x80}));

    for (auto const& [text, canonical] : std::vector<std::pair<std::string, std::string>>{
             {" 10.1.0.0 \t255.255.240.0 ", "10.1.0.0/20"},
             {"10.1.0.0/255.255.240.0", "10.1.0.0/20"},
             {"0.0.0.0/0", "0.0.0.0/0"},
             {"255.255.255.255 255.255.255.255", "255.255.255.255/32"},
             {"192.168.1.128/25", "192.168.1.128/25"},
             {"::/0", "::/0"},
             {"::1/128", "::1/128"},
             {"2001:0db8:0000:0000:0000:0000:0000:0000/32", "2001:db8::/32"},
             {"2001:db8:0:1:0:0:0:0/64", "2001:db8:0:1::/64"},       // longest run
             {"2001:db8:0:0:1:0:0:1/128", "2001:db8::1:0:0:1/128"},  // first of equal runs
             {"2001:db8:0:0:1:0:0:0/128", "2001:db8:0:0:1::/128"},
             {"2001:db8:0:1:1:1:1:1/128", "2001:db8:0:1:1:1:1:1/128"},  // one zero group kept
             {"1:2:3:4:5:6:7::/128", "1:2:3:4:5:6:7:0/128"},
             {"::ffff:10.1.2.3/128", "::ffff:10.1.2.3/128"},
             {"0:0:0:0:0:FFFF:0A01:0200/120", "::ffff:10.1.2.0/120"},
             {"64:ff9b::192.0.2.0/120", "64:ff9b::c000:200/120"},
         }) {
        EXPECT_EQ(Canonical(text), canonical) << text;
        EXPECT_EQ(Canonical(canonical), canonical) << canonical;
    }
}

TEST(Subnet, RefusesBadTextsWithColumnReasonAndTrace) {
    for (auto const& [text, refusal] : std::vector<std::pair<std::string, std::string>>{
             {"", "1 empty subnet"},
             {"  \t", "4 empty subnet"},
             {"10.1.0.0", "9 prefix length missing"},
             {"10.1.0.0  ", "11 prefix length missing"},
             {"10.1.0/16", "7 bad IPv4 address"},
             {"10.1.0.0.0/16", "9 unexpected character"},
             {"10.256.0.0/16", "4 bad IPv4 octet"},
             {"10.01.0.0/16", "4 bad IPv4 octet"},
             {"10..0.0/16", "4 bad IPv4 octet"},
             {"10.1000.0.0/16", "4 bad IPv4 octet"},
             {"-1.0.0.0/8", "1 bad IPv4 octet"},
             {"10.1.0.0/33", "10 bad prefix length"},
             {"10.1.0.0/016", "10 bad prefix length"},
             {"10.1.0.0/", "10 bad prefix length"},
             {"10.1.0.0/99999999999999999999", "10 bad prefix length"},
             {"10.1.2.3/16", "1 host bits set"},
             {"10.1.0.0 255.0.255.0", "10 mask not contiguous"},
             {"10.1.0.0/255.255.0.1", "10 mask not contiguous"},
             {"10.1.0.0 255.255.0", "19 bad IPv4 address"},
             {"10.1.0.0/16x", "12 unexpected character"},
             {"10.1.0.0/16 17", "13 unexpected character"},
             {"10.1.0.0/16&10.2.0.0/16", "12 unexpected character"},
             {"10.1.0.0 /16", "10 unexpected character"},
             {"10.1.0.0\n/16", "9 unexpected character"},
             {"2001:db8::/129", "12 bad prefix length"},
             {"2001:db8::1/64", "1 host bits set"},
             {"2001:db8::", "11 prefix length missing"},
             {"2001:db8:: ffff::", "12 unexpected character"},
             {"2001:db8::/ffff::", "12 bad prefix length"},
             {"2001:db8:1:2:3:4:5:6:7::/128", "22 bad IPv6 address"},
             {"1:2:3:4:5:6:7:8::/128", "16 bad IPv6 address"},
             {"1:2:3:4:5:6:7:8:9/128", "17 bad IPv6 address"},
             {"1:2:3:4:5:6:7/112", "14 bad IPv6 address"},
             {"2001::db8::/32", "10 bad IPv6 address"},
             {":2001:db8::/32", "1 bad IPv6 address"},
             {"2001:db8:::/32", "11 unexpected character"},
             {"2001:db8:/32", "10 bad IPv6 address"},
             {"12345::/16", "1 bad IPv6 group"},
             {"fe80::%eth0/64", "7 unexpected character"},
             {"::ffff:10.1.2/128", "14 bad IPv4 address"},
             {"1:2:3:4:5:6:7:1.2.3.4/128", "15 bad IPv6 address"},
             {"::1.2.3.4:5/128", "10 unexpected character"},
             {std::string("10.1.0.0/16\0", 12), "12 unexpected character"},
         }) {
        qxp::TraceCapture trace;
        SubNetInfo kept;
        kept.m_prefixLength = 7;
        EXPECT_EQ(Canonical(text), "refused: " + refusal) << text;
        EXPECT_FALSE(ParseSubnet(text, kept)) << text;
        EXPECT_EQ(kept.m_prefixLength, 7) << text;
        const std::string reason = refusal.substr(refusal.find(' ') + 1);
        const std::string column = refusal.substr(0, refusal.find(' '));
        EXPECT_TRUE(trace.Contains("ParseSubnet failed at column " + column + ": " + reason))
            << text;
    }
}

TEST(Subnet, ListsAreSeparatedLikeScriptValuesAndAllOrNothing) {
    std::vector<SubNetInfo> list;
    ASSERT_TRUE(ParseSubnet("10.1.0.0/16& 192.168.0.0 255.255.255.0 &2001:db8::/32", list));
    EXPECT_EQ(FormatSubnet(list), "10.1.0.0/16&192.168.0.0/24&2001:db8::/32");
    ASSERT_TRUE(ParseSubnet("::/0", list));
    EXPECT_EQ(FormatSubnet(list), "::/0");

    const std::vector<SubNetInfo> before = list;
    for (auto const& [text, column, reason] :
         std::vector<std::tuple<std::string, std::size_t, std::string>>{
             {"", 1, "empty subnet"},
             {"10.1.0.0/16&", 13, "empty subnet"},
             {"10.1.0.0/16&&10.3.0.0/16", 13, "empty subnet"},
             {"&10.1.0.0/16", 1, "empty subnet"},
             {"10.1.0.0/16&10.2.0.1/16", 13, "host bits set"},
             {"10.1.0.0/16,10.2.0.0/16", 12, "unexpected character"},
         }) {
        SubnetError error;
        EXPECT_FALSE(ParseSubnet(text, list, &error)) << text;
        EXPECT_EQ(error.m_column, column) << text;
        EXPECT_EQ(std::string(error.m_reason), reason) << text;
        EXPECT_EQ(list, before) << text;
    }
}

// The host's own reader decides what an address is; ours must agree with it on every text
// that differs from a valid one in one byte.
TEST(Subnet, AddressesAgreeWithTheSystemReader) {
    const std::vector<std::string> seeds = {"10.1.2.3",       "255.0.0.255",     "2001:db8::1",
                                            "::ffff:1.2.3.4", "1:2:3:4:5:6:7:8", "::"};
    const std::string alphabet = "0129aAfFgG.:/%";
    for (const std::string& seed : seeds) {
        for (std::size_t at = 0; at <= seed.size(); ++at) {
            for (char c : alphabet) {
                for (int edit = 0; edit < 3; ++edit) {
                    std::string address = seed;
                    if (edit == 0 && at < seed.size()) address[at] = c;
                    if (edit == 1) address.insert(at, 1, c);
                    if (edit == 2 && at < seed.size()) address.erase(at, 1);
                    unsigned char bytes[16] = {};
                    const bool v4 = inet_pton(AF_INET, address.c_str(), bytes) == 1;
                    const bool v6 = !v4 && inet_pton(AF_INET6, address.c_str(), bytes) == 1;
                    SubNetInfo subnet;
                    const bool ours = ParseSubnet(address + "/32", subnet) ||
                                      ParseSubnet(address + "/128", subnet);
                    ASSERT_EQ(ours, v4 || v6) << address;
                    if (ours) {
                        EXPECT_EQ(subnet.m_family, v4 ? SubnetFamily::kIPv4 : SubnetFamily::kIPv6);
                        EXPECT_EQ(std::memcmp(subnet.m_address.data(), bytes, v4 ? 4 : 16), 0)
                            << address;
                    }
                }
            }
        }
    }
}
