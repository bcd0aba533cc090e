#include "TempFiles.h"

#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <mutex>

namespace qxscript {

namespace {

constexpr int kSlots = 64;
constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE};

// A slot is in use while its flag is set; the flag is set after its path is complete and
// cleared before it changes, so a handler on any thread sees whole paths only.
char g_paths[kSlots][PATH_MAX];
std::atomic<bool> g_used[kSlots];
std::atomic<bool> g_installed{false};
std::mutex g_mutex;  // between threads; signals are blocked around the changes as well

extern "C" void RemoveAndRaise(int sig) {
    for (int i = 0; i < kSlots; ++i) {
        if (g_used[i].load()) unlink(g_paths[i]);
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

// Takes a free slot for path; the caller holds g_mutex with the signals blocked.
bool Remember(const std::string& path) {
    if (path.empty() || path.size() >= PATH_MAX) return false;
    int free = 0;
    while (free < kSlots && g_used[free].load()) ++free;
    if (free == kSlots) return false;
    std::memcpy(g_paths[free], path.c_str(), path.size() + 1);
    g_used[free].store(true);
    return true;
}

}  // namespace

int TempFiles::Make(std::string& pattern) {
    Install();
    int fd = -1;
    int error = 0;
    std::lock_guard<std::mutex> lock(g_mutex);
    Blocked([&] {
        fd = mkostemp(pattern.data(), O_CLOEXEC);
        error = errno;
        if (fd >= 0) Remember(pattern);
    });
    errno = error;
    return fd;
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
