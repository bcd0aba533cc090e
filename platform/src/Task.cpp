#include "qx_platform/Task.h"

#include <atomic>

namespace qxp {

namespace {

std::atomic<std::uint64_t> g_nextTaskId{1};
thread_local OrinGnlTask* t_currentTask = nullptr;

}  // namespace

void OrinTaskContext::SetFlag(const std::string& name, const std::string& value) {
    std::lock_guard<std::mutex> lock(mutex_);
    flags_[name] = value;
}

bool OrinTaskContext::GetFlag(const std::string& name, std::string& value) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = flags_.find(name);
    if (it == flags_.end()) return false;
    value = it->second;
    return true;
}

OrinGnlTask::OrinGnlTask(std::uint8_t kind, std::string requestMessage)
    : id_(g_nextTaskId.fetch_add(1)), request_(std::move(requestMessage)) {
    desc_.kind = kind;
}

OrinGnlTask* OrinGetCurrentTask() {
    return t_currentTask;
}

ScopedCurrentTask::ScopedCurrentTask(OrinGnlTask* task) : previous_(t_currentTask) {
    t_currentTask = task;
}

ScopedCurrentTask::~ScopedCurrentTask() {
    t_currentTask = previous_;
}

}  // namespace qxp
