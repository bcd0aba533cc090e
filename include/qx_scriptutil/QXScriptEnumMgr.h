#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "qx_platform/Lock.h"
#include "qx_platform/Singleton.h"
#include "qx_scriptutil/EnumMap.h"
#include "qx_scriptutil/ScriptConfig.h"

namespace NSQX_script {

// The process-wide enumeration table, loaded from "script_enum.xml" files by Init, and the
// conversions between enumeration names and codes on it. It also holds three user settings of
// the host under command ID 0 ("encoding"/"curscriptencoding", "slotversion"/"curslotversion",
// "bExportScriptToRestoreNEdata"/"curbExportScriptToRestoreNEdata"; 1 by default).
// Ownership: the class owns the map and the singleton instance, which owns the list of loaded
// files. The instance lives in static storage: Destroy() empties it (no table, not loaded, count
// 0, no files) and clears m_pInstance, and the next Instance() hands it out again, so a pointer
// another thread got from Instance() never dangles. Locking: m_RWMutex (built at library load)
// guards the map, m_bLoaded, m_refCnt and the file list; Init, Release and Destroy hold it for
// writing, the lookups for reading. Instance() and Destroy() take the host's static-object lock,
// always after m_RWMutex where both are held.
class QX_API QXScriptEnumMgr {
  public:
    static QXScriptEnumMgr* Instance();
    static void Destroy();

    // Loads a file (a path below the package directory; nullptr for the default
    // "script_enum.xml", see ScriptConfigPath). 0 on success and for a file loaded before,
    // 0xFFFFFFFF on failure. Every successful Init, InitFile and InitText is matched by one
    // Release.
    unsigned long Init(char const* path);
    // Loads the file at path as named (not below the package directory), as Init does, except
    // that a document ending inside an element is refused and that, with error given, a
    // failure is described there instead of printed.
    unsigned long InitFile(std::string const& path, ScriptConfigError* error = nullptr);
    // Loads a table held in memory, as InitFile does; name stands for it in the list of loaded
    // tables and in error.
    unsigned long InitText(std::string const& name, std::string const& xml,
                           ScriptConfigError* error = nullptr);
    // Drops one user; when none is left (or there was none) it frees the table and destroys
    // the instance, as Destroy() does.
    void Release();

    // 1 on success, 0 on failure (not loaded, no entry for the key, no such name or code).
    int ValueS2C(long& code, std::string const& name, unsigned long cmdId,
                 std::string const& paraName, long extendId);
    int ValueC2S(std::string& name, long code, unsigned long cmdId, std::string const& paraName,
                 long extendId);
    int ValueS2C(long& code, CStdString const& name, unsigned long cmdId,
                 CStdString const& paraName, long extendId);
    // Empties name on failure (unlike the std::string form).
    int ValueC2S(CStdString& name, long code, unsigned long cmdId, CStdString const& paraName,
                 long extendId);

    // Observers for diagnostics and tests, each taken under the read lock.
    static bool IsLoaded();
    static std::uint8_t GetRefCount();
    // Copies the table (loaded or not); false when there is none.
    static bool CopyEnumMap(EnumMap& out);
    // True between the Instance() that made the instance and the Destroy() or last Release.
    static bool HasInstance();

    QXScriptEnumMgr(QXScriptEnumMgr const&) = delete;
    QXScriptEnumMgr& operator=(QXScriptEnumMgr const&) = delete;

  private:
    QXScriptEnumMgr() = default;
    ~QXScriptEnumMgr() = default;
    // Destroy() for a caller that holds m_RWMutex for writing.
    static void DestroyLocked();
    // The work of the three loaders: from xml when given, else from the file fullName.
    unsigned long Load(std::string const& fullName, std::string const* xml, bool wholeDocument,
                       ScriptConfigError* error);

    static std::atomic<QXScriptEnumMgr*> m_pInstance;
    static std::unique_ptr<EnumMap> m_pEnumMap;
    static bool m_bLoaded;
    // One byte on purpose: it wraps after 255 increments.
    static std::uint8_t m_refCnt;
    static qxp::RWMutex m_RWMutex;

    std::vector<std::string> m_loadedFiles;  // full names, in load order
};

// A scoped user of the enumeration table: Init in the constructor, Release in the destructor.
// Confined to the thread that made it.
class QX_API QXScriptEnumDataMgr {
  public:
    explicit QXScriptEnumDataMgr(char const* path);
    ~QXScriptEnumDataMgr();
    QXScriptEnumDataMgr(QXScriptEnumDataMgr const&) = delete;
    QXScriptEnumDataMgr& operator=(QXScriptEnumDataMgr const&) = delete;

    std::uint32_t GetResult() const { return m_result; }

  private:
    std::uint32_t m_result;
};

}  // namespace NSQX_script
