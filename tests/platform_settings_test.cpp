#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "qx_platform/Control.h"
#include "qx_platform/Settings.h"
#include "qx_platform/Trace.h"
#include "tests/TestFiles.h"

namespace {

std::string DataFile(const char* name) {
    return test_files::DataDir("platform/") + name;
}

// Every test starts from the built-in defaults and leaves no override behind.
class PlatformSettings : public ::testing::Test {
  protected:
    void SetUp() override { TearDown(); }
    void TearDown() override {
        unsetenv("QX_PLATFORM_CONFIG");
        qxp::ResetOverrides();
    }
};

TEST_F(PlatformSettings, DefaultsWithoutConfiguration) {
    std::string value = "keep";
    EXPECT_FALSE(qxp::OrinGetRegString("TRANS", "script_path", value));
    EXPECT_NE(qxp::OrinGetUserCfgItem("TRANS", "encoding", value), 0);
    EXPECT_EQ(value, "keep");
    EXPECT_EQ(qxp::OrinGetServerVersionName(), "");
    EXPECT_EQ(qxp::OrinGetAppRootPath(), "./");
    EXPECT_EQ(qxp::OrinGetPackagePath("", ""), "./");
    EXPECT_FALSE(qxp::OrinGetUserName(12345).empty());  // the login name of the process

    // A missing configuration file is traced and the defaults apply.
    setenv("QX_PLATFORM_CONFIG", DataFile("no-such.ini").c_str(), 1);
    qxp::TraceCapture trace;
    qxp::ResetOverrides();
    EXPECT_EQ(qxp::OrinGetAppRootPath(), "./");
    EXPECT_TRUE(trace.Contains("no-such.ini"));
}

TEST_F(PlatformSettings, ConfigurationFileAndOverrides) {
    setenv("QX_PLATFORM_CONFIG", DataFile("settings.ini").c_str(), 1);
    qxp::TraceCapture trace;
    qxp::ResetOverrides();
    std::string value;
    ASSERT_TRUE(qxp::OrinGetRegString("TRANS", "script_path", value));
    EXPECT_EQ(value, "/data/scripts");
    EXPECT_FALSE(qxp::OrinGetRegString("OTHER", "script_path", value));
    ASSERT_EQ(qxp::OrinGetUserCfgItem("TRANS", "encoding", value), 0);
    EXPECT_EQ(value, "2");
    ASSERT_EQ(qxp::OrinGetUserCfgItem("TRANS", "slotversion", value), 0);
    EXPECT_EQ(value, "0");
    EXPECT_EQ(qxp::OrinGetUserName(7), "alice");
    EXPECT_EQ(qxp::OrinGetServerVersionName(), "V200R001");
    EXPECT_EQ(qxp::OrinGetAppRootPath(), "/opt/nms/");
    EXPECT_TRUE(trace.Contains("line 15"));  // the malformed line is reported, not fatal

    qxp::SetRegString("TRANS", "script_path", "/override");
    qxp::SetUserCfgItem("TRANS", "encoding", "3");
    qxp::SetUserName(7, "bob");
    qxp::SetServerVersionName("");
    ASSERT_TRUE(qxp::OrinGetRegString("TRANS", "script_path", value));
    EXPECT_EQ(value, "/override");
    ASSERT_EQ(qxp::OrinGetUserCfgItem("TRANS", "encoding", value), 0);
    EXPECT_EQ(value, "3");
    EXPECT_EQ(qxp::OrinGetUserName(7), "bob");
    EXPECT_EQ(qxp::OrinGetServerVersionName(), "");  // an empty override still wins

    qxp::ResetOverrides();
    EXPECT_EQ(qxp::OrinGetUserName(7), "alice");
    EXPECT_EQ(qxp::OrinGetServerVersionName(), "V200R001");
}

TEST_F(PlatformSettings, PackagePathPrefersAnExistingCandidate) {
    const test_files::TempDir tmp("qx_platform_settings");
    ASSERT_TRUE(tmp.ok());
    const std::string root = tmp.path();
    qxp::SetAppRootPath(root);
    EXPECT_EQ(qxp::OrinGetPackagePath("a/conf", "b/conf"), root + "/a/conf/");
    ASSERT_TRUE(std::filesystem::create_directories(tmp / "b/conf"));
    EXPECT_EQ(qxp::OrinGetPackagePath("a/conf", "b/conf/"), root + "/b/conf/");
    ASSERT_TRUE(std::filesystem::create_directories(tmp / "a/conf"));
    EXPECT_EQ(qxp::OrinGetPackagePath("a/conf", "b/conf"), root + "/a/conf/");
    EXPECT_EQ(qxp::OrinGetPackagePath("", ""), root + "/");
    EXPECT_EQ(qxp::OrinGetPackagePath(nullptr, "missing"), root + "/");
}

}  // namespace
