#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "qx_platform/Control.h"
#include "qx_scriptutil/EnumMap.h"
#include "qx_scriptutil/QXScriptEnumMgr.h"
#include "tests/EnumTable.h"

using namespace NSQX_script;

namespace {

std::string EnumDataDir() {
    return test_files::DataDir("enum/");
}

// The code of a name; nothing when the lookup fails, which must leave the output alone.
std::optional<long> S2C(const char* name, unsigned long cmd, const char* para, long ext = 0) {
    long code = -100;
    if (ValueS2C(code, std::string(name), cmd, std::string(para), ext) == 1) return code;
    EXPECT_EQ(code, -100) << name;
    return std::nullopt;
}

using EnumLookupTest = enum_table::Test;

std::vector<QXEnumPair> Pairs(std::initializer_list<QXEnumPair> pairs) {
    return pairs;
}

}  // namespace

TEST(EnumMapKey, OrdersByCommandThenNameThenSignedExtendId) {
    const std::vector<QXEnumMapKey> ascending = {{5, "A", -1}, {5, "A", 0}, {5, "AB", 0},
                                                 {5, "B", -1}, {6, "", 0},  {0xFFFFFFFFul, "", 0}};
    for (std::size_t i = 0; i < ascending.size(); ++i) {
        for (std::size_t j = 0; j < ascending.size(); ++j) {
            EXPECT_EQ(ascending[i] < ascending[j], i < j) << i << " vs " << j;
            EXPECT_EQ(ascending[i] == ascending[j], i == j) << i << " vs " << j;
        }
    }
    // Bytes compare unsigned and case-sensitively: "a" and "\xC3" sort after "B".
    EXPECT_TRUE(QXEnumMapKey(1, "B", 0) < QXEnumMapKey(1, "a", 0));
    EXPECT_TRUE(QXEnumMapKey(1, "z", 0) < QXEnumMapKey(1, "\xC3", 0));
    EXPECT_FALSE(QXEnumMapKey(1, std::string("a\0b", 3), 0) == QXEnumMapKey(1, "a", 0));
}

TEST(MergeEnumMap, FilterTakesOnlyThatCommandAndAppendsBehindExistingPairs) {
    EnumMap src;
    src.emplace(QXEnumMapKey(65537, "L", 0), Pairs({{2, "B"}, {1, "A"}}));
    src.emplace(QXEnumMapKey(65537, "NEW", 0), Pairs({{3, "C"}}));
    src.emplace(QXEnumMapKey(7, "L", 0), Pairs({{4, "D"}}));
    EnumMap dst;
    dst.emplace(QXEnumMapKey(65537, "L", 0), Pairs({{1, "A"}}));

    MergeEnumMap(&src, dst, 0x10001);
    ASSERT_EQ(dst.size(), 2u);
    auto const& merged = FindFirstEnum(dst, QXEnumKeyView{65537, "L", 0})->second;
    ASSERT_EQ(merged.size(), 3u);  // duplicates are not removed
    EXPECT_EQ(merged[0].m_name, "A");
    EXPECT_EQ(merged[1].m_name, "B");
    EXPECT_EQ(merged[2].m_name, "A");
    EXPECT_EQ(FindFirstEnum(dst, QXEnumKeyView{7, "L", 0}), dst.end());

    EnumMap all;
    MergeEnumMap(&src, all, 0);
    EXPECT_EQ(all.size(), 3u);
    MergeEnumMap(nullptr, all, 0);
    EXPECT_EQ(all.size(), 3u);
}

TEST_F(EnumLookupTest, NothingConvertsBeforeInit) {
    std::string name = "keep";
    CStdString cname = "gone";
    EXPECT_EQ(S2C("ON", 5, "STATE"), std::nullopt);
    EXPECT_EQ(ValueC2S(name, 1, 5, std::string("STATE"), 0), 0);
    EXPECT_EQ(ValueC2S(cname, 1, 5, CStdString("STATE"), 0), 0);
    EXPECT_EQ(name, "keep");
    EXPECT_EQ(cname, "");
}

TEST_F(EnumLookupTest, NameToCodeMatchesExactlyAndFirstWins) {
    ASSERT_EQ(QXScriptEnumMgr::Instance()->Init("good.xml"), 0u);
    EXPECT_EQ(S2C("ON", 5, "STATE"), 1);  // (1, ON) stands before (2, ON)
    EXPECT_EQ(S2C("OFF", 5, "STATE"), 0);
    EXPECT_EQ(S2C("NEG", 5, "MODE"), -3);
    EXPECT_EQ(S2C("AUTO", 5, "MODE", 1), 9);
    EXPECT_EQ(S2C("on", 5, "STATE"), std::nullopt);
    EXPECT_EQ(S2C("ON", 5, "state"), std::nullopt);
    // The second entry with an equal key is never consulted.
    EXPECT_EQ(S2C("SECOND", 5, "STATE"), std::nullopt);

    long code = 0;
    EXPECT_EQ(ValueS2C(code, CStdString("AUTOMATIC"), 5, CStdString("MODE"), 0), 1);
    EXPECT_EQ(code, 7);
}

TEST_F(EnumLookupTest, CodeToNameUsesTheNarrowCodeAndFirstMatch) {
    ASSERT_EQ(QXScriptEnumMgr::Instance()->Init("good.xml"), 0u);
    std::string name;
    EXPECT_EQ(ValueC2S(name, 7, 5, std::string("MODE"), 0), 1);
    EXPECT_EQ(name, "AUTO");
    EXPECT_EQ(ValueC2S(name, -3, 5, std::string("MODE"), 0), 1);
    EXPECT_EQ(name, "NEG");

    name = "keep";
    EXPECT_EQ(ValueC2S(name, (1L << 32) + 1, 5, std::string("STATE"), 0), 0);
    EXPECT_EQ(ValueC2S(name, (1L << 32) - 3, 5, std::string("MODE"), 0), 0);
    EXPECT_EQ(name, "keep");

    CStdString cname = "old";
    EXPECT_EQ(ValueC2S(cname, 1, 5, CStdString("STATE"), 0), 1);
    EXPECT_EQ(cname, "ON");
    EXPECT_EQ(ValueC2S(cname, 99, 5, CStdString("STATE"), 0), 0);
    EXPECT_EQ(cname, "");
}

// Every answer given while the table is loaded and freed again and again is "not loaded" or
// the right one.
TEST(EnumConcurrency, LookupsWhileAnotherThreadInitsAndReleases) {
    qxp::SetAppRootPath(EnumDataDir());
    std::atomic<int> wrong{0};
    // Bounded loops on both sides: the host's reader/writer lock may favour readers.
    auto reader = [&] {
        for (int i = 0; i < 20000; ++i) {
            long code = -1;
            if (ValueS2C(code, std::string("ON"), 5, std::string("STATE"), 0) == 1 && code != 1) {
                ++wrong;
            }
            CStdString name;
            if (ValueC2S(name, 7, 5, CStdString("MODE"), 0) == 1 && name != "AUTO") ++wrong;
            std::this_thread::yield();
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) threads.emplace_back(reader);
    threads.emplace_back([&] {
        for (int i = 0; i < 40; ++i) {
            if (QXScriptEnumMgr::Instance()->Init("good.xml") != 0) ++wrong;
            std::this_thread::yield();
            QXScriptEnumMgr::Instance()->Release();
        }
    });
    for (auto& t : threads) t.join();
    EXPECT_EQ(wrong.load(), 0);
    enum_table::Release();
    qxp::ResetOverrides();
}
