#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <thread>

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

TEST(PlatformXml, TreeKeepsElementsAndAttributesInOrder) {
    qxp::XmlNode root;
    ASSERT_TRUE(qxp::XmlParseFile(DataFile("tree.xml"), root));
    EXPECT_EQ(root.name, "Root");
    ASSERT_EQ(root.children.size(), 2u);
    const qxp::XmlNode& cmd = root.children[0];
    EXPECT_STREQ(cmd.Attribute("id"), "65537");
    EXPECT_EQ(cmd.Attribute("missing"), nullptr);
    ASSERT_EQ(cmd.children.size(), 2u);
    const qxp::XmlNode& para = cmd.children[0];
    ASSERT_EQ(para.attributes.size(), 3u);
    EXPECT_EQ(para.attributes[1], std::make_pair(std::string("z"), std::string("1")));
    EXPECT_EQ(para.attributes[2].first, "a");
    ASSERT_EQ(cmd.children[1].children.size(), 2u);
    EXPECT_STREQ(cmd.children[1].children[1].Attribute("str"), "off");
    EXPECT_EQ(root.children[1].name, "Cmd");
}

TEST(PlatformXml, BadFilesAreTracedWithLineAndCallNoInterpreter) {
    RecordingInterpreter interpreter;
    auto* registry = qxp::XmlInterpreterRegistry::Instance();
    registry->Register("test_interpreter", &interpreter);
    qxp::TraceCapture trace;

    EXPECT_EQ(registry->ParseFile(DataFile("malformed.xml"), "test_interpreter"), -1);
    ASSERT_FALSE(trace.Lines().empty());
    EXPECT_EQ(trace.Lines()[0].level, qxp::kTraceError);
    EXPECT_TRUE(trace.Contains("malformed.xml at line 4: mismatched tag"));

    trace.Clear();
    EXPECT_EQ(registry->ParseFile(DataFile("truncated.xml"), "test_interpreter"), -1);
    EXPECT_TRUE(trace.Contains("truncated.xml at line 3"));

    trace.Clear();
    EXPECT_EQ(registry->ParseFile(DataFile("absent.xml"), "test_interpreter"), -1);
    EXPECT_TRUE(trace.Contains("absent.xml"));
    EXPECT_EQ(interpreter.calls, 0);

    // A hostile nesting depth is refused rather than built.
    const std::string deep = testing::TempDir() + "qx_platform_deep.xml";
    if (FILE* f = std::fopen(deep.c_str(), "w")) {
        for (int i = 0; i < 5000; ++i) std::fputs("<a>", f);
        std::fclose(f);
    }
    trace.Clear();
    EXPECT_EQ(registry->ParseFile(deep, "test_interpreter"), -1);
    EXPECT_TRUE(trace.Contains("nested too deeply"));
    std::remove(deep.c_str());
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

    EXPECT_FALSE(framework->IsGuardedByStartMutex());
    framework->SetGuardedByStartMutex(true);
    EXPECT_TRUE(framework->IsGuardedByStartMutex());
    {
        qxp::ReadGuard a(framework->ProcessStartMutex());
        qxp::ReadGuard b(framework->ProcessStartMutex());  // readers share it
        EXPECT_TRUE(a.locked() && b.locked());
    }
    framework->SetGuardedByStartMutex(false);
}

}  // namespace
