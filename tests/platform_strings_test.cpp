#include <gtest/gtest.h>

#include "qx_platform/Control.h"
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

TEST(PlatformStrings, NeIdForms) {
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
}

TEST(PlatformStrings, WholeTextIntegerReaders) {
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
