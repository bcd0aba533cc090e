#include "qx_scriptutil/SubNetInfo.h"

#include <cstring>
#include <new>

#include "qx_platform/Trace.h"

namespace NSQX_script {

namespace {

constexpr const char* kEmpty = "empty subnet";
constexpr const char* kBadOctet = "bad IPv4 octet";
constexpr const char* kBadIPv4 = "bad IPv4 address";
constexpr const char* kBadGroup = "bad IPv6 group";
constexpr const char* kBadIPv6 = "bad IPv6 address";
constexpr const char* kNoPrefix = "prefix length missing";
constexpr const char* kBadPrefix = "bad prefix length";
constexpr const char* kBadMask = "mask not contiguous";
constexpr const char* kHostBits = "host bits set";
constexpr const char* kUnexpected = "unexpected character";

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}
bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

int HexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// Reads one subnet from text[pos, end); on failure records where (an offset into text) and
// why, and the caller reports it.
class SubnetReader {
  public:
    SubnetReader(std::string_view text, std::size_t begin, std::size_t end)
        : text_(text), pos_(begin), end_(end) {}

    bool Read(SubNetInfo& out) {
        SkipBlanks();
        if (pos_ == end_) return Fail(pos_, kEmpty);
        SubNetInfo subnet;
        const std::size_t addressAt = pos_;
        if (LooksLikeIPv6()) {
            subnet.m_family = SubnetFamily::kIPv6;
            if (!ReadIPv6(subnet.m_address.data())) return false;
        } else if (!ReadIPv4(subnet.m_address.data())) {
            return false;
        }
        if (!ReadPrefixOrMask(subnet)) return false;
        SkipBlanks();
        if (pos_ != end_) return Fail(pos_, kUnexpected);
        for (std::size_t i = 0; i < subnet.m_address.size(); ++i) {
            if ((subnet.m_address[i] & ~subnet.m_mask[i] & 0xFF) != 0) {
                return Fail(addressAt, kHostBits);
            }
        }
        out = subnet;
        return true;
    }

    std::size_t FailedAt() const { return failedAt_; }
    const char* Reason() const { return reason_; }

  private:
    char Peek(std::size_t ahead = 0) const {
        return pos_ + ahead < end_ ? text_[pos_ + ahead] : '\0';
    }

    bool Fail(std::size_t at, const char* reason) {
        failedAt_ = at;
        reason_ = reason;
        return false;
    }

    void SkipBlanks() {
        while (pos_ < end_ && IsBlank(text_[pos_])) ++pos_;
    }

    // An IPv6 address starts with ":" or has a ":" right after its first run of hex digits.
    bool LooksLikeIPv6() const {
        std::size_t i = pos_;
        while (i < end_ && HexValue(text_[i]) >= 0) ++i;
        return i < end_ && text_[i] == ':';
    }

    // One to three decimal digits without a leading zero, at most limit; false otherwise.
    bool ReadSmallNumber(unsigned limit, unsigned& value) {
        const std::size_t start = pos_;
        value = 0;
        while (pos_ < end_ && IsDigit(text_[pos_]) && pos_ - start < 4) {
            value = value * 10 + static_cast<unsigned>(text_[pos_] - '0');
            ++pos_;
        }
        const std::size_t digits = pos_ - start;
        return digits != 0 && digits <= 3 && value <= limit && (digits == 1 || text_[start] != '0');
    }

    bool ReadOctet(std::uint8_t& octet) {
        const std::size_t start = pos_;
        unsigned value = 0;
        if (!ReadSmallNumber(255, value)) return Fail(start, kBadOctet);
        octet = static_cast<std::uint8_t>(value);
        return true;
    }

    bool ReadIPv4(std::uint8_t* bytes) {
        for (int i = 0; i < 4; ++i) {
            if (i > 0) {
                if (Peek() != '.') return Fail(pos_, kBadIPv4);
                ++pos_;
            }
            if (!ReadOctet(bytes[i])) return false;
        }
        return true;
    }

