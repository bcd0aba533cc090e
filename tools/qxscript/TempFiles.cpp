#include "TempFiles.h"

#include <limits.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <mutex>

namespace qxscript {

namespace {

constexpr int kSlots = 64;
constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE};

// A slot is in use while its flag is set; the flag is set after its path is complete and
// cleared before it changes, so a handler on any thread sees whole paths only.
char g_paths[kSlots][PATH_MAX];
bool g_directory[kSlots];
std::atomic<bool> g_used[kSlots];
std::atomic<bool> g_installed{false};
std::mutex g_mutex;  // between threads; signals are blocked around the changes as well

extern "C" void RemoveAndRaise(int sig) {
    for (int i = kSlots - 1; i >= 0; --i) {
        if (!g_used[i].load()) continue;
        if (g_directory[i]) {
            rmdir(g_paths[i]);
        } else {
            unlink(g_paths[i]);
        }
    }
    signal(sig, SIG_DFL);  // the default action gives the caller the usual status
    raise(sig);
}

void Install() {
    if (g_installed.exchange(true)) return;
    struct sigaction action {};
    action.sa_handler = RemoveAndRaise;
    sigfillset(&action.sa_mask);  // no second signal while the files are removed
    for (int sig : kSignals) {
        struct sigaction old {};
        // A signal ignored by the parent (nohup, background jobs) stays ignored.
        if (sigaction(sig, nullptr, &old) == 0 && old.sa_handler == SIG_IGN) continue;
        sigaction(sig, &action, nullptr);
    }
}

// Runs fill with the signals blocked, so that the handler never sees half a path.
template <class Fill>
void Blocked(Fill fill) {
    sigset_t all, old;
    sigemptyset(&all);
    for (int sig : kSignals) sigaddset(&all, sig);
    sigprocmask(SIG_BLOCK, &all, &old);
    fill();
    sigprocmask(SIG_SETMASK, &old, nullptr);
}

}  // namespace

bool TempFiles::Add(const std::string& path, bool directory) {
    Install();
    if (path.empty() || path.size() >= PATH_MAX) return false;
    bool added = false;
    std::lock_guard<std::mutex> lock(g_mutex);
    Blocked([&] {
        // After the last slot in use, so that removal in reverse order meets contents first.
        int free = kSlots;
        while (free > 0 && !g_used[free - 1].load()) --free;
        if (free == kSlots) return;
        g_directory[free] = directory;
        std::memcpy(g_paths[free], path.c_str(), path.size() + 1);
        g_used[free].store(true);
        added = true;
    });
    return added;
}

void TempFiles::Forget(const std::string& path) {
    std::lock_guard<std::mutex> lock(g_mutex);
    Blocked([&] {
        for (int i = 0; i < kSlots; ++i) {
            if (g_used[i].load() && path == g_paths[i]) g_used[i].store(false);
        }
    });
}

}  // namespace qxscript
