#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <random>

#include "qx_platform/Control.h"
#include "qx_platform/QXValue.h"
#include "qx_platform/Strings.h"
#include "qx_platform/Time.h"

namespace {

// What a reader makes of the text: the number, or "refused" when it refuses it and leaves
// its output alone.
template <class T, class... Base>
std::string Read(bool (*reader)(const char*, T&, Base...), const char* text, Base... base) {
    T value = 77;
    if (reader(text, value, base...)) return std::to_string(value);
    return value == 77 ? "refused" : "refused, output changed to " + std::to_string(value);
}

TEST(PlatformStrings, NeIdsAndIntegersReadOnlyWholeTexts) {
    EXPECT_EQ(Read(qxp::QXStr2NEID, "9-3"), std::to_string((9UL << 16) | 3));
    EXPECT_EQ(Read(qxp::QXStr2NEID, "65535-65535"), "4294967295");
    EXPECT_EQ(Read(qxp::QXStr2NEID, "4294967295"), "4294967295");
    EXPECT_EQ(Read(qxp::QXStr2NEID, "0x1A"), "26");
    EXPECT_EQ(Read(qxp::QXStr2NEID, "0XffffFFFF"), "4294967295");
    for (const char* bad :
         {"", "x", " 5", "5 ", "-5", "+5", "5-", "-", "1-2-3", "65536-1", "1-65536", "4294967296",
          "0x", "0x100000000", "0xg", "0x-1", "1.5", "5x"}) {
        EXPECT_EQ(Read(qxp::QXStr2NEID, bad), "refused") << '"' << bad << '"';
    }
    EXPECT_EQ(Read(qxp::QXStr2NEID, nullptr), "refused");
    EXPECT_EQ(Read(qxp::QXStr2Int, "-42", 10), "-42");
    EXPECT_EQ(Read(qxp::QXStr2Int, "  +7", 10), "7");
    EXPECT_EQ(Read(qxp::QXStr2Int, "ff", 16), "255");
    for (const char* bad : {"", " ", "+", "12a", "1 ", "99999999999999999999"})
        EXPECT_EQ(Read(qxp::QXStr2Int, bad, 10), "refused") << '"' << bad << '"';
    EXPECT_EQ(Read(qxp::QXStr2UInt, "4294967296", 10), "4294967296");
    for (const char* bad : {"-1", " -0", "18446744073709551616"})
        EXPECT_EQ(Read(qxp::QXStr2UInt, bad, 10), "refused") << '"' << bad << '"';
    EXPECT_EQ(qxp::QXInt2Str(-9223372036854775807L - 1), "-9223372036854775808");
    EXPECT_EQ(qxp::QXUInt2Str(18446744073709551615UL), "18446744073709551615");
}

// A double's text is the shortest fixed form that reads back, with a point: the general
// formatter's, whichever way it is found.
TEST(PlatformValue, DoubleTextIsTheShortestFixedForm) {
    auto reference = [](double d) {
        char buf[qxp::QXValue::kDoubleTextRoom];
        const auto r = std::to_chars(buf, buf + sizeof buf, d, std::chars_format::fixed);
        std::string text(buf, r.ptr);
        if (text.find_first_of(".ni") == std::string::npos) text.push_back('.');
        return text;
    };
    std::size_t checked = 0;
    auto check = [&](double d) {
        ++checked;
        const std::string text = qxp::QXValue(d).As_std_string();
        ASSERT_EQ(reference(d), text) << std::hexfloat << d;
        if (std::isfinite(d)) {
            ASSERT_EQ(std::strtod(text.c_str(), nullptr), d) << text;
        }
    };
    for (double d : {0.0, -0.0, 1.5, 12.0, -0.25, 0.1, 0.3, 1e-7, 123456.789, 0x1p44, 0x1p44 - 1,
                     17592186044415.5, 9007199254740993.0, 1e300, -1e-300, 5e-324,
                     std::numeric_limits<double>::max(), std::numeric_limits<double>::infinity(),
                     std::numeric_limits<double>::quiet_NaN()}) {
        check(d);
        check(-d);
    }
    std::mt19937_64 rng(17);
    // Decimal texts as scripts hold them: up to 17 significant digits, up to 17 after the point.
    char text[64];
    for (int i = 0; i < 400000; ++i) {
        const std::uint64_t digits = rng() % 100000000000000000ull >> (rng() % 57);
        const int point = static_cast<int>(rng() % 18);
        std::snprintf(text, sizeof text, "%llue-%d", static_cast<unsigned long long>(digits),
                      point);
        const double d = std::strtod(text, nullptr);
        check(d);
        check(std::nextafter(d, 0.0));
        check(std::nextafter(d, 1e300));
    }
    // Any bit pattern, and values around the powers of ten and the integers of the short form.
    for (int i = 0; i < 200000; ++i) {
        const std::uint64_t bits = rng();
        double d;
        std::memcpy(&d, &bits, sizeof d);
        check(d);
        const double scaled =
            std::ldexp(static_cast<double>(rng() >> 11), -static_cast<int>(rng() % 60));
        check(scaled);
        check(std::round(scaled) + 0.5);
    }
    EXPECT_GT(checked, 1000000u);
}

TEST(PlatformTime, FixedClockLocalTimeAndFormatting) {
    qxp::SetFixedTime(1700000000);  // 2023-11-14 22:13:20 UTC, a Tuesday
    const qxp::QXTime utc = qxp::QXGetSystemTime();
    EXPECT_EQ(utc.seconds, 1700000000);
    EXPECT_EQ(qxp::QXFormatTime(utc, "%Y-%m-%d %H:%M:%S %a %j"), "2023-11-14 22:13:20 Tue 318");

    setenv("TZ", "CST-8", 1);  // POSIX form: needs no zone database
    const qxp::QXTime local = qxp::QXUTC2LOCAL(utc);
    EXPECT_EQ(qxp::QXFormatTime(local, "%Y-%m-%d %H:%M:%S"), "2023-11-15 06:13:20");
    setenv("TZ", "UTC", 1);
    EXPECT_EQ(qxp::QXUTC2LOCAL(utc).hour, 22);

    qxp::SetFixedTime(-1);
    EXPECT_GT(qxp::QXGetSystemTime().seconds, 1700000000);
    EXPECT_EQ(qxp::QXFormatTime(utc, ""), "");
}

}  // namespace