    bool ReadIPv6(std::uint8_t* bytes) {
        std::uint16_t groups[8] = {};
        int count = 0;
        int gap = -1;  // index of the group before which "::" stands
        if (Peek() == ':') {
            if (Peek(1) != ':') return Fail(pos_, kBadIPv6);
            gap = 0;
            pos_ += 2;
        }
        while (!(gap == count && HexValue(Peek()) < 0)) {
            const std::size_t start = pos_;
            unsigned value = 0;
            while (pos_ < end_ && HexValue(text_[pos_]) >= 0 && pos_ - start < 5) {
                value = value * 16 + static_cast<unsigned>(HexValue(text_[pos_]));
                ++pos_;
            }
            if (pos_ == start) return Fail(pos_, kBadIPv6);
            if (Peek() == '.') {
                pos_ = start;
                if (count > 6) return Fail(start, kBadIPv6);
                std::uint8_t tail[4];
                if (!ReadIPv4(tail)) return false;
                groups[count++] = static_cast<std::uint16_t>(tail[0] << 8 | tail[1]);
                groups[count++] = static_cast<std::uint16_t>(tail[2] << 8 | tail[3]);
                break;
            }
            if (pos_ - start > 4) return Fail(start, kBadGroup);
            if (count == 8) return Fail(start, kBadIPv6);
            groups[count++] = static_cast<std::uint16_t>(value);
            if (Peek() != ':') break;
            if (Peek(1) == ':') {
                if (gap >= 0 || count == 8) return Fail(pos_, kBadIPv6);
                gap = count;
                pos_ += 2;
            } else {
                ++pos_;
            }
        }
        if (gap < 0 ? count != 8 : count > 7) return Fail(pos_, kBadIPv6);
        const int missing = 8 - count;
        for (int i = 0, out = 0; i < count; ++i, ++out) {
            if (i == gap) out += missing;
            bytes[2 * out] = static_cast<std::uint8_t>(groups[i] >> 8);
            bytes[2 * out + 1] = static_cast<std::uint8_t>(groups[i] & 0xFF);
        }
        return true;
    }

    bool ReadPrefixLength(SubNetInfo& subnet) {
        const std::size_t start = pos_;
        unsigned value = 0;
        const unsigned limit = subnet.m_family == SubnetFamily::kIPv4 ? 32 : 128;
        if (!ReadSmallNumber(limit, value)) return Fail(start, kBadPrefix);
        subnet.m_prefixLength = static_cast<std::uint8_t>(value);
        const std::size_t full = value / 8;
        std::memset(subnet.m_mask.data(), 0xFF, full);
        if (value % 8 != 0) subnet.m_mask[full] = static_cast<std::uint8_t>(0xFF00 >> (value % 8));
        return true;
    }

    bool ReadMask(SubNetInfo& subnet) {
        const std::size_t start = pos_;
        if (!ReadIPv4(subnet.m_mask.data())) return false;
        const std::uint32_t mask = static_cast<std::uint32_t>(subnet.m_mask[0]) << 24 |
                                   static_cast<std::uint32_t>(subnet.m_mask[1]) << 16 |
                                   static_cast<std::uint32_t>(subnet.m_mask[2]) << 8 |
                                   subnet.m_mask[3];
        const std::uint32_t hostBits = ~mask;
        if ((hostBits & (hostBits + 1)) != 0) return Fail(start, kBadMask);
        subnet.m_prefixLength = static_cast<std::uint8_t>(__builtin_popcount(mask));
        return true;
    }

    // A prefix length after "/", or for IPv4 a dotted mask after "/" or after blanks.
    bool ReadPrefixOrMask(SubNetInfo& subnet) {
        const bool ipv4 = subnet.m_family == SubnetFamily::kIPv4;
        if (Peek() == '/') {
            ++pos_;
            std::size_t i = pos_;
            while (i < end_ && IsDigit(text_[i])) ++i;
            const bool dotted = ipv4 && i < end_ && text_[i] == '.';
            return dotted ? ReadMask(subnet) : ReadPrefixLength(subnet);
        }
        if (pos_ == end_) return Fail(pos_, kNoPrefix);
        if (!IsBlank(Peek())) return Fail(pos_, kUnexpected);
        SkipBlanks();
        if (pos_ == end_) return Fail(pos_, kNoPrefix);
        if (!ipv4 || !IsDigit(Peek())) return Fail(pos_, kUnexpected);
        return ReadMask(subnet);
    }

