#pragma once

// The enumeration table is process-wide: tests that load it start and end with it released.

#include <gtest/gtest.h>

#include "qx_platform/Control.h"
#include "qx_scriptutil/QXScriptEnumMgr.h"
#include "tests/TestFiles.h"

namespace enum_table {

// Drops every reference however often the table was loaded, then the manager itself.
inline void Release() {
    while (NSQX_script::QXScriptEnumMgr::GetRefCount() != 0 ||
           NSQX_script::QXScriptEnumMgr::IsLoaded()) {
        NSQX_script::QXScriptEnumMgr::Instance()->Release();
    }
    NSQX_script::QXScriptEnumMgr::Destroy();
}

// Tables are read from data/enum/; host overrides are reset afterwards.
class Test : public ::testing::Test {
  protected:
    void SetUp() override { qxp::SetAppRootPath(test_files::DataDir("enum/")); }
    void TearDown() override {
        Release();
        qxp::ResetOverrides();
    }
};

}  // namespace enum_table
