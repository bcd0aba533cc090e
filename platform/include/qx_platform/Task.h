#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "qx_platform/Export.h"

namespace qxp {

// The description of a task: its kind selects per-kind data such as the slot device maps.
struct OrinTaskDesc {
    std::uint8_t kind = 0;
    std::string name;
};

// Named flags of a running task (such as "Script_Version"). Thread-safe: the task's own thread
// writes, other threads may read.
class QXP_API OrinTaskContext {
  public:
    void SetFlag(const std::string& name, const std::string& value);
    // False when the flag is not set.
    bool GetFlag(const std::string& name, std::string& value) const;

  private:
    mutable std::mutex mutex_;
    std::map<std::string, std::string> flags_;
};

// A platform task (an import or export run). Owned by whoever made it; the current-task slot
// of a thread only refers to it.
class QXP_API OrinGnlTask {
  public:
    explicit OrinGnlTask(std::uint8_t kind = 0, std::string requestMessage = std::string());
    OrinGnlTask(const OrinGnlTask&) = delete;
    OrinGnlTask& operator=(const OrinGnlTask&) = delete;

    std::uint64_t GetId() const { return id_; }
    // Never null for a task made here; a host may have tasks without one.
    OrinTaskDesc* GetTaskDesc() { return &desc_; }
    OrinTaskContext* GetContext() { return &context_; }
    const std::string& GetRequestMessage() const { return request_; }

  private:
    std::uint64_t id_;
    OrinTaskDesc desc_;
    OrinTaskContext context_;
    std::string request_;
};

// The task the calling thread runs, or nullptr (the default).
QXP_API OrinGnlTask* OrinGetCurrentTask();

// Makes a task the calling thread's current task while it lives; restores the previous one.
class QXP_API ScopedCurrentTask {
  public:
    explicit ScopedCurrentTask(OrinGnlTask* task);
    ~ScopedCurrentTask();
    ScopedCurrentTask(const ScopedCurrentTask&) = delete;
    ScopedCurrentTask& operator=(const ScopedCurrentTask&) = delete;

  private:
    OrinGnlTask* previous_;
};

}  // namespace qxp
