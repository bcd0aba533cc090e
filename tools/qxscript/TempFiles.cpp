#include "TempFiles.h"

#include <limits.h>
#include <signal.h>
#include <unistd.h>

#include <cstring>

namespace qxscript {

namespace {

constexpr int kSlots = 64;
constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE};

// A slot is in use while its first byte is not NUL; the handler reads nothing else.
char g_paths[kSlots][PATH_MAX];
bool g_directory[kSlots];
volatile sig_atomic_t g_installed = 0;

extern "C" void RemoveAndRaise(int sig) {
    for (int i = kSlots - 1; i >= 0; --i) {
        if (g_paths[i][0] == '\0') continue;
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
    if (g_installed) return;
    g_installed = 1;
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
    Blocked([&] {
        // After the last slot in use, so that removal in reverse order meets contents first.
        int free = kSlots;
        while (free > 0 && g_paths[free - 1][0] == '\0') --free;
        if (free == kSlots) return;
        g_directory[free] = directory;
        std::memcpy(g_paths[free], path.c_str(), path.size() + 1);
        added = true;
    });
    return added;
}

void TempFiles::Forget(const std::string& path) {
    Blocked([&] {
        for (auto& slot : g_paths) {
            if (slot[0] != '\0' && path == slot) slot[0] = '\0';
        }
    });
}

}  // namespace qxscript
