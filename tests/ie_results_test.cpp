#include <gtest/gtest.h>

#include <list>
#include <set>
#include <sstream>
#include <vector>

#include "ie/ResultBatchId.h"
#include "qx_scriptutil/QXScriptErrMgr.h"

using namespace NSQX_script;

namespace {

class IeResults : public ::testing::Test {
  protected:
    void SetUp() override { QXScriptErrMgr::Destroy(); }
    void TearDown() override { QXScriptErrMgr::Destroy(); }
};

}  // namespace

TEST_F(IeResults, OrderingsCompareOnlyTheirKeyFields) {
    using Op = TScriptOperationResult;
    EXPECT_TRUE(Op(1, 9, 0) < Op(2, 0, 0));
    EXPECT_TRUE(Op(1, 1, 5) < Op(1, 2, 0));
    EXPECT_FALSE(Op(1, 1, 0) < Op(1, 1, 5));  // the result does not count
    EXPECT_FALSE(Op(1, 1, 5) < Op(1, 1, 0));
    EXPECT_TRUE(Op(1, 0, 0) < Op(~0UL, 0, 0));  // unsigned

    using Port = TScriptPortOperationResult;
    EXPECT_TRUE(Port(1, 1, 1, 1, 1, 1, 9) < Port(1, 1, 1, 1, 1, 2, 0));
    EXPECT_TRUE(Port(1, 1, 1, 1, 1, 9, 0) < Port(1, 1, 1, 2, 0, 0, 0));
    EXPECT_TRUE(Port(1, 1, 0xFFFFFFFFu, 0, 0, 0, 0) < Port(1, 2, 0, 0, 0, 0, 0));
    EXPECT_TRUE(Port(0, 0, 0, 1, 0, 0, 0) < Port(0, 0, 0, 0xFFFF, 0, 0, 0));
    EXPECT_FALSE(Port(1, 2, 3, 4, 5, 6, 7) < Port(1, 2, 3, 4, 5, 6, 0));
    EXPECT_FALSE(Port(1, 2, 3, 4, 5, 6, 0) < Port(1, 2, 3, 4, 5, 6, 7));

    // Equal texts: the kind decides, signed; detail and value do not count.
    EXPECT_TRUE(TScriptResult("abc", -1, "z", 9) < TScriptResult("abc", 0, "a", 0));
    EXPECT_FALSE(TScriptResult("abc", 0, "a", 0) < TScriptResult("abc", -1, "z", 9));
    EXPECT_TRUE(TScriptResult("ab", 5, "", 0) < TScriptResult("abc", 0, "", 0));
    // Bytes after an embedded NUL do not count: the texts are equal, the kind decides.
    const TScriptResult nulA(CStdString(std::string("ab\0x", 4)), 0, "", 0);
    const TScriptResult nulB(CStdString(std::string("ab\0y", 4)), 0, "", 0);
    EXPECT_FALSE(nulA < nulB);
    EXPECT_FALSE(nulB < nulA);
    // Bytes compare unsigned, as strcmp does.
    EXPECT_TRUE(TScriptResult("a", 0, "", 0) < TScriptResult("\xC3", 0, "", 0));
}

TEST_F(IeResults, AppendsKeepArrivalOrderAndFieldOrder) {
    TScriptManagementResult r;
    r.AppendOperationResult(3, 1, 7);
    r.AppendOperationResult({{1, 1, 1}, {2, 2, 2}});
    r.AppendOperationResult(std::list<TScriptOperationResult>{});
    EXPECT_EQ(3ul, r.GetOperationResultVectorSize());
    r.AppendPortOperRslt(1, 2, 3, 4, 5, 6, 7);
    r.AppendPortOperRslt({TScriptPortOperationResult(0, 0, 0, 0, 0, 0, 99)});
    r.AppendPortOperRslt(std::list<TScriptPortOperationResult>{});
    // Arguments (text, kind, value, detail) land in the fields (text, kind, detail, value).
    r.AppendScriptResult("line 3", 2, 1090614023, "syntax");
    std::vector<TScriptResult> vec{{"v1", 0, "", 0}, {"v2", 0, "", 0}};
    std::list<TScriptResult> lst{{"l1", 1, "d", 2}};
    r.AppendScriptResult(vec);
    r.AppendScriptResult(lst);
    r.AppendScriptResult(std::vector<TScriptResult>{});
    r.AppendScriptResult(std::list<TScriptResult>{});

    std::ostringstream all;
    for (const auto& o : r.m_operationResults)
        all << o.m_key1 << ',' << o.m_key2 << ',' << o.m_value << '|';
    for (const auto& p : r.m_portOperationResults) {
        all << p.m_key1 << ',' << p.m_key2 << ',' << p.m_key3 << ',' << p.m_key4 << ',' << p.m_key5
            << ',' << p.m_key6 << ',' << p.m_value << '|';
    }
    for (const auto& s : r.m_scriptResults)
        all << s.m_text << ',' << s.m_kind << ',' << s.m_detail << ',' << s.m_value << '|';
    EXPECT_EQ(
        "3,1,7|1,1,1|2,2,2|1,2,3,4,5,6,7|0,0,0,0,0,0,99|line 3,2,syntax,1090614023|v1,0,,0|"
        "v2,0,,0|l1,1,d,2|",
        all.str());
    // The sources are copied, not moved from.
    EXPECT_EQ("v1", vec[0].m_text);
    EXPECT_EQ("l1", lst.front().m_text);
}

TEST_F(IeResults, ManagerIsPerThreadAndDestroyStartsOver) {
    QXScriptErrMgr* mine = QXScriptErrMgr::Instance();
    ASSERT_NE(nullptr, mine);
    EXPECT_EQ(mine, QXScriptErrMgr::Instance());
    mine->m_errorCode = kScriptErrWriteFailed;
    mine->AppendOperationResult(1, 2, 3);
    EXPECT_EQ(0x42008134ul, QXScriptErrMgr::Instance()->m_errorCode);

    QXScriptErrMgr::Destroy();
    QXScriptErrMgr::Destroy();  // a thread without a manager: nothing happens
    QXScriptErrMgr* fresh = QXScriptErrMgr::Instance();
    EXPECT_EQ(0ul, fresh->m_errorCode);
    EXPECT_EQ(0ul, fresh->GetOperationResultVectorSize());
}

TEST(IeBatchId, DrawsVaryAndReportTheirSource) {
    std::set<std::uint16_t> ids;
    for (int i = 0; i < 64; ++i) ids.insert(NewResultBatchId());
    // 64 draws of 16 bits: all equal only if the generator is broken.
    EXPECT_GT(ids.size(), 32u);
    NewResultBatchId();
    EXPECT_TRUE(LastResultBatchIdWasStrong());  // the crypto generator seeds itself here
}
