#include "NameLock.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <vector>

namespace qxscript {

namespace {

struct State {
    std::mutex mutex;
    std::condition_variable changed;
    int readers = 0;
    int writersWaiting = 0;  // a waiting writer keeps new readers out, so it cannot starve
    bool writing = false;
    std::vector<char> done;
    std::size_t head = 0;  // the first file not finished
};

State& Shared() {
    static State state;
    return state;
}

std::atomic<bool> g_enabled{false};
thread_local int t_depth = 0;
thread_local std::size_t t_turn = 0;

bool MayRead(const State& s) {
    return !s.writing && s.writersWaiting == 0;
}

}  // namespace

void NameLock::Enable(std::size_t files) {
    State& s = Shared();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.done.assign(files, 0);
    s.head = 0;
    g_enabled.store(true, std::memory_order_release);
}

void NameLock::Disable() {
    g_enabled.store(false, std::memory_order_release);
}

bool NameLock::Enabled() {
    return g_enabled.load(std::memory_order_acquire);
}

NameLock::Reading::Reading() : m_on(Enabled()) {
    if (!m_on || t_depth++ > 0) return;
    State& s = Shared();
    std::unique_lock<std::mutex> lock(s.mutex);
    s.changed.wait(lock, [&] { return MayRead(s); });
    ++s.readers;
}

NameLock::Reading::~Reading() {
    if (!m_on || --t_depth > 0) return;
    State& s = Shared();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (--s.readers == 0 && s.writersWaiting != 0) s.changed.notify_all();
}

void NameLock::SetTurn(std::size_t index) {
    t_turn = index;
}

void NameLock::Finished(std::size_t index) {
    if (!Enabled()) return;
    State& s = Shared();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (index < s.done.size()) s.done[index] = 1;
    while (s.head < s.done.size() && s.done[s.head] != 0) ++s.head;
    s.changed.notify_all();
}

void NameLock::Learn(const std::function<bool()>& known, const std::function<void()>& learn) {
    if (!Enabled()) {
        learn();
        return;
    }
    State& s = Shared();
    std::unique_lock<std::mutex> lock(s.mutex);
    // The caller's own slot is given up while it waits, or the writer would wait for it.
    const bool held = t_depth > 0;
    if (held && --s.readers == 0 && s.writersWaiting != 0) s.changed.notify_all();
    s.changed.wait(lock, [&] { return !s.writing && (t_turn <= s.head || known()); });
    if (!known()) {
        ++s.writersWaiting;
        s.changed.wait(lock, [&] { return !s.writing && s.readers == 0; });
        --s.writersWaiting;
        s.writing = true;
        lock.unlock();
        learn();
        lock.lock();
        s.writing = false;
        s.changed.notify_all();
    }
    if (held) {
        s.changed.wait(lock, [&] { return MayRead(s); });
        ++s.readers;
    }
}

}  // namespace qxscript
