#include <gtest/gtest.h>

#include "qx_scriptutil/ScriptFileName.h"

using namespace NSQX_script;

TEST(ScriptFileNames, GenerateReplacesReservedCharactersBeforeTheSuffix) {
    ScriptFileName name;
    EXPECT_EQ("NE_9-3_cfg_(GBK).txt", name.GenerateNEFileName("NE", 0x00090003ul, "cfg", "GBK"));
    EXPECT_EQ(0x00090003ul, name.GetPhyNEID());
    EXPECT_EQ("GBK", name.GetEncoding());
    EXPECT_EQ("a_b_x_y_(UTF-8).txt", name.GenerateFileName("a/b", "x&y", nullptr));
    EXPECT_EQ(0ul, name.GetPhyNEID());
    EXPECT_EQ("p" + std::string(16, '_') + "(UTF-8).txt",
              name.GenerateFileName("p", "/\\:*?\"<>|'!$;&", nullptr));
    EXPECT_EQ("NE_(ISO8859-1).txt", name.GenerateFileName("NE", nullptr, "ISO8859-1"));
    EXPECT_EQ("NE_10.1.2.3__(UTF-8).txt",
              name.GenerateNEFileName("NE", "10.1.2.3", nullptr, nullptr));
    EXPECT_EQ("", name.GetIPAddr());
    EXPECT_EQ("_x_(UTF-8).txt", name.GenerateFileName(nullptr, "x", nullptr));
}

TEST(ScriptFileNames, AnalyseReadsPrefixAndNePart) {
    ScriptFileName name;
    ASSERT_TRUE(name.AnalyseFileName("dir/NE_9-3_cfg_(GBK).txt"));
    EXPECT_EQ("NE", name.GetPrefix());
    EXPECT_EQ(0x00090003ul, name.GetPhyNEID());
    EXPECT_EQ("dir/NE_9-3_cfg_(GBK).txt", name.GetFileName());

    ASSERT_TRUE(name.AnalyseFileName("a\\b/c\\NE_0x1A_x.txt"));
    EXPECT_EQ(0x1Aul, name.GetPhyNEID());
    ASSERT_TRUE(name.AnalyseFileName("NE_0_x.txt"));
    EXPECT_EQ(0ul, name.GetPhyNEID());
    ASSERT_TRUE(name.AnalyseFileName("NE_10.1.2.3_x.txt"));
    EXPECT_EQ("10.1.2.3", name.GetIPAddr());
    EXPECT_EQ(0ul, name.GetPhyNEID());
    ASSERT_TRUE(name.AnalyseFileName("NE_abc_x.txt"));
    EXPECT_EQ("", name.GetIPAddr());
    ASSERT_TRUE(name.AnalyseFileName("NE__x.txt"));
    ASSERT_TRUE(name.AnalyseFileName("NE_9-3.txt"));  // no second "_": no NE part
    EXPECT_EQ(0ul, name.GetPhyNEID());

    EXPECT_FALSE(name.AnalyseFileName("NE.txt"));
    EXPECT_FALSE(name.AnalyseFileName("dir/"));
    EXPECT_FALSE(name.AnalyseFileName(nullptr));
}

TEST(ScriptFileNames, GeneratedNamesAnalyseBack) {
    ScriptFileName gen, back;
    // A first number of 0 would read as a hexadecimal part, so it does not round-trip.
    for (unsigned long id : {0x00010001ul, 0x00090003ul, 0xFFFF0000ul, 0x0001FFFFul}) {
        ASSERT_TRUE(back.AnalyseFileName(gen.GenerateNEFileName("NE", id, "cfg", "GBK").c_str()));
        EXPECT_EQ("NE", back.GetPrefix());
        EXPECT_EQ(id, back.GetPhyNEID());
    }
}
