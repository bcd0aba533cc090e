#include <gtest/gtest.h>

#include "qx_platform/Control.h"
#include "qx_platform/Strings.h"
#include "qx_platform/Time.h"

namespace {

TEST(PlatformStrings, NeIdForms) {
    unsigned long id = 0;
    EXPECT_TRUE(qxp::QXStr2NEID("9-3", id));
    EXPECT_EQ(id, (9UL << 16) | 3);
    EXPECT_TRUE(qxp::QXStr2NEID("65535-65535", id));
    EXPECT_EQ(id, 0xFFFFFFFFUL);
    EXPECT_TRUE(qxp::QXStr2NEID("4294967295", id));
    EXPECT_EQ(id, 4294967295UL);
    EXPECT_TRUE(qxp::QXStr2NEID("0x1A", id));
    EXPECT_EQ(id, 26UL);
    EXPECT_TRUE(qxp::QXStr2NEID("0XffffFFFF", id));
    EXPECT_EQ(id, 0xFFFFFFFFUL);

    id = 77;
    for (const char* bad :
         {"", "x", " 5", "5 ", "-5", "+5", "5-", "-", "1-2-3", "65536-1", "1-65536", "4294967296",
          "0x", "0x100000000", "0xg", "0x-1", "1.5", "5x"}) {
        EXPECT_FALSE(qxp::QXStr2NEID(bad, id)) << '"' << bad << '"';
    }
    EXPECT_FALSE(qxp::QXStr2NEID(nullptr, id));
    EXPECT_EQ(id, 77UL);
}

TEST(PlatformStrings, WholeTextIntegerReaders) {
    long v = 5;
    EXPECT_TRUE(qxp::QXStr2Int("-42", v));
    EXPECT_EQ(v, -42);
    EXPECT_TRUE(qxp::QXStr2Int("  +7", v));
    EXPECT_EQ(v, 7);
    EXPECT_TRUE(qxp::QXStr2Int("ff", v, 16));
    EXPECT_EQ(v, 255);
    for (const char* bad : {"", " ", "+", "12a", "1 ", "99999999999999999999"}) {
        EXPECT_FALSE(qxp::QXStr2Int(bad, v)) << '"' << bad << '"';
    }
    EXPECT_EQ(v, 255);

    unsigned long u = 9;
    EXPECT_TRUE(qxp::QXStr2UInt("4294967296", u));
    EXPECT_EQ(u, 4294967296UL);
    EXPECT_FALSE(qxp::QXStr2UInt("-1", u));
    EXPECT_FALSE(qxp::QXStr2UInt(" -0", u));
    EXPECT_FALSE(qxp::QXStr2UInt("18446744073709551616", u));
    EXPECT_EQ(u, 4294967296UL);

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
