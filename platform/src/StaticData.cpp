#include "qx_platform/StaticData.h"

#include <atomic>
#include <map>
#include <mutex>
#include <system_error>
#include <thread>

#include "qx_platform/Trace.h"
#include "qx_platform/Xml.h"

namespace qxp {

namespace {

thread_local bool t_loadingThread = false;

struct FrameworkState {
    std::mutex mutex;
    std::map<std::string, StaticDataMgrIF*> managers;
    std::atomic<bool> guardedByStartMutex{false};
    RWMutex startMutex;
};

FrameworkState& State() {
    static auto* state = new FrameworkState;  // lives for the process
    return *state;
}

}  // namespace

StaticDataFramework* StaticDataFramework::Instance() {
    static auto* framework = new StaticDataFramework;
    return framework;
}

void StaticDataFramework::Register(const std::string& module, StaticDataMgrIF* mgr) {
    FrameworkState& s = State();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (mgr == nullptr) {
        s.managers.erase(module);
    } else {
        s.managers[module] = mgr;
    }
}

void StaticDataFramework::Unregister(const std::string& module) {
    FrameworkState& s = State();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.managers.erase(module);
}

unsigned int StaticDataFramework::Load(const std::string& module,
                                       const std::vector<std::string>& files,
                                       const std::string& interpreterName) {
    constexpr unsigned int kFailed = 0xFFFFFFFF;
    StaticDataMgrIF* mgr = nullptr;
    {
        FrameworkState& s = State();
        std::lock_guard<std::mutex> lock(s.mutex);
        const auto it = s.managers.find(module);
        if (it != s.managers.end()) mgr = it->second;
    }
    if (mgr == nullptr) {
        QXTrace(kTraceError, "Static data module %s is not registered", module.c_str());
        return kFailed;
    }
    try {
        std::thread loader([&files, &interpreterName] {
            t_loadingThread = true;
            for (const auto& file : files) {
                // An interpreter's exception must not end the process from this thread.
                try {
                    XmlInterpreterRegistry::Instance()->ParseFile(file, interpreterName);
                } catch (...) {
                    QXTrace(kTraceError, "XML interpreter %s failed on file %s",
                            interpreterName.c_str(), file.c_str());
                }
            }
        });
        loader.join();
    } catch (const std::system_error& e) {
        QXTrace(kTraceError, "Static data module %s: no loading thread: %s", module.c_str(),
                e.what());
        return kFailed;
    }
    return mgr->SwapInst();
}

bool StaticDataFramework::IsDataLoadingThread() const {
    return t_loadingThread;
}

bool StaticDataFramework::IsGuardedByStartMutex() const {
    return State().guardedByStartMutex.load(std::memory_order_acquire);
}

void StaticDataFramework::SetGuardedByStartMutex(bool on) {
    State().guardedByStartMutex.store(on, std::memory_order_release);
}

RWMutex& StaticDataFramework::ProcessStartMutex() {
    return State().startMutex;
}

}  // namespace qxp
