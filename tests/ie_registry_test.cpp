#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>

#include "ie/ScriptManagerIFImpl.h"
#include "qx_platform/Trace.h"
#include "qx_scriptutil/CmdNameConvert.h"
#include "qx_scriptutil/ScriptRegistry.h"

using namespace NSQX_script;

namespace {

class FakePlugin : public ScriptRegeisterIF {
  public:
    explicit FakePlugin(const char* name) : name_(name) {}
    const char* GetPluginName() const override { return name_; }

  private:
    const char* name_;
};

// Overrides only the reference forms, to see the pointer forms forward to them.
class HandlingPlugin : public FakePlugin {
  public:
    HandlingPlugin() : FakePlugin("handling") {}
    using ScriptRegeisterIF::ExportFunc;
    using ScriptRegeisterIF::ImportFunc;
    QXSingleReturn ExportFunc(unsigned long, unsigned long, ScriptFile&) override {
        QXSingleReturn r;
        r.code = 11;
        return r;
    }
    QXSingleReturn ImportFunc(unsigned long, unsigned long, ScriptFile&) override {
        QXSingleReturn r;
        r.code = 22;
        return r;
    }
};

unsigned long Convert(TScriptCmd const&, std::vector<TScriptCmd>&) {
    return 0;
}
unsigned long ConvertOther(TScriptCmd const&, std::vector<TScriptCmd>&) {
    return 1;
}

constexpr unsigned long kIds[] = {5, 10, 900, 901};

class IeRegistry : public ::testing::Test {
  protected:
    void TearDown() override { Clear(); }
    void SetUp() override { Clear(); }

    static void Clear() {
        Impl().Clear();
        for (unsigned long id : kIds) CmdNameConvert::RemoveCmdNameIDMap(id);
    }
    static ScriptManagerIFImpl& Impl() {
        return *static_cast<ScriptManagerIFImpl*>(ScriptManagerIF::Instance());
    }

    FakePlugin a_{"a"};
    FakePlugin b_{"b"};
};

std::string NameOf(unsigned long id) {
    std::string name;
    CmdNameConvert::GetCorrespondCmdName(name, id);
    return name;
}

}  // namespace

TEST_F(IeRegistry, KeysOrderByTypeThenCommandThenFunction) {
    EXPECT_TRUE(CmdIndex(900, 0, 1) < CmdIndex(5, 0, 2));
    EXPECT_FALSE(CmdIndex(5, 0, 2) < CmdIndex(900, 0, 1));
    EXPECT_TRUE(CmdIndex(5, 9, 1) < CmdIndex(6, 0, 1));
    EXPECT_TRUE(CmdIndex(5, 1, 1) < CmdIndex(5, 2, 1));
    EXPECT_TRUE(CmdIndex(5, 1, 1) == CmdIndex(5, 1, 1));
    EXPECT_FALSE(CmdIndex(5, 1, 1) == CmdIndex(5, 1, 2));
    // The script type is compared unsigned.
    EXPECT_TRUE(CmdIndex(5, 0, 1) < CmdIndex(5, 0, -1));
}

TEST_F(IeRegistry, RegistrationReplacesSilentlyAndFeedsTheNameMap) {
    ScriptManagerIF* mgr = ScriptManagerIF::Instance();
    qxp::TraceCapture capture;
    mgr->RegisterInterface(10, "CMD10", 2, 1, &a_, Convert);
    mgr->RegisterInterface(10, "CMD10", 2, 1, &b_, ConvertOther);
    const ScriptIEInterface* entry = Impl().Find(CmdIndex(10, 2, 1));
    ASSERT_NE(nullptr, entry);
    EXPECT_EQ(&b_, entry->m_pPlugin);
    EXPECT_EQ(&ConvertOther, entry->m_pFunc);
    EXPECT_STREQ("b", (*entry)->GetPluginName());
    EXPECT_EQ(1u, Impl().Entries().size());

    int items = 0;
    for (const auto& line : capture.Lines()) {
        if (line.text == ">> Script Item: type=1,funcid=2,cmdid=10,name=CMD10\n") ++items;
    }
    EXPECT_EQ(2, items);
    EXPECT_EQ("CMD10", NameOf(10));

    // A row without a name registers the function but leaves the name map alone.
    const ScriptIERegItem table[] = {{901, 0, 1, nullptr, Convert}, {0, 0, 0, nullptr, nullptr}};
    mgr->RegisterInterfaces(table, &a_);
    EXPECT_TRUE(capture.Contains(">> Script Item: type=1,funcid=0,cmdid=901,name=NULL\n"));
    EXPECT_NE(nullptr, Impl().Find(CmdIndex(901, 0, 1)));
    EXPECT_EQ("", NameOf(901));
}

TEST_F(IeRegistry, NullArgumentsAndEmptyTablesRegisterNothing) {
    ScriptManagerIF* mgr = ScriptManagerIF::Instance();
    const ScriptIERegItem table[] = {{10, 3, 7, "CMD10", Convert}, {0, 0, 0, nullptr, nullptr}};
    const ScriptIERegItem empty[] = {{0, 1, 1, "X", Convert}, {10, 1, 1, "CMD10", Convert}};
    qxp::TraceCapture capture;

    mgr->RegisterInterfaces(table, nullptr);
    ASSERT_EQ(1u, capture.Lines().size());
    EXPECT_EQ(qxp::kTraceError, capture.Lines()[0].level);
    EXPECT_EQ(
        ">> Error:Regeister a NULL Interface!!\nScriptType=7, FuncID=3,                 "
        "CmdID=10\nWill skip this interface\n",
        capture.Lines()[0].text);

    capture.Clear();
    mgr->RegisterInterfaces(nullptr, &a_);
    mgr->RegisterInterfaces(empty, &a_);  // stops at the first row
    mgr->UnRegisterInterfaces(nullptr);
    EXPECT_TRUE(capture.Lines().empty());
    EXPECT_TRUE(Impl().Entries().empty());
    EXPECT_EQ("", NameOf(10));
}

