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

// The converted text over an output that held "old", or "failed" when the conversion fails
// and leaves that output alone.
std::string Converted(const char* from, const char* to, const std::string& in) {
    std::string out = "old";
    if (Convert(from, to, in, out)) return out;
    return out == "old" ? "failed" : "failed, output changed to " + out;
}

TEST(PlatformCodeSet, ConvertsBothWaysAndCopiesWithinOneEncoding) {
    EXPECT_EQ(Converted("GBK", "UTF-8", "A=" + kNiHaoGbk), "A=" + kNiHaoUtf8);
    EXPECT_EQ(Converted("UTF-8", "GBK", kNiHaoUtf8 + ";"), kNiHaoGbk + ";");
    EXPECT_EQ(Converted("ISO8859-1", "UTF-8", kCafeLatin1), kCafeUtf8);
    EXPECT_EQ(Converted("UTF-8", "ISO8859-1", kCafeUtf8), kCafeLatin1);
    EXPECT_EQ(Converted("ISO8859-1", "GBK", "\xB7"), "\xA1\xA4");  // middle dot exists in both

    // ASCII and the same encoding on both sides are checked copies.
    EXPECT_EQ(Converted("GBK", "ISO8859-1", ":cfg-set:{A=1&2};"), ":cfg-set:{A=1&2};");
    EXPECT_EQ(Converted("UTF-8", "UTF-8", kNiHaoUtf8), kNiHaoUtf8);
    EXPECT_EQ(Converted("ISO8859-1", "ISO8859-1", "\xFF\x80"), "\xFF\x80");
    EXPECT_EQ(Converted("utf8", "iso-8859-1", ""), "");

    // Large input grows the output buffer.
    std::string big, out;
    for (int i = 0; i < 5000; ++i) big += kNiHaoGbk;
    ASSERT_TRUE(Convert("GBK", "UTF-8", big, out));
    EXPECT_EQ(out.size(), big.size() / 2 * 3);
    ASSERT_TRUE(Convert("UTF-8", "GBK", out, out));  // in and out may be the same string
    EXPECT_EQ(out, big);
}

TEST(PlatformCodeSet, InvalidOrUnconvertibleInputFailsAndLeavesOutputAlone) {
    for (const std::string& bad : {std::string("\xC0\xAF"),          // overlong "/"
                                   std::string("\xED\xA0\x80"),      // surrogate
                                   std::string("\xF4\x90\x80\x80"),  // above U+10FFFF
                                   std::string("ab\xE4\xBD"),        // cut short
                                   std::string("\x80")}) {
        EXPECT_EQ(Converted("UTF-8", "UTF-8", bad), "failed");
    }
    EXPECT_EQ(Converted("GBK", "GBK", "\xC4"), "failed");
    EXPECT_EQ(Converted("UTF-8", "ISO8859-1", kNiHaoUtf8), "failed");    // no such characters
    EXPECT_EQ(Converted("UTF-8", "GBK", "\xF0\x9F\x98\x80"), "failed");  // emoji
    EXPECT_EQ(Converted("UTF-8", "GBK", "a\xFF"), "failed");             // not UTF-8
    EXPECT_EQ(Converted("GBK", "UTF-8", "x" + kNiHaoGbk.substr(0, 3)), "failed");  // half char
    EXPECT_EQ(Converted("GBK", "UTF-8", "\xFF\xFF"), "failed");
    EXPECT_EQ(Converted("EBCDIC", "UTF-8", "a"), "failed");
    EXPECT_EQ(Converted(nullptr, "UTF-8", "a"), "failed");
    // A failure leaves no state behind for the next call on the same pair.
    EXPECT_EQ(Converted("GBK", "UTF-8", kNiHaoGbk), kNiHaoUtf8);
}

// The check skips ASCII a block at a time: a character at any place of a long text, even the
// last byte, is still seen, and the bytes just past a range given by pointer are not.
TEST(PlatformCodeSet, ChecksEveryPlaceOfALongTextAndNothingPastIt) {
    const std::string ascii(150, 'a');
    for (std::size_t at = 0; at <= ascii.size(); ++at) {
        for (const std::string& good : {kNiHaoUtf8, std::string("\xF0\x9F\x98\x80")}) {
            const std::string text = ascii.substr(0, at) + good + ascii.substr(at);
            EXPECT_EQ(Converted("UTF-8", "UTF-8", text), text) << at;
        }
        EXPECT_EQ(Converted("GBK", "UTF-8", ascii.substr(0, at) + kNiHaoGbk + ascii.substr(at)),
                  ascii.substr(0, at) + kNiHaoUtf8 + ascii.substr(at))
            << at;
        for (const std::string& bad :
             {std::string("\x80"), std::string("\xE4\xBD"), std::string("\xC0\xAF")}) {
            const std::string text = ascii.substr(0, at) + bad + ascii.substr(at);
            EXPECT_EQ(Converted("UTF-8", "UTF-8", text), "failed") << at;
            // The range ends where the bad bytes begin.
            std::string out = "old";
            EXPECT_TRUE(qxp::OrinCodeSetConvert("UTF-8", "UTF-8", text.data(), at, out)) << at;
            EXPECT_EQ(out, ascii.substr(0, at));
        }
    }
    std::string out;
    EXPECT_TRUE(qxp::OrinCodeSetConvert("GBK", "UTF-8", kNiHaoGbk.data(), kNiHaoGbk.size(), out));
    EXPECT_EQ(out, kNiHaoUtf8);
    EXPECT_FALSE(qxp::OrinCodeSetConvert("GBK", "UTF-8", kNiHaoGbk.data(), 3, out));
    EXPECT_EQ(out, kNiHaoUtf8);  // left alone on failure
    // Text the reader knows to be ASCII is copied, but only between encodings it knows.
    const std::string command = ":cfg-set:{A=1&2};";
    EXPECT_TRUE(qxp::OrinCodeSetConvertAscii("GBK", "UTF-8", command.data(), command.size(), out));
    EXPECT_EQ(out, command);
    EXPECT_FALSE(qxp::OrinCodeSetConvertAscii("EBCDIC", "UTF-8", command.data(), 3, out));
    EXPECT_EQ(out, command);
}

TEST(PlatformConcurrency, ConversionsOnManyThreads) {
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 500; ++i) {
                const bool gbk = (i + t) % 2 == 0;
                if (Converted(gbk ? "GBK" : "ISO8859-1", "UTF-8", gbk ? kNiHaoGbk : kCafeLatin1) !=
                    (gbk ? kNiHaoUtf8 : kCafeUtf8))
                    ++wrong;
            }
        });
    }
    for (auto& th : threads) th.join();
    EXPECT_EQ(wrong.load(), 0);
}

}  // namespace
