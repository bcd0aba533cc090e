#pragma once

#include <string>
#include <vector>

#include "qx_platform/Export.h"
#include "qx_platform/Lock.h"

namespace qxp {

// A manager of static data that the host loads in the background and then installs.
class QXP_API StaticDataMgrIF {
  public:
    virtual ~StaticDataMgrIF() = default;
    // Installs what the last load built; 0 when something was installed.
    virtual unsigned int SwapInst() = 0;
};

// The host's static-data framework. Thread-safe singleton; managers are not owned.
class QXP_API StaticDataFramework {
  public:
    static StaticDataFramework* Instance();

    void Register(const std::string& module, StaticDataMgrIF* mgr);
    void Unregister(const std::string& module);

    // Loads a module's data: on a loading thread of its own, parses each file with the named
    // XML interpreter, then calls the module manager's SwapInst. Blocks until done; returns
    // SwapInst's result, or 0xFFFFFFFF when the module is not registered.
    unsigned int Load(const std::string& module, const std::vector<std::string>& files,
                      const std::string& interpreterName);

    // True on the thread that Load runs its interpreters on.
    bool IsDataLoadingThread() const;

    // Whether readers of static data must hold the process-start mutex (for reading) while
    // they read: true while a host is still starting up. Off by default; a control switch.
    bool IsGuardedByStartMutex() const;
    void SetGuardedByStartMutex(bool on);
    RWMutex& ProcessStartMutex();

  private:
    StaticDataFramework() = default;
};

}  // namespace qxp
