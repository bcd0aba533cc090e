#include "qx_scriptutil/QXScriptEnumMgr.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <sstream>

#include "enum/EnumSettings.h"
#include "enum/ScriptXMLParser.h"
#include "qx_platform/Files.h"
#include "qx_platform/Settings.h"
#include "qx_platform/Singleton.h"
#include "qx_platform/Trace.h"
#include "qx_scriptutil/ScriptEnumCfg.h"

namespace NSQX_script {

std::atomic<QXScriptEnumMgr*> QXScriptEnumMgr::m_pInstance{nullptr};
std::unique_ptr<EnumMap> QXScriptEnumMgr::m_pEnumMap;
bool QXScriptEnumMgr::m_bLoaded = false;
std::uint8_t QXScriptEnumMgr::m_refCnt = 0;
// m_RWMutex is defined in enum/EnumLoad.cpp, in its place in the load-time order.

namespace {

constexpr unsigned long kInitFailed = 0xFFFFFFFFul;
// The platform-loaded configuration contributes only this command's entries.
constexpr unsigned long kMergedCmd = 0x10001;

struct StreamCloser {
    void operator()(std::FILE* stream) const { qxp::OrinFileClose(stream); }
};

std::string FullName(char const* path) {
    if (path != nullptr) return qxp::OrinGetPackagePath("", "") + path;
    return ScriptConfigPath(ScriptConfigFile::kEnumTable);
}

unsigned long Fail(ScriptConfigError* error, std::string const& name, char const* reason) {
    if (error != nullptr) *error = ScriptConfigError{name, 0, 0, reason};
    return kInitFailed;
}

// Stores the user settings under command ID 0, replacing earlier ones; 1 when unset.
void StoreUserSettings(EnumMap& map) {
    // Ordered by setting name, the order in which they are read.
    const std::pair<std::string, std::string> settings[] = {
        {kExportRestoreSetting, kExportRestoreValueName},
        {"encoding", "curscriptencoding"},
        {"slotversion", "curslotversion"},
    };
    for (auto const& [setting, valueName] : settings) {
        int value = 1;
        std::string text;
        if (qxp::OrinGetUserCfgItem("TRANS", setting.c_str(), text) == 0 && !text.empty()) {
            std::istringstream in(text);
            in >> value;
            qxp::QXTrace(qxp::kTraceInfo,
                         "QXScriptEnumMgr::Init Get cfg value from MCDB.tbl_usercfg_param succed "
                         "%s = %d",
                         setting.c_str(), value);
        }
        auto old = FindFirstEnum(map, QXEnumKeyView{0, setting, 0});
        if (old != map.end()) map.erase(old);
        map.emplace(QXEnumMapKey(0, setting, 0),
                    std::vector<QXEnumPair>{QXEnumPair(value, valueName)});
    }
}

// Runs under the read lock of the caller.
std::vector<QXEnumPair> const* FindPairs(EnumMap const* map, bool loaded, unsigned long cmdId,
                                         std::string const& paraName, long extendId) {
    if (!loaded || map == nullptr) return nullptr;
    auto it = FindFirstEnum(*map, QXEnumKeyView{cmdId, paraName, extendId});
    return it == map->end() ? nullptr : &it->second;
}

}  // namespace

QXScriptEnumMgr* QXScriptEnumMgr::Instance() {
    return qxp::DoubleCheckedInstance(m_pInstance, [] {
        static QXScriptEnumMgr storage;
        return &storage;
    });
}

void QXScriptEnumMgr::Destroy() {
    qxp::WriteGuard guard(m_RWMutex);
    DestroyLocked();
}

bool QXScriptEnumMgr::HasInstance() {
    return m_pInstance.load(std::memory_order_acquire) != nullptr;
}

// The write lock is taken before the static-object lock here as in Init, which may create the
// configuration object's instance.
void QXScriptEnumMgr::DestroyLocked() {
    if (m_pInstance.load(std::memory_order_acquire) == nullptr) return;
    qxp::LockGuard<qxp::RecursiveMutex> statics(qxp::StaticObjectLock());
    QXScriptEnumMgr* instance = m_pInstance.exchange(nullptr, std::memory_order_acq_rel);
    if (instance == nullptr) return;
    std::vector<std::string>().swap(instance->m_loadedFiles);
    m_bLoaded = false;
    m_refCnt = 0;
    m_pEnumMap.reset();
}

unsigned long QXScriptEnumMgr::Init(char const* path) {
    return Load(FullName(path), nullptr, false, nullptr);
}

unsigned long QXScriptEnumMgr::InitFile(std::string const& path, ScriptConfigError* error) {
    return Load(path, nullptr, true, error);
}

unsigned long QXScriptEnumMgr::InitText(std::string const& name, std::string const& xml,
                                        ScriptConfigError* error) {
    return Load(name, &xml, true, error);
}

unsigned long QXScriptEnumMgr::Load(std::string const& fullName, std::string const* xml,
                                    bool wholeDocument, ScriptConfigError* error) {
    qxp::WriteGuard guard(m_RWMutex);
    try {
        if (m_bLoaded) ++m_refCnt;
        if (std::find(m_loadedFiles.begin(), m_loadedFiles.end(), fullName) !=
            m_loadedFiles.end()) {
            return 0;
        }
        if (!m_pEnumMap) m_pEnumMap = std::make_unique<EnumMap>();

        ScriptXMLParser parser(m_pEnumMap.get());
        if (!parser.Create()) {
            m_bLoaded = false;
            return Fail(error, fullName, "no XML parser could be created");
        }
        bool parsed = false;
        if (xml != nullptr) {
            parsed = parser.ParseText(*xml, fullName.c_str(), error);
        } else {
            std::unique_ptr<std::FILE, StreamCloser> stream(
                qxp::OrinFileOpen(fullName.c_str(), "r"));
            if (!stream) {
                m_bLoaded = false;
                return Fail(error, fullName, std::strerror(qxp::OrinGetLastError()));
            }
            parsed = parser.ParseStream(stream.get(), fullName.c_str(), wholeDocument, error);
        }
        if (!parsed) {
            m_bLoaded = false;
            return kInitFailed;
        }

        m_loadedFiles.push_back(fullName);
        StoreUserSettings(*m_pEnumMap);
        MergeEnumMap(ScriptEnumCfg::Instance()->GetEnumMap(), *m_pEnumMap, kMergedCmd);
        ++m_refCnt;
        m_bLoaded = true;
        return 0;
    } catch (...) {
        m_bLoaded = false;
        m_pEnumMap.reset();
        try {
            return Fail(error, fullName, "the table could not be stored");
        } catch (...) {
            return kInitFailed;
        }
    }
}

// The count is tested and the instance destroyed under the write lock that Init takes, so a
// thread entering Init through a pointer it got from Instance() just before either comes first
// and keeps the table, or finds the instance emptied and loads afresh into it.
void QXScriptEnumMgr::Release() {
    qxp::WriteGuard guard(m_RWMutex);
    if (m_refCnt != 0) --m_refCnt;
    if (m_refCnt == 0 && m_bLoaded) {
        m_pEnumMap.reset();
        m_bLoaded = false;
        m_loadedFiles.clear();
    }
    if (m_refCnt == 0) DestroyLocked();
}

int QXScriptEnumMgr::ValueS2C(long& code, std::string const& name, unsigned long cmdId,
                              std::string const& paraName, long extendId) {
    qxp::ReadGuard guard(m_RWMutex);
    auto const* pairs = FindPairs(m_pEnumMap.get(), m_bLoaded, cmdId, paraName, extendId);
    if (pairs == nullptr) return 0;
    for (auto const& pair : *pairs) {
        if (pair.m_name.size() == name.size() && pair.m_name == name) {
            code = pair.m_value;
            return 1;
        }
    }
    return 0;
}

int QXScriptEnumMgr::ValueC2S(std::string& name, long code, unsigned long cmdId,
                              std::string const& paraName, long extendId) {
    qxp::ReadGuard guard(m_RWMutex);
    auto const* pairs = FindPairs(m_pEnumMap.get(), m_bLoaded, cmdId, paraName, extendId);
    if (pairs == nullptr) return 0;
    for (auto const& pair : *pairs) {
        if (static_cast<long>(pair.m_value) == code) {
            name = pair.m_name;
            return 1;
        }
    }
    return 0;
}

int QXScriptEnumMgr::ValueS2C(long& code, CStdString const& name, unsigned long cmdId,
                              CStdString const& paraName, long extendId) {
    return ValueS2C(code, static_cast<std::string const&>(name), cmdId,
                    static_cast<std::string const&>(paraName), extendId);
}

int QXScriptEnumMgr::ValueC2S(CStdString& name, long code, unsigned long cmdId,
                              CStdString const& paraName, long extendId) {
    std::string found;
    const int result =
        ValueC2S(found, code, cmdId, static_cast<std::string const&>(paraName), extendId);
    name.assign(found.c_str());  // up to the first NUL
    return result;
}

bool QXScriptEnumMgr::IsLoaded() {
    qxp::ReadGuard guard(m_RWMutex);
    return m_bLoaded;
}

std::uint8_t QXScriptEnumMgr::GetRefCount() {
    qxp::ReadGuard guard(m_RWMutex);
    return m_refCnt;
}

bool QXScriptEnumMgr::CopyEnumMap(EnumMap& out) {
    qxp::ReadGuard guard(m_RWMutex);
    if (!m_pEnumMap) return false;
    out = *m_pEnumMap;
    return true;
}

QXScriptEnumDataMgr::QXScriptEnumDataMgr(char const* path)
    : m_result(static_cast<std::uint32_t>(QXScriptEnumMgr::Instance()->Init(path))) {}

QXScriptEnumDataMgr::~QXScriptEnumDataMgr() {
    QXScriptEnumMgr::Instance()->Release();
}

}  // namespace NSQX_script
