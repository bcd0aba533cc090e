#include <gtest/gtest.h>

#include <string>
#include <vector>

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

// Each analysis starts afresh: the NE part is "A-B", "0xHEX" or an IP address, else nothing.
TEST(ScriptFileNames, AnalyseReadsPrefixAndNePart) {
    ScriptFileName name;
    std::vector<std::string> seen;
    for (const char* file : {"dir/NE_9-3_cfg_(GBK).txt", "a\\b/c\\NE_0x1A_x.txt", "NE_0_x.txt",
                             "NE_10.1.2.3_x.txt", "NE_abc_x.txt", "NE__x.txt",
                             "NE_9-3.txt",  // no second "_": no NE part
                             "NE.txt", "dir/", static_cast<const char*>(nullptr)}) {
        const bool ok = name.AnalyseFileName(file);
        seen.push_back(!ok ? "refused"
                           : name.GetPrefix() + " " + std::to_string(name.GetPhyNEID() >> 16) +
                                 "-" + std::to_string(name.GetPhyNEID() & 0xFFFF) + " [" +
                                 name.GetIPAddr() + "]");
        EXPECT_TRUE(!ok || name.GetFileName() == file) << file;
    }
    EXPECT_EQ(seen, (std::vector<std::string>{"NE 9-3 []", "NE 0-26 []", "NE 0-0 []",
                                              "NE 0-0 [10.1.2.3]", "NE 0-0 []", "NE 0-0 []",
                                              "NE 0-0 []", "refused", "refused", "refused"}));
}
