#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "qx_platform/Lock.h"
#include "qx_platform/Singleton.h"
#include "qx_platform/Trace.h"

namespace {

struct Counted {
    Counted() { ++made; }
    ~Counted() { --made; }
    static std::atomic<int> made;
};
std::atomic<int> Counted::made{0};

TEST(PlatformConcurrency, SingletonIsMadeOnceUnderTheStaticObjectLock) {
    std::atomic<Counted*> slot{nullptr};
    std::vector<Counted*> got(4);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&, i] { got[i] = qxp::DoubleCheckedInstance(slot); });
    for (auto& t : threads) t.join();
    EXPECT_EQ(got, std::vector<Counted*>(4, slot.load()));
    EXPECT_EQ(Counted::made.load(), 1);
    qxp::DoubleCheckedDestroy(slot);
    EXPECT_EQ(Counted::made.load(), 0);
    EXPECT_EQ(slot.load(), nullptr);
}

TEST(PlatformConcurrency, StaticObjectLockIsRecursiveAndExcludesOtherThreads) {
    qxp::RecursiveMutex& lock = qxp::StaticObjectLock();
    EXPECT_EQ(&lock, &qxp::StaticObjectLock());
    int shared = 0;
    {
        qxp::LockGuard<qxp::RecursiveMutex> outer(lock);
        qxp::LockGuard<qxp::RecursiveMutex> inner(lock);  // a singleton asking for another
        ASSERT_TRUE(outer.locked() && inner.locked());
    }
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int n = 0; n < 1000; ++n) {
                qxp::LockGuard<qxp::RecursiveMutex> guard(lock);
                ++shared;
            }
        });
    }
    for (auto& t : threads) t.join();
    EXPECT_EQ(shared, 4000);
}

TEST(PlatformConcurrency, TraceCaptureCollectsFromAllThreads) {
    qxp::TraceCapture capture;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([i] {
            for (int n = 0; n < 100; ++n) qxp::QXTrace(qxp::kTraceDebug, "thread %d line %d", i, n);
        });
    }
    for (auto& t : threads) t.join();
    EXPECT_EQ(capture.Lines().size(), 400u);
    EXPECT_TRUE(capture.Contains("thread 3 line 99"));
}

}  // namespace
