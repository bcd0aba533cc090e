#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "qx_platform/Lock.h"
#include "qx_platform/Progress.h"
#include "qx_platform/Singleton.h"
#include "qx_platform/Task.h"
#include "qx_platform/Trace.h"

namespace {

class PlatformProgress : public ::testing::Test {
  protected:
    void TearDown() override {
        qxp::OrinProgressMgr::Instance()->SetReporter(nullptr);
        qxp::OrinProgressMgr::Instance()->Reset();
    }
};

TEST(PlatformTasks, CurrentTaskIsScopedAndNested) {
    EXPECT_EQ(qxp::OrinGetCurrentTask(), nullptr);
    qxp::OrinGnlTask outer, inner;
    {
        qxp::ScopedCurrentTask a(&outer);
        {
            qxp::ScopedCurrentTask b(&inner);
            EXPECT_EQ(qxp::OrinGetCurrentTask(), &inner);
        }
        EXPECT_EQ(qxp::OrinGetCurrentTask(), &outer);
    }
    EXPECT_EQ(qxp::OrinGetCurrentTask(), nullptr);

    std::string value = "unchanged";
    EXPECT_FALSE(outer.GetContext()->GetFlag("Script_Version", value));
    EXPECT_EQ(value, "unchanged");
    outer.GetContext()->SetFlag("Script_Version", "33685250");
    outer.GetContext()->SetFlag("Script_Version", "50855936");
    ASSERT_TRUE(outer.GetContext()->GetFlag("Script_Version", value));
    EXPECT_EQ(value, "50855936");
}

TEST_F(PlatformProgress, ReportsReachTheReporterAndCancelIsPerTask) {
    qxp::OrinProgressMgr* mgr = qxp::OrinProgressMgr::Instance();
    qxp::OrinGnlTask task, other;
    std::vector<std::pair<int, std::string>> seen;
    mgr->SetReporter([&](qxp::OrinGnlTask* t, int percent, const qxp::OrinProgressInfo& info) {
        EXPECT_EQ(t, &task);
        seen.emplace_back(percent, info.detail);
    });
    mgr->ReportProgress(&task, &task, 42, qxp::OrinProgressInfo{"ne 1"});
    mgr->ReportProgress(&task, nullptr, 50, qxp::OrinProgressInfo{"ignored"});
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0], std::make_pair(42, std::string("ne 1")));
    mgr->SetReporter(nullptr);
    mgr->ReportProgress(&task, &task, 43, qxp::OrinProgressInfo{});
    EXPECT_EQ(seen.size(), 1u);

    EXPECT_FALSE(mgr->IsTaskCanceled(&task));
    mgr->CancelTask(&task);
    EXPECT_TRUE(mgr->IsTaskCanceled(&task));
    EXPECT_FALSE(mgr->IsTaskCanceled(&other));
    EXPECT_FALSE(mgr->IsTaskCanceled(nullptr));
    mgr->Reset();
    EXPECT_FALSE(mgr->IsTaskCanceled(&task));
}

TEST(PlatformConcurrency, EachThreadSeesItsOwnCurrentTask) {
    constexpr int kThreads = 4;
    std::vector<std::unique_ptr<qxp::OrinGnlTask>> tasks;
    for (int i = 0; i < kThreads; ++i) tasks.push_back(std::make_unique<qxp::OrinGnlTask>(i));
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            if (qxp::OrinGetCurrentTask() != nullptr) ++mismatches;
            qxp::ScopedCurrentTask scope(tasks[i].get());
            for (int n = 0; n < 1000; ++n) {
                qxp::OrinGnlTask* t = qxp::OrinGetCurrentTask();
                if (t != tasks[i].get() || t->GetTaskDesc()->kind != i) ++mismatches;
                t->GetContext()->SetFlag("Script_Version", std::to_string(n));
            }
        });
    }
    for (auto& t : threads) t.join();
    EXPECT_EQ(mismatches.load(), 0);
    EXPECT_EQ(qxp::OrinGetCurrentTask(), nullptr);
}

TEST(PlatformConcurrency, CancelFromAnotherThreadIsSeenByTheTask) {
    qxp::OrinProgressMgr* mgr = qxp::OrinProgressMgr::Instance();
    qxp::OrinGnlTask task;
    std::atomic<bool> started{false};
    mgr->SetReporter([](qxp::OrinGnlTask*, int, const qxp::OrinProgressInfo&) {});
    std::thread worker([&] {
        qxp::ScopedCurrentTask scope(&task);
        started = true;
        // Works until the controlling thread cancels it.
        while (!mgr->IsTaskCanceled(qxp::OrinGetCurrentTask())) {
            mgr->ReportProgress(&task, &task, 1, qxp::OrinProgressInfo{"step"});
            std::this_thread::yield();
        }
    });
    while (!started) std::this_thread::yield();
    mgr->CancelTask(&task);
    worker.join();
    EXPECT_TRUE(mgr->IsTaskCanceled(&task));
    mgr->SetReporter(nullptr);
    mgr->Reset();
}

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
