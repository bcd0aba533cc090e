#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>

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
        return {11, {}, {}};
    }
    QXSingleReturn ImportFunc(unsigned long, unsigned long, ScriptFile&) override {
        return {22, {}, {}};
    }
};

unsigned long Convert(TScriptCmd const&, std::vector<TScriptCmd>&) {
    return 0;
}
unsigned long ConvertOther(TScriptCmd const&, std::vector<TScriptCmd>&) {
    return 1;
}

constexpr unsigned long kIds[] = {5, 10, 900, 901};

// A plug-in's address as the dump writes it: the low 32 bits in hexadecimal.
std::string Hex(const void* plugin) {
    char text[32];
    std::snprintf(text, sizeof text, "0x%X",
                  static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(plugin)));
    return text;
}

std::string NameOf(unsigned long id) {
    std::string name;
    CmdNameConvert::GetCorrespondCmdName(name, id);
    return name;
}

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
    static std::string Dump() {
        std::string out;
        ScriptManagerIF::Instance()->DumpInterfaces(out);
        return out;
    }

    ScriptManagerIF* mgr_ = ScriptManagerIF::Instance();
    FakePlugin a_{"a"};
    FakePlugin b_{"b"};
};

class NameMap : public ::testing::Test {
  protected:
    void TearDown() override {
        for (unsigned long id : {3ul, 7ul, 9ul}) CmdNameConvert::RemoveCmdNameIDMap(id);
    }
};

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
    qxp::TraceCapture capture;
    mgr_->RegisterInterface(10, "CMD10", 2, 1, &a_, Convert);
    mgr_->RegisterInterface(10, "CMD10", 2, 1, &b_, ConvertOther);
    const ScriptIEInterface* entry = Impl().Find(CmdIndex(10, 2, 1));
    ASSERT_NE(nullptr, entry);
    EXPECT_EQ(&ConvertOther, entry->m_pFunc);
    EXPECT_STREQ("b", (*entry)->GetPluginName());
    EXPECT_EQ("10, 2, 1, CMD10, " + Hex(&b_) + "\n", Dump());
    const auto lines = capture.Lines();
    EXPECT_EQ(2, std::count_if(lines.begin(), lines.end(), [](const auto& line) {
                  return line.text == ">> Script Item: type=1,funcid=2,cmdid=10,name=CMD10\n";
              }));

    // A row without a name registers the function but leaves the name map alone.
    const ScriptIERegItem table[] = {{901, 0, 1, nullptr, Convert}, {0, 0, 0, nullptr, nullptr}};
    mgr_->RegisterInterfaces(table, &a_);
    EXPECT_TRUE(capture.Contains(">> Script Item: type=1,funcid=0,cmdid=901,name=NULL\n"));
    EXPECT_EQ("10, 2, 1, CMD10, " + Hex(&b_) + "\n901, 0, 1, , " + Hex(&a_) + "\n", Dump());
}

TEST_F(IeRegistry, NullArgumentsAndEmptyTablesRegisterNothing) {
    const ScriptIERegItem table[] = {{10, 3, 7, "CMD10", Convert}, {0, 0, 0, nullptr, nullptr}};
    const ScriptIERegItem empty[] = {{0, 1, 1, "X", Convert}, {10, 1, 1, "CMD10", Convert}};
    qxp::TraceCapture capture;

    mgr_->RegisterInterfaces(table, nullptr);
    ASSERT_EQ(1u, capture.Lines().size());
    EXPECT_EQ(qxp::kTraceError, capture.Lines()[0].level);
    EXPECT_EQ(
        ">> Error:Regeister a NULL Interface!!\nScriptType=7, FuncID=3,                 "
        "CmdID=10\nWill skip this interface\n",
        capture.Lines()[0].text);

    capture.Clear();
    mgr_->RegisterInterfaces(nullptr, &a_);
    mgr_->RegisterInterfaces(empty, &a_);  // stops at the first row
    mgr_->UnRegisterInterfaces(nullptr);
    EXPECT_TRUE(capture.Lines().empty());
    EXPECT_EQ("", Dump());
    EXPECT_EQ("", NameOf(10));
}

TEST_F(IeRegistry, UnregisteringKeepsTheNameWhileTheCommandHasEntries) {
    const ScriptIERegItem both[] = {
        {10, 1, 1, "CMD10", Convert}, {10, 2, 1, "CMD10", Convert}, {0, 0, 0, nullptr, nullptr}};
    mgr_->RegisterInterfaces(both, &a_);
    const ScriptIERegItem first[] = {both[0], both[2]};
    mgr_->UnRegisterInterfaces(first);
    mgr_->UnRegisterInterfaces(first);  // already gone: nothing changes
    EXPECT_EQ("10, 2, 1, CMD10, " + Hex(&a_) + "\n", Dump());

    mgr_->UnRegisterInterfaces(both + 1);
    EXPECT_EQ("", Dump());
    EXPECT_EQ("", NameOf(10));
}

TEST_F(IeRegistry, PluginsPerTypeTakeTheGreatestFunctionId) {
    mgr_->RegisterInterface(10, "CMD10", 2, 1, &b_, Convert);
    mgr_->RegisterInterface(10, "CMD10", 1, 1, &a_, Convert);
    mgr_->RegisterInterface(5, "CMD5", 0, 1, &a_, Convert);
    mgr_->RegisterInterface(5, "CMD5", 0, 2, &b_, Convert);

    std::map<unsigned long, ScriptRegeisterIF*> out{{77, &a_}};
    mgr_->GetRegisterIFs(1, out);
    EXPECT_EQ((std::map<unsigned long, ScriptRegeisterIF*>{{5, &a_}, {10, &b_}}), out);
    mgr_->GetRegisterIFs(3, out);
    EXPECT_TRUE(out.empty());
}

TEST_F(IeRegistry, DumpListsEveryEntryInKeyOrder) {
    mgr_->RegisterInterface(10, "CMD10", 2, 1, &b_, Convert);
    mgr_->RegisterInterface(10, nullptr, 1, 1, &a_, Convert);
    mgr_->RegisterInterface(901, nullptr, 0, 1, &a_, Convert);  // no name anywhere
    std::string out = "kept|";                                  // appended to
    EXPECT_EQ(0, mgr_->DumpInterfaces(out));
    EXPECT_EQ("kept|10, 1, 1, CMD10, " + Hex(&a_) + "\n10, 2, 1, CMD10, " + Hex(&b_) +
                  "\n901, 0, 1, , " + Hex(&a_) + "\n",
              out);

    // A line longer than its 255-character buffer is cut, traced, and still appended.
    Clear();
    const std::string longName(300, 'N');
    mgr_->RegisterInterface(5, longName.c_str(), 0, 1, &a_, Convert);
    qxp::TraceCapture capture;
    EXPECT_EQ("5, 0, 1, " + std::string(246, 'N'), Dump());
    EXPECT_TRUE(capture.Contains("snprintf_s failed at line 262\n"));
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
    for (const char* other : {"B", "a", "AB"})
        EXPECT_FALSE(CmdNameConvert::GetCorrespondCmdID(other, id)) << other;
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
