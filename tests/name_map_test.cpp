#include <gtest/gtest.h>

#include "qx_scriptutil/CmdNameConvert.h"

using namespace NSQX_script;

namespace {

class NameMap : public ::testing::Test {
  protected:
    void TearDown() override {
        for (unsigned long id : {3ul, 5ul, 7ul, 9ul}) CmdNameConvert::RemoveCmdNameIDMap(id);
    }
};

}  // namespace

TEST_F(NameMap, FirstRegistrationOfAnIdStays) {
    CmdNameConvert::AddCmdNameIDMap("A", 5);
    CmdNameConvert::AddCmdNameIDMap("B", 5);
    std::string name = "untouched";
    ASSERT_TRUE(CmdNameConvert::GetCorrespondCmdName(name, 5));
    EXPECT_EQ("A", name);
    unsigned long id = 0;
    EXPECT_FALSE(CmdNameConvert::GetCorrespondCmdID("B", id));
}

TEST_F(NameMap, NameLookupGivesLowestIdAndIsCaseSensitive) {
    CmdNameConvert::AddCmdNameIDMap("A", 7);
    CmdNameConvert::AddCmdNameIDMap("A", 3);
    unsigned long id = 0;
    ASSERT_TRUE(CmdNameConvert::GetCorrespondCmdID("A", id));
    EXPECT_EQ(3ul, id);

    id = 99;
    EXPECT_FALSE(CmdNameConvert::GetCorrespondCmdID("a", id));
    EXPECT_FALSE(CmdNameConvert::GetCorrespondCmdID("AB", id));
    EXPECT_EQ(99ul, id);

    CmdNameConvert::RemoveCmdNameIDMap(9);  // not registered: nothing changes
    CmdNameConvert::RemoveCmdNameIDMap(3);
    ASSERT_TRUE(CmdNameConvert::GetCorrespondCmdID("A", id));
    EXPECT_EQ(7ul, id);
    std::string name = "kept";
    EXPECT_FALSE(CmdNameConvert::GetCorrespondCmdName(name, 3));
    EXPECT_EQ("kept", name);
}

TEST_F(NameMap, IgnoresNullNamesAndStoresItsOwnCopy) {
    const std::size_t before = CmdNameConvert::m_CmdNameMap.size();
    CmdNameConvert::AddCmdNameIDMap(nullptr, 9);
    EXPECT_EQ(before, CmdNameConvert::m_CmdNameMap.size());
    unsigned long id = 0;
    EXPECT_FALSE(CmdNameConvert::GetCorrespondCmdID(nullptr, id));

    char name[] = "cfg-set";
    CmdNameConvert::AddCmdNameIDMap(name, 9);
    name[0] = 'X';
    std::string stored;
    ASSERT_TRUE(CmdNameConvert::GetCorrespondCmdName(stored, 9));
    EXPECT_EQ("cfg-set", stored);
}
