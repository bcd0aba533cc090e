#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "qx_platform/StaticData.h"
#include "qx_platform/Trace.h"
#include "qx_platform/Xml.h"
#include "tests/TestFiles.h"

namespace {

std::string DataFile(const char* name) {
    return test_files::DataDir("platform/") + name;
}

// Records what it was given, and on which kind of thread.
class RecordingInterpreter : public qxp::XmlInterpreter {
  public:
    int Interpret(const qxp::XmlNode& root) override {
        ++calls;
        last = root;
        onLoadingThread = qxp::StaticDataFramework::Instance()->IsDataLoadingThread();
        return result;
    }
    int calls = 0;
    int result = 0;
    bool onLoadingThread = false;
    qxp::XmlNode last;
};

class CountingMgr : public qxp::StaticDataMgrIF {
  public:
    unsigned int SwapInst() override {
        ++swaps;
        onLoadingThread = qxp::StaticDataFramework::Instance()->IsDataLoadingThread();
        return 0;
    }
    int swaps = 0;
    bool onLoadingThread = true;
};

// The tree as one line: name, attributes in order, then the children in brackets.
std::string Render(const qxp::XmlNode& node) {
    std::string out = node.name;
    for (const auto& [name, value] : node.attributes) out += " " + name + "=" + value;
    for (std::size_t i = 0; i < node.children.size(); ++i)
        out += (i == 0 ? "(" : ",") + Render(node.children[i]);
    return node.children.empty() ? out : out + ")";
}

TEST(PlatformXml, TreeKeepsElementsAndAttributesInOrder) {
    qxp::XmlNode root;
    ASSERT_TRUE(qxp::XmlParseFile(DataFile("tree.xml"), root));
    EXPECT_EQ(
        Render(root),
        "Root version=2(Cmd name=cfg-set id=65537(Para name=A z=1 a=2,Para name=B(Value num=1 "
        "str=on,Value num=0 str=off)),Cmd name=cfg-get id=-4)");
    EXPECT_STREQ(root.children.at(0).Attribute("id"), "65537");
    EXPECT_EQ(root.children.at(0).Attribute("missing"), nullptr);
}

TEST(PlatformXml, BadFilesAreTracedWithLineAndCallNoInterpreter) {
    RecordingInterpreter interpreter;
    auto* registry = qxp::XmlInterpreterRegistry::Instance();
    registry->Register("test_interpreter", &interpreter);
    // A hostile nesting depth is refused rather than built.
    const test_files::TempDir tmp("qx_platform_xml");
    std::string deep;
    for (int i = 0; i < 5000; ++i) deep += "<a>";
    ASSERT_TRUE(test_files::WriteFile(tmp / "deep.xml", deep));
    // The same failure comes back as a value: line, column, reason.
    struct Bad {
        std::string path;
        const char* message;
        std::string where;
    };
    const Bad bad[] = {
        {DataFile("malformed.xml"), "malformed.xml at line 4: mismatched tag",
         "4:5 mismatched tag"},
        {DataFile("truncated.xml"), "truncated.xml at line 3", "3:1 no element found"},
        {DataFile("absent.xml"), "absent.xml", "0:0 No such file or directory"},
        {tmp / "deep.xml", "nested too deeply", "1:3001 elements nested too deeply"},
    };
    for (const auto& [path, message, where] : bad) {
        qxp::TraceCapture trace;
        EXPECT_EQ(registry->ParseFile(path, "test_interpreter"), -1) << path;
        ASSERT_FALSE(trace.Lines().empty()) << path;
        EXPECT_EQ(trace.Lines()[0].level, qxp::kTraceError) << path;
        EXPECT_TRUE(trace.Contains(message)) << path;
        qxp::XmlNode root;
        qxp::XmlError why;
        EXPECT_FALSE(qxp::XmlParseFile(path, root, &why));
        EXPECT_EQ(std::to_string(why.line) + ":" + std::to_string(why.column) + " " + why.reason,
                  where);
    }
    EXPECT_EQ(interpreter.calls, 0);

    EXPECT_EQ(registry->ParseFile(DataFile("tree.xml"), "nobody"), -1);
    interpreter.result = 7;
    EXPECT_EQ(registry->ParseFile(DataFile("tree.xml"), "test_interpreter"), 7);
    EXPECT_EQ(interpreter.calls, 1);
    EXPECT_EQ(interpreter.last.name, "Root");
    registry->Unregister("test_interpreter");
    EXPECT_EQ(registry->Find("test_interpreter"), nullptr);
}

TEST(PlatformXml, AttributeHelpers) {
    const char* attrs[] = {"num", "-12", "str", "on", "bad", "12x", "empty", "", nullptr};
    std::string text = "keep";
    long num = 99;
    EXPECT_TRUE(qxp::XmlAttrText(attrs, "str", text));
    EXPECT_EQ(text, "on");
    EXPECT_TRUE(qxp::XmlAttrText(attrs, "empty", text));
    EXPECT_EQ(text, "");
    EXPECT_TRUE(qxp::XmlAttrInt(attrs, "num", num));
    EXPECT_EQ(num, -12);
    EXPECT_FALSE(qxp::XmlAttrInt(attrs, "bad", num));
    EXPECT_FALSE(qxp::XmlAttrInt(attrs, "empty", num));
    EXPECT_FALSE(qxp::XmlAttrInt(attrs, "absent", num));
    EXPECT_FALSE(qxp::XmlAttrText(nullptr, "str", text));
    EXPECT_EQ(num, -12);
}

TEST(PlatformXml, StaticDataLoadsOnItsOwnThreadThenSwaps) {
    auto* framework = qxp::StaticDataFramework::Instance();
    RecordingInterpreter interpreter;
    CountingMgr mgr;
    qxp::XmlInterpreterRegistry::Instance()->Register("static_test", &interpreter);
    framework->Register("test_module", &mgr);

    EXPECT_FALSE(framework->IsDataLoadingThread());
    EXPECT_EQ(
        framework->Load("test_module", {DataFile("tree.xml"), DataFile("tree.xml")}, "static_test"),
        0u);
    EXPECT_EQ(interpreter.calls, 2);
    EXPECT_TRUE(interpreter.onLoadingThread);
    EXPECT_EQ(mgr.swaps, 1);
    EXPECT_FALSE(mgr.onLoadingThread);
    EXPECT_FALSE(framework->IsDataLoadingThread());

    framework->Unregister("test_module");
    EXPECT_EQ(framework->Load("test_module", {}, "static_test"), 0xFFFFFFFFu);
    EXPECT_EQ(mgr.swaps, 1);
    qxp::XmlInterpreterRegistry::Instance()->Unregister("static_test");

    qxp::ReadGuard a(framework->ProcessStartMutex());
    qxp::ReadGuard b(framework->ProcessStartMutex());  // readers share the start mutex
    EXPECT_TRUE(a.locked() && b.locked());
}

}  // namespace
