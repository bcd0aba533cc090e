#include "qx_platform/Trace.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace qxp {

struct TraceCapture::State {
    mutable std::mutex mutex;
    std::vector<TraceLine> lines;
    State* outer = nullptr;
};

namespace {

std::mutex g_sinkMutex;
TraceCapture::State* g_capture = nullptr;  // innermost live capture, guarded by g_sinkMutex
// Mirrors g_capture != nullptr so that a trace nobody listens to takes no lock.
std::atomic<bool> g_capturing{false};

int StderrLevel() {
    static const int level = [] {
        const char* env = std::getenv("QX_TRACE_LEVEL");
        return env ? std::atoi(env) : 0;
    }();
    return level;
}

}  // namespace

void QXTrace(int level, const char* fmt, ...) {
    const int stderrLevel = StderrLevel();
    // Most traces go nowhere: skip the lock and the formatting unless someone listens.
    if (level > stderrLevel && !g_capturing.load(std::memory_order_acquire)) return;
    char small[512];
    va_list args;
    va_start(args, fmt);
    va_list copy;
    va_copy(copy, args);
    const int n = std::vsnprintf(small, sizeof small, fmt, copy);
    va_end(copy);
    std::string text;
    if (n >= 0 && static_cast<std::size_t>(n) < sizeof small) {
        text.assign(small, static_cast<std::size_t>(n));
    } else if (n >= 0) {
        text.resize(static_cast<std::size_t>(n));
        std::vsnprintf(&text[0], text.size() + 1, fmt, args);
    }
    va_end(args);

    std::lock_guard<std::mutex> lock(g_sinkMutex);
    if (g_capture != nullptr) {
        std::lock_guard<std::mutex> stateLock(g_capture->mutex);
        g_capture->lines.push_back(TraceLine{level, text});
    }
    if (level <= stderrLevel) {
        std::fprintf(stderr, "[qx:%d] %s%s", level, text.c_str(),
                     (!text.empty() && text.back() == '\n') ? "" : "\n");
    }
}

TraceCapture::TraceCapture() : state_(new State) {
    std::lock_guard<std::mutex> lock(g_sinkMutex);
    state_->outer = g_capture;
    g_capture = state_.get();
    g_capturing.store(true, std::memory_order_release);
}

TraceCapture::~TraceCapture() {
    std::lock_guard<std::mutex> lock(g_sinkMutex);
    // Unlink this capture wherever it stands in the chain.
    TraceCapture::State** link = &g_capture;
    while (*link != nullptr && *link != state_.get()) link = &(*link)->outer;
    if (*link == state_.get()) *link = state_->outer;
    g_capturing.store(g_capture != nullptr, std::memory_order_release);
}

std::vector<TraceLine> TraceCapture::Lines() const {
    std::lock_guard<std::mutex> lock(state_->mutex);
    return state_->lines;
}

bool TraceCapture::Contains(const std::string& text) const {
    std::lock_guard<std::mutex> lock(state_->mutex);
    for (const auto& line : state_->lines) {
        if (line.text.find(text) != std::string::npos) return true;
    }
    return false;
}

void TraceCapture::Clear() {
    std::lock_guard<std::mutex> lock(state_->mutex);
    state_->lines.clear();
}

}  // namespace qxp
