#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "qx_platform/CodeSet.h"

namespace {

const std::string kNiHaoUtf8 = "\xE4\xBD\xA0\xE5\xA5\xBD";  // two Chinese characters
const std::string kNiHaoGbk = "\xC4\xE3\xBA\xC3";
const std::string kCafeUtf8 = "caf\xC3\xA9";
const std::string kCafeLatin1 = "caf\xE9";

bool Convert(const char* from, const char* to, const std::string& in, std::string& out) {
    return qxp::OrinCodeSetConvert(from, to, in, out);
}

TEST(PlatformCodeSet, ConvertsBothWays) {
    std::string out;
    ASSERT_TRUE(Convert("GBK", "UTF-8", "A=" + kNiHaoGbk, out));
    EXPECT_EQ(out, "A=" + kNiHaoUtf8);
    ASSERT_TRUE(Convert("UTF-8", "GBK", kNiHaoUtf8 + ";", out));
    EXPECT_EQ(out, kNiHaoGbk + ";");
    ASSERT_TRUE(Convert("ISO8859-1", "UTF-8", kCafeLatin1, out));
    EXPECT_EQ(out, kCafeUtf8);
    ASSERT_TRUE(Convert("UTF-8", "ISO8859-1", kCafeUtf8, out));
    EXPECT_EQ(out, kCafeLatin1);
    ASSERT_TRUE(Convert("ISO8859-1", "GBK", "\xB7", out));  // middle dot exists in both
    EXPECT_EQ(out, "\xA1\xA4");

    // Large input grows the output buffer.
    std::string big;
    for (int i = 0; i < 5000; ++i) big += kNiHaoGbk;
    ASSERT_TRUE(Convert("GBK", "UTF-8", big, out));
    EXPECT_EQ(out.size(), big.size() / 2 * 3);
    ASSERT_TRUE(Convert("UTF-8", "GBK", out, out));  // in and out may be the same string
    EXPECT_EQ(out, big);
}

TEST(PlatformCodeSet, AsciiAndSameEncodingAreCheckedCopies) {
    std::string out;
    ASSERT_TRUE(Convert("GBK", "ISO8859-1", ":cfg-set:{A=1&2};", out));
    EXPECT_EQ(out, ":cfg-set:{A=1&2};");
    ASSERT_TRUE(Convert("UTF-8", "UTF-8", kNiHaoUtf8, out));
    EXPECT_EQ(out, kNiHaoUtf8);
    ASSERT_TRUE(Convert("ISO8859-1", "ISO8859-1", "\xFF\x80", out));
    EXPECT_EQ(out, "\xFF\x80");
    ASSERT_TRUE(Convert("utf8", "iso-8859-1", "", out));
    EXPECT_EQ(out, "");

    out = "unchanged";
    for (const std::string& bad : {std::string("\xC0\xAF"),          // overlong "/"
                                   std::string("\xED\xA0\x80"),      // surrogate
                                   std::string("\xF4\x90\x80\x80"),  // above U+10FFFF
                                   std::string("ab\xE4\xBD"),        // cut short
                                   std::string("\x80")}) {
        EXPECT_FALSE(Convert("UTF-8", "UTF-8", bad, out));
    }
    EXPECT_FALSE(Convert("GBK", "GBK", "\xC4", out));
    EXPECT_EQ(out, "unchanged");
}

TEST(PlatformCodeSet, UnconvertibleInputFailsAndLeavesOutputAlone) {
    std::string out = "unchanged";
    EXPECT_FALSE(Convert("UTF-8", "ISO8859-1", kNiHaoUtf8, out));              // no such characters
    EXPECT_FALSE(Convert("UTF-8", "GBK", "\xF0\x9F\x98\x80", out));            // emoji
    EXPECT_FALSE(Convert("UTF-8", "GBK", "a\xFF", out));                       // not UTF-8
    EXPECT_FALSE(Convert("GBK", "UTF-8", "x" + kNiHaoGbk.substr(0, 3), out));  // half char
    EXPECT_FALSE(Convert("GBK", "UTF-8", "\xFF\xFF", out));
    EXPECT_FALSE(Convert("EBCDIC", "UTF-8", "a", out));
    EXPECT_FALSE(Convert(nullptr, "UTF-8", "a", out));
    EXPECT_EQ(out, "unchanged");
    // A failure leaves no state behind for the next call on the same pair.
    ASSERT_TRUE(Convert("GBK", "UTF-8", kNiHaoGbk, out));
    EXPECT_EQ(out, kNiHaoUtf8);
}

TEST(PlatformConcurrency, ConversionsOnManyThreads) {
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            std::string out;
            for (int i = 0; i < 500; ++i) {
                const bool gbk = (i + t) % 2 == 0;
                if (!Convert(gbk ? "GBK" : "ISO8859-1", "UTF-8", gbk ? kNiHaoGbk : kCafeLatin1,
                             out) ||
                    out != (gbk ? kNiHaoUtf8 : kCafeUtf8)) {
                    ++wrong;
                }
            }
        });
    }
    for (auto& th : threads) th.join();
    EXPECT_EQ(wrong.load(), 0);
}

}  // namespace
