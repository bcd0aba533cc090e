#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qx_platform/Control.h"
#include "qx_platform/Task.h"
#include "qx_platform/Trace.h"
#include "qx_scriptutil/Escaping.h"
#include "qx_scriptutil/QXScriptEnumMgr.h"
#include "tests/TestFiles.h"

using namespace NSQX_script;

namespace {

std::string Unconvert(std::string in) {
    std::string out = "stale";
    UnConvertSpecialCharInStr(out, in);
    return out;
}

// Runs the unescaping as a task of the given script version does.
std::string UnconvertAs(char const* version, std::string in) {
    qxp::OrinGnlTask task;
    task.GetContext()->SetFlag("Script_Version", version);
    qxp::ScopedCurrentTask current(&task);
    return Unconvert(std::move(in));
}

}  // namespace

// Scripts from version 50855936 on drop every escaping backslash; older ones, and tasks without
// a flag or a number, undo only escaped quotes and even runs of backslashes.
TEST(Escaping, UnescapingFollowsTheScriptVersion) {
    using Texts = std::vector<std::string>;
    auto unconvertAll = [](const char* version, Texts texts) {
        for (std::string& t : texts) t = UnconvertAs(version, t);
        return texts;
    };
    EXPECT_EQ(unconvertAll("50855936", {"\\x", "a\\\\b", "\\\"q\\\"", "\\\\\\"}),
              (Texts{"x", "a\\b", "\"q\"", "\\"}));
    EXPECT_EQ(UnconvertAs("60000000", "end\\"), "end");
    EXPECT_EQ(unconvertAll("50855935", {"\\x", "\\\"q", "\\'q", "\\\\n", "ab\\\\", "ab\\\\\\",
                                        "\\\\\\\"x", "no escapes"}),
              (Texts{"\\x", "\"q", "'q", "\\n", "ab\\", "ab\\\\\\", "\\\"x", "no escapes"}));
    EXPECT_EQ(UnconvertAs("", "\\x"), "\\x");
    EXPECT_EQ(UnconvertAs("v3", "\\x"), "\\x");
    EXPECT_EQ(Unconvert("\\x"), "\\x");  // no task
    qxp::OrinGnlTask task;               // a task without the flag
    qxp::ScopedCurrentTask current(&task);
    EXPECT_EQ(Unconvert("\\x"), "\\x");
}

TEST(Escaping, CfgEncodingFollowsTheEncodingSetting) {
    {
        qxp::TraceCapture trace;
        EXPECT_STREQ(GetCfgEncoding(), "UTF-8");  // no table loaded
        EXPECT_FALSE(trace.Contains("encoding ="));
    }
    qxp::SetAppRootPath(test_files::DataDir("enum/"));
    for (auto const& [setting, expected] : {std::pair<char const*, char const*>{"0", "GBK"},
                                            {"1", "UTF-8"},
                                            {"2", "ISO8859-1"},
                                            {"3", "UTF-8"}}) {
        qxp::SetUserCfgItem("TRANS", "encoding", setting);
        ASSERT_EQ(QXScriptEnumMgr::Instance()->Init("good.xml"), 0u);
        qxp::TraceCapture trace;
        EXPECT_STREQ(GetCfgEncoding(), expected);
        EXPECT_TRUE(
            trace.Contains(std::string("Get cfg from cfgfile succed encoding = ") + setting));
        QXScriptEnumMgr::Instance()->Release();
    }
    qxp::ResetOverrides();
}
