#include <gtest/gtest.h>

#include "qx_scriptutil/CmdNameConvert.h"

using namespace NSQX_script;

namespace {

class NameMap : public ::testing::Test {
  protected:
    void TearDown() override {
        for (unsigned long id : {3ul, 7ul, 9ul}) CmdNameConvert::RemoveCmdNameIDMap(id);
    }
};

}  // namespace

// An ID keeps its first name; a name seen under several IDs gives the lowest; names match
// case-sensitively and in full, null ones are ignored, and the map keeps its own copies.
TEST_F(NameMap, FirstNameOfAnIdStaysAndNameLookupGivesTheLowestId) {
    CmdNameConvert::AddCmdNameIDMap("A", 7);
    CmdNameConvert::AddCmdNameIDMap("A", 3);
    CmdNameConvert::AddCmdNameIDMap("B", 3);
    std::string name = "untouched";
    ASSERT_TRUE(CmdNameConvert::GetCorrespondCmdName(name, 3));
    EXPECT_EQ("A", name);
    unsigned long id = 99;
    for (const char* other : {"B", "a", "AB"}) {
        EXPECT_FALSE(CmdNameConvert::GetCorrespondCmdID(other, id)) << other;
    }
    EXPECT_EQ(99ul, id);
    ASSERT_TRUE(CmdNameConvert::GetCorrespondCmdID("A", id));
    EXPECT_EQ(3ul, id);

    CmdNameConvert::RemoveCmdNameIDMap(9);  // not registered: nothing changes
    CmdNameConvert::RemoveCmdNameIDMap(3);
    ASSERT_TRUE(CmdNameConvert::GetCorrespondCmdID("A", id));
    EXPECT_EQ(7ul, id);
    name = "kept";
    EXPECT_FALSE(CmdNameConvert::GetCorrespondCmdName(name, 3));
    EXPECT_EQ("kept", name);

    // Null names are ignored; the map keeps its own copy of a name.
    const std::size_t before = CmdNameConvert::m_CmdNameMap.size();
    CmdNameConvert::AddCmdNameIDMap(nullptr, 9);
    EXPECT_EQ(before, CmdNameConvert::m_CmdNameMap.size());
    EXPECT_FALSE(CmdNameConvert::GetCorrespondCmdID(nullptr, id));

    char copied[] = "cfg-set";
    CmdNameConvert::AddCmdNameIDMap(copied, 9);
    copied[0] = 'X';
    ASSERT_TRUE(CmdNameConvert::GetCorrespondCmdName(name, 9));
    EXPECT_EQ("cfg-set", name);
}
