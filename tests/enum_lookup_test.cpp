#include <optional>
#include <string>
#include <vector>

#include "qx_scriptutil/EnumMap.h"
#include "tests/EnumTable.h"

using namespace NSQX_script;

namespace {

// The code of a name, through both string forms; nothing when the lookup fails, which must
// leave the output alone.
std::optional<long> S2C(const char* name, unsigned long cmd, const char* para, long ext = 0) {
    long code = -100;
    long cstdCode = -100;
    const int found = ValueS2C(code, std::string(name), cmd, std::string(para), ext);
    EXPECT_EQ(found, ValueS2C(cstdCode, CStdString(name), cmd, CStdString(para), ext)) << name;
    EXPECT_EQ(code, cstdCode) << name;
    if (found == 1) return code;
    EXPECT_EQ(code, -100) << name;
    return std::nullopt;
}

// The name of a code, through both string forms; nothing when the lookup fails, which leaves
// the std::string output alone and empties the CStdString one.
std::optional<std::string> C2S(long code, unsigned long cmd, const char* para) {
    std::string name = "keep";
    CStdString cstdName = "old";
    const int found = ValueC2S(name, code, cmd, std::string(para), 0);
    EXPECT_EQ(found, ValueC2S(cstdName, code, cmd, CStdString(para), 0)) << code;
    EXPECT_EQ(cstdName, found == 1 ? name : "") << code;
    if (found == 1) return name;
    EXPECT_EQ(name, "keep") << code;
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
    std::string pairs;
    for (const QXEnumPair& p : merged) pairs += std::to_string(p.m_value) + p.m_name + " ";
    EXPECT_EQ(pairs, "1A 2B 1A ");  // duplicates are not removed
    EXPECT_EQ(FindFirstEnum(dst, QXEnumKeyView{7, "L", 0}), dst.end());

    EnumMap all;
    MergeEnumMap(&src, all, 0);
    EXPECT_EQ(all.size(), 3u);
    MergeEnumMap(nullptr, all, 0);
    EXPECT_EQ(all.size(), 3u);
}

// Names match exactly and the first pair wins; codes are compared as 32-bit numbers.
TEST_F(EnumLookupTest, LookupsMatchExactlyAndTheFirstPairWins) {
    EXPECT_EQ(S2C("ON", 5, "STATE"), std::nullopt);  // nothing before Init
    EXPECT_EQ(C2S(1, 5, "STATE"), std::nullopt);
    ASSERT_EQ(QXScriptEnumMgr::Instance()->Init("good.xml"), 0u);
    EXPECT_EQ(S2C("ON", 5, "STATE"), 1);  // (1, ON) stands before (2, ON)
    EXPECT_EQ(S2C("OFF", 5, "STATE"), 0);
    EXPECT_EQ(S2C("NEG", 5, "MODE"), -3);
    EXPECT_EQ(S2C("AUTOMATIC", 5, "MODE"), 7);
    EXPECT_EQ(S2C("AUTO", 5, "MODE", 1), 9);
    EXPECT_EQ(S2C("on", 5, "STATE"), std::nullopt);
    EXPECT_EQ(S2C("ON", 5, "state"), std::nullopt);
    // The second entry with an equal key is never consulted.
    EXPECT_EQ(S2C("SECOND", 5, "STATE"), std::nullopt);
    EXPECT_EQ(C2S(7, 5, "MODE"), "AUTO");
    EXPECT_EQ(C2S(-3, 5, "MODE"), "NEG");
    EXPECT_EQ(C2S(1, 5, "STATE"), "ON");
    EXPECT_EQ(C2S(99, 5, "STATE"), std::nullopt);
    EXPECT_EQ(C2S((1L << 32) + 1, 5, "STATE"), std::nullopt);
    EXPECT_EQ(C2S((1L << 32) - 3, 5, "MODE"), std::nullopt);
}
