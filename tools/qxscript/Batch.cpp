#include "Batch.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

#include "Commands.h"
#include "NameLock.h"
#include "Output.h"
#include "qx_platform/Task.h"
#include "qx_scriptutil/QXScriptErrMgr.h"

namespace qxscript {

namespace {

// Output a job may hold back before it waits for its turn: dump prints more than it reads.
constexpr std::size_t kMaxHeldBack = 64u << 20;

struct Chunk {
    bool err;
    std::string text;
};

struct Held {
    std::vector<Chunk> chunks;
    std::size_t bytes = 0;
    bool done = false;
};

struct Shared {
    std::mutex mutex;
    std::condition_variable turn;
    std::size_t head = 0;  // the file whose output goes straight through
    std::vector<Held> held;
};

void Emit(bool err, const std::string& text) {
    Output::Write(err ? stderr : Output::Stream(), text);
}

// Lets the held output of the files after the head through while they are done; the next
// file not done becomes the head. Called with the mutex held.
void Advance(Shared& s) {
    while (s.head < s.held.size() && s.held[s.head].done) {
        ++s.head;
        if (s.head == s.held.size()) break;
        Held& next = s.held[s.head];
        for (const Chunk& c : next.chunks) Emit(c.err, c.text);
        next.chunks.clear();
        next.chunks.shrink_to_fit();
        next.bytes = 0;
    }
    s.turn.notify_all();
}

}  // namespace

void FileOutput::Out(const std::string& text) {
    Put(false, text);
}

void FileOutput::Err(const std::string& text) {
    Put(true, text);
}

void FileOutput::Put(bool err, const std::string& text) {
    if (text.empty()) return;
    Shared& s = *static_cast<Shared*>(m_shared);
    std::unique_lock<std::mutex> lock(s.mutex);
    if (s.head != m_index) {
        Held& h = s.held[m_index];
        if (!h.chunks.empty() && h.chunks.back().err == err) {
            h.chunks.back().text += text;
        } else {
            h.chunks.push_back({err, text});
        }
        h.bytes += text.size();
        if (h.bytes < kMaxHeldBack) return;
        s.turn.wait(lock, [&] { return s.head == m_index; });  // Advance() let it through
        return;
    }
    lock.unlock();
    // Only the head writes, and the head changes only when it is done.
    Emit(err, text);
}

unsigned Batch::DefaultWorkers() {
    return std::max(1u, std::thread::hardware_concurrency());
}

int Batch::Run(std::size_t count, unsigned workers, const Job& job) {
    Shared shared;
    shared.held.resize(count);
    std::atomic<std::size_t> next{0};
    std::atomic<int> worst{kExitOk};
    const bool threaded = workers > 1 && count > 1;

    auto runOne = [&](std::size_t index) {
        FileOutput out(&shared, index);
        int status = kExitUsage;
        try {
            status = job(index, out);
        } catch (const std::exception& e) {
            out.Err(std::string("qxscript: ") + e.what() + "\n");
        }
        int seen = worst.load();
        while (status > seen && !worst.compare_exchange_weak(seen, status)) {
        }
        NameLock::Finished(index);
        std::lock_guard<std::mutex> lock(shared.mutex);
        shared.held[index].done = true;
        Advance(shared);
    };
    if (!threaded) {
        for (std::size_t i = 0; i < count; ++i) runOne(i);
        return worst.load();
    }

    NameLock::Enable(count);
    std::vector<std::thread> threads;
    const unsigned n = static_cast<unsigned>(std::min<std::size_t>(workers, count));
    for (unsigned t = 0; t < n; ++t) {
        threads.emplace_back([&] {
            // The reader publishes each file's script version to the current task, which
            // the unescaping of its values reads back: one task per thread.
            qxp::OrinGnlTask task(0, "qxscript");
            qxp::ScopedCurrentTask current(&task);
            for (std::size_t i; (i = next.fetch_add(1)) < count;) {
                NameLock::SetTurn(i);
                runOne(i);
            }
            NSQX_script::QXScriptErrMgr::Destroy();
        });
    }
    for (std::thread& t : threads) t.join();
    NameLock::Disable();
    return worst.load();
}

}  // namespace qxscript
