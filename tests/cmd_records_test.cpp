#include <gtest/gtest.h>

#include <set>

#include "tests/TreeText.h"

using namespace NSQX_script;
using tree_text::Para;
using tree_text::Show;

namespace {

// A plain parameter and one with three levels of nested groups.
std::vector<MMLParaStruct> Paras() {
    return {
        Para("A", {1L}),
        Para("A", {}, {{Para("B", {}, {{Para("C", {}, {{Para("D", {1L})}})}}), Para("E", {2L})}})};
}

}  // namespace

TEST(CmdRecords, ViewDeletesInTheVectorItDoesNotOwn) {
    TScriptCmdRef empty;
    empty.DeleteAllPara();  // a view of nothing: harmless
    EXPECT_EQ(0u, empty.GetSize());

    std::vector<MMLParaStruct> list = Paras();
    list.reserve(10);
    TScriptCmdRef ref(7, &list, 3);
    EXPECT_EQ(2u, ref.GetSize());
    ref.DeleteAllPara();
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(10u, list.capacity());
}

TEST(CmdRecords, CopiesAreDeepAndPointAtTheirOwnList) {
    std::vector<MMLParaStruct> source = Paras();
    TScriptCmd cmd(42, source, 9);
    EXPECT_EQ(2u, source.size());  // the constructor copies, it does not take

    TScriptCmd copy(cmd);
    EXPECT_EQ(42ul, copy.GetCmdCode());
    EXPECT_EQ(9ul, copy.GetLineNo());
    copy.GetParaList().clear();
    EXPECT_EQ(2u, cmd.GetSize());
    EXPECT_EQ(0u, copy.GetSize());  // GetSize reads through the copy's own pointer

    TScriptCmd assigned;
    assigned = cmd;
    cmd.GetParaList()[1].objects[0][0].objects[0][0].objects[0][0].values[0] = QXValue(5L);
    EXPECT_EQ("'A'=1,'A'={'B'={'C'={'D'=1}},'E'=2}", Show(assigned.GetParaList()));
    assigned.DeleteAllPara();
    EXPECT_EQ(2u, cmd.GetSize());

    TScriptCmd moved(std::move(copy));
    moved.GetParaList().push_back(Para("Z", {0L}));
    EXPECT_EQ(1u, moved.GetSize());

    // Self-assignment keeps the list; a larger target shrinks to the source.
    const TScriptCmd& alias = moved;
    moved = alias;
    EXPECT_EQ(1u, moved.GetSize());
    std::vector<MMLParaStruct> big{Para("A", {1L}), Para("B", {2L}), Para("C", {3L})};
    TScriptCmd target(1, big, 1);
    target = cmd;
    EXPECT_EQ(9ul, target.GetLineNo());
    EXPECT_EQ("'A'=1,'A'={'B'={'C'={'D'=5}},'E'=2}", Show(target.GetParaList()));
}

TEST(CmdRecords, OrderedByCommandCodeAlone) {
    std::vector<MMLParaStruct> one{Para("A", {1L})};
    TScriptCmd a(5, one, 1);
    TScriptCmd b(5);
    TScriptCmd c(6);
    EXPECT_FALSE(a < b);
    EXPECT_FALSE(b < a);
    EXPECT_TRUE(a < c);

    std::set<TScriptCmd> set{a, b, c};
    EXPECT_EQ(2u, set.size());
    EXPECT_EQ(1u, set.begin()->GetSize());  // the first inserted of code 5 stays
}

// A tree nested far deeper than the call stack could walk: copies, assignments (also of a
// subtree to its own ancestor) and destruction go through it level by level.
TEST(CmdRecords, DeepTreesCopyAssignAndFreeWithoutRecursion) {
    constexpr int kDepth = 100000;
    auto Chain = [](int depth) {
        MMLParaStruct top = Para("A", {1L});
        for (int i = 1; i < depth; ++i) {
            MMLParaStruct outer = Para("A", {}, {{}});
            outer.objects[0].push_back(std::move(top));
            top = std::move(outer);
        }
        return top;
    };
    auto Depth = [](const MMLParaStruct& p) {
        int n = 1;
        for (const MMLParaStruct* q = &p; !q->objects.empty(); q = &q->objects[0][0]) ++n;
        return n;
    };
    std::vector<MMLParaStruct> list{Chain(kDepth)};
    TScriptCmd cmd(1, list, 1);
    TScriptCmd copy(cmd);
    EXPECT_EQ(kDepth, Depth(copy.GetParaList()[0]));
    copy = TScriptCmd(2);
    copy = cmd;
    EXPECT_EQ(kDepth, Depth(copy.GetParaList()[0]));

    // Assigning a node from deep inside the tree to the root keeps the node's own subtree.
    MMLParaStruct& root = copy.GetParaList()[0];
    root = root.objects[0][0].objects[0][0];
    EXPECT_EQ(kDepth - 2, Depth(root));
    root = std::move(root.objects[0][0]);
    EXPECT_EQ(kDepth - 3, Depth(root));
    EXPECT_EQ(1, Depth(Para("A", {1L}) = Chain(3).objects[0][0].objects[0][0]));
}