    std::string_view text_;
    std::size_t pos_;
    std::size_t end_;
    std::size_t failedAt_ = 0;
    const char* reason_ = "";
};

bool Refuse(const SubnetReader& reader, SubnetError* error) {
    const std::size_t column = reader.FailedAt() + 1;
    qxp::QXTrace(qxp::kTraceError, "ParseSubnet failed at column %zu: %s", column, reader.Reason());
    if (error != nullptr) {
        error->m_column = column;
        error->m_reason = reader.Reason();
    }
    return false;
}

void AppendDecimal(std::string& out, unsigned value) {
    char digits[3];
    int n = 0;
    do {
        digits[n++] = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value != 0);
    while (n > 0) out.push_back(digits[--n]);
}

void AppendIPv4(std::string& out, const std::uint8_t* bytes) {
    for (int i = 0; i < 4; ++i) {
        if (i > 0) out.push_back('.');
        AppendDecimal(out, bytes[i]);
    }
}

void AppendIPv6(std::string& out, const std::uint8_t* bytes) {
    static const std::uint8_t kMappedPrefix[12] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
    if (std::memcmp(bytes, kMappedPrefix, sizeof kMappedPrefix) == 0) {
        out += "::ffff:";
        AppendIPv4(out, bytes + 12);
        return;
    }
    unsigned groups[8];
    for (int i = 0; i < 8; ++i)
        groups[i] = static_cast<unsigned>(bytes[2 * i] << 8 | bytes[2 * i + 1]);
    int bestStart = -1;
    int bestLength = 1;  // a single zero group is not compressed
    for (int i = 0; i < 8;) {
        if (groups[i] != 0) {
            ++i;
            continue;
        }
        int j = i;
        while (j < 8 && groups[j] == 0) ++j;
        if (j - i > bestLength) {
            bestStart = i;
            bestLength = j - i;
        }
        i = j;
    }
    static const char kHex[] = "0123456789abcdef";
    for (int i = 0; i < 8; ++i) {
        if (i == bestStart) {
            out += "::";
            i += bestLength - 1;
            continue;
        }
        if (i > 0 && i != bestStart + bestLength) out.push_back(':');
        bool leading = true;
        for (int shift = 12; shift >= 0; shift -= 4) {
            const unsigned digit = (groups[i] >> shift) & 0xF;
            if (leading && digit == 0 && shift != 0) continue;
            leading = false;
            out.push_back(kHex[digit]);
        }
    }
}

void AppendSubnet(std::string& out, const SubNetInfo& subnet) {
    if (subnet.m_family == SubnetFamily::kIPv6) {
        AppendIPv6(out, subnet.m_address.data());
    } else {
        AppendIPv4(out, subnet.m_address.data());
    }
    out.push_back('/');
    AppendDecimal(out, subnet.m_prefixLength);
}

}  // namespace

bool SubNetInfo::operator==(const SubNetInfo& other) const {
    return m_family == other.m_family && m_prefixLength == other.m_prefixLength &&
           m_address == other.m_address && m_mask == other.m_mask;
}

bool ParseSubnet(std::string_view text, SubNetInfo& out, SubnetError* error) {
    SubnetReader reader(text, 0, text.size());
    return reader.Read(out) || Refuse(reader, error);
}

bool ParseSubnet(std::string_view text, std::vector<SubNetInfo>& out, SubnetError* error) {
    std::vector<SubNetInfo> subnets;
    try {
        std::size_t items = 1;
        for (char c : text) items += c == '&';
        subnets.reserve(items);
        std::size_t begin = 0;
        for (;;) {
            const std::size_t amp = text.find('&', begin);
            const std::size_t end = amp == std::string_view::npos ? text.size() : amp;
            SubnetReader reader(text, begin, end);
            subnets.emplace_back();
            if (!reader.Read(subnets.back())) return Refuse(reader, error);
            if (amp == std::string_view::npos) break;
            begin = amp + 1;
        }
    } catch (const std::bad_alloc&) {
        qxp::QXTrace(qxp::kTraceError, "ParseSubnet failed: out of memory");
        if (error != nullptr) *error = SubnetError{0, "out of memory"};
        return false;
    }
    out.swap(subnets);
    return true;
}

std::string FormatSubnet(const SubNetInfo& subnet) {
    std::string out;
    out.reserve(48);
    AppendSubnet(out, subnet);
    return out;
}

std::string FormatSubnet(const std::vector<SubNetInfo>& subnets) {
    std::string out;
    out.reserve(subnets.size() * 20);
    for (std::size_t i = 0; i < subnets.size(); ++i) {
        if (i > 0) out.push_back('&');
        AppendSubnet(out, subnets[i]);
    }
    return out;
}

}  // namespace NSQX_script