TEST_F(IeRegistry, UnregisteringKeepsTheNameWhileTheCommandHasEntries) {
    ScriptManagerIF* mgr = ScriptManagerIF::Instance();
    const ScriptIERegItem both[] = {
        {10, 1, 1, "CMD10", Convert}, {10, 2, 1, "CMD10", Convert}, {0, 0, 0, nullptr, nullptr}};
    const ScriptIERegItem first[] = {{10, 1, 1, "CMD10", Convert}, {0, 0, 0, nullptr, nullptr}};
    const ScriptIERegItem second[] = {{10, 2, 1, "CMD10", Convert}, {0, 0, 0, nullptr, nullptr}};
    mgr->RegisterInterfaces(both, &a_);

    mgr->UnRegisterInterfaces(first);
    EXPECT_EQ(nullptr, Impl().Find(CmdIndex(10, 1, 1)));
    EXPECT_EQ("CMD10", NameOf(10));
    mgr->UnRegisterInterfaces(first);  // already gone: nothing changes
    EXPECT_EQ("CMD10", NameOf(10));

    mgr->UnRegisterInterfaces(second);
    EXPECT_TRUE(Impl().Entries().empty());
    EXPECT_EQ("", NameOf(10));
}

TEST_F(IeRegistry, PluginsPerTypeTakeTheGreatestFunctionId) {
    ScriptManagerIF* mgr = ScriptManagerIF::Instance();
    mgr->RegisterInterface(10, "CMD10", 2, 1, &b_, Convert);
    mgr->RegisterInterface(10, "CMD10", 1, 1, &a_, Convert);
    mgr->RegisterInterface(5, "CMD5", 0, 1, &a_, Convert);
    mgr->RegisterInterface(5, "CMD5", 0, 2, &b_, Convert);

    std::map<unsigned long, ScriptRegeisterIF*> out{{77, &a_}};
    mgr->GetRegisterIFs(1, out);
    EXPECT_EQ((std::map<unsigned long, ScriptRegeisterIF*>{{5, &a_}, {10, &b_}}), out);
    mgr->GetRegisterIFs(3, out);
    EXPECT_TRUE(out.empty());
}

TEST_F(IeRegistry, DumpListsEveryEntryInKeyOrder) {
    ScriptManagerIF* mgr = ScriptManagerIF::Instance();
    mgr->RegisterInterface(10, "CMD10", 2, 1, &b_, Convert);
    mgr->RegisterInterface(10, nullptr, 1, 1, &a_, Convert);
    mgr->RegisterInterface(901, nullptr, 0, 1, &a_, Convert);  // no name anywhere

    char lineA[64], lineB[64];
    std::snprintf(lineA, sizeof lineA, "0x%X",
                  static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(&a_)));
    std::snprintf(lineB, sizeof lineB, "0x%X",
                  static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(&b_)));
    std::string out = "kept|";
    EXPECT_EQ(0, mgr->DumpInterfaces(out));
    EXPECT_EQ(std::string("kept|10, 1, 1, CMD10, ") + lineA + "\n10, 2, 1, CMD10, " + lineB +
                  "\n901, 0, 1, , " + lineA + "\n",
              out);

    // A line longer than its 255-character buffer is cut, traced, and still appended.
    Clear();
    const std::string longName(300, 'N');
    mgr->RegisterInterface(5, longName.c_str(), 0, 1, &a_, Convert);
    qxp::TraceCapture capture;
    out.clear();
    mgr->DumpInterfaces(out);
    EXPECT_TRUE(capture.Contains("snprintf_s failed at line 262\n"));
    EXPECT_EQ(255u, out.size());
    EXPECT_EQ(0u, out.find("5, 0, 1, NNN"));
}

TEST_F(IeRegistry, BaseHooksReportNotHandledAndPointerFormsForward) {
    FakePlugin base("base");
    EXPECT_EQ(ScriptRegeisterIF::kNotHandled, base.ExportFunc(1, 2, nullptr).code);
    EXPECT_EQ(~0UL, base.ImportFunc(1, 2, nullptr).code);
    EXPECT_FALSE(base.IsIFSupportUnconfigedState(3));

    HandlingPlugin handling;
    ScriptFile* file = reinterpret_cast<ScriptFile*>(&handling);  // never dereferenced
    EXPECT_EQ(11ul, handling.ExportFunc(1, 2, file).code);
    EXPECT_EQ(22ul, handling.ImportFunc(1, 2, file).code);
    // A null file is not handed on.
    EXPECT_EQ(ScriptRegeisterIF::kNotHandled, handling.ImportFunc(1, 2, nullptr).code);
    const QXSingleReturn r = base.ExportFunc(1, 2, *file);
    EXPECT_TRUE(r.text.empty());
    EXPECT_TRUE(r.detail.empty());
}
