#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "qx_platform/Control.h"
#include "qx_platform/Progress.h"
#include "qx_platform/Task.h"
#include "qx_platform/Trace.h"
#include "qx_scriptutil/ScriptGauge.h"

using namespace NSQX_script;

namespace {

struct Sent {
    OrinGnlTask* task;
    int percent;
    std::string detail;
};

// Both gauges and the progress manager are process-wide: every test starts from a clean state
// with a fixed clock, a recording reporter and a current task.
class IeGauge : public ::testing::Test {
  protected:
    void SetUp() override {
        qxp::SetFixedTime(1000000);
        qxp::OrinProgressMgr::Instance()->Reset();
        qxp::OrinProgressMgr::Instance()->SetReporter(
            [this](OrinGnlTask* task, int percent, const qxp::OrinProgressInfo& info) {
                std::lock_guard<std::mutex> lock(mutex_);
                sent_.push_back({task, percent, info.detail});
            });
        QXSCGuageMgr::Destroy();
        gauge_ = QXSCGuageMgr::Instance();
        ResetGaugeData();
    }
    void TearDown() override {
        qxp::OrinProgressMgr::Instance()->SetReporter({});
        qxp::OrinProgressMgr::Instance()->Reset();
        QXSCGuageMgr::Destroy();
        ResetGaugeData();
        qxp::SetFixedTime(-1);
    }

    std::vector<int> Percents() {
        std::lock_guard<std::mutex> lock(mutex_);
        std::vector<int> out;
        for (const auto& s : sent_) out.push_back(s.percent);
        return out;
    }
    std::vector<Sent> SentReports() {
        std::lock_guard<std::mutex> lock(mutex_);
        return sent_;
    }
    void ClearSent() {
        std::lock_guard<std::mutex> lock(mutex_);
        sent_.clear();
    }

    OrinGnlTask task_;
    qxp::ScopedCurrentTask current_{&task_};
    QXSCGuageMgr* gauge_ = nullptr;

  private:
    std::mutex mutex_;
    std::vector<Sent> sent_;
};

}  // namespace

TEST_F(IeGauge, SharesDivideTheHundredByKindOfWork) {
    gauge_->SetFileCount(4, 10);
    gauge_->SendNeIncGuage(100, "ne 1");
    gauge_->SendNeIncGuage(100, "ne 2");
    gauge_->SendNeIncGuage(100, "ne 3");
    gauge_->SendNeIncGuage(100, "ne 4");
    EXPECT_DOUBLE_EQ(60.0, gauge_->GetTotalGuage());
    gauge_->SendPortIncGuage(50, "ports");  // 50 / 10 * 0.1
    gauge_->SendNetIncGuage(10, "net");     // 10 * 0.3
    EXPECT_DOUBLE_EQ(63.5, gauge_->GetTotalGuage());
    EXPECT_EQ((std::vector<int>{15, 30, 45, 60, 60, 63}), Percents());
    const auto reports = SentReports();
    EXPECT_EQ(&task_, reports.back().task);
    EXPECT_EQ("net", reports.back().detail);

    // Zero counts add nothing and send nothing; a null task does nothing either.
    ClearSent();
    gauge_->SetFileCount(0, 0);
    gauge_->SendNeIncGuage(100, "none");
    gauge_->SendPortIncGuage(100, "none");
    gauge_->SendMutiNeIncGuage(nullptr, 100, "none");
    gauge_->SendMutiGuageToC(nullptr, "none");
    EXPECT_DOUBLE_EQ(63.5, gauge_->GetTotalGuage());
    EXPECT_TRUE(Percents().empty());

    // The explicit-task forms report for that task, not the current one.
    OrinGnlTask other;
    gauge_->SetFileCount(2, 5);
    gauge_->SendMutiNeIncGuage(&other, 1, "other ne");   // + 0.3
    gauge_->SendMutiPortIncGuage(&other, 5, "other p");  // + 0.1
    EXPECT_DOUBLE_EQ(63.9, gauge_->GetTotalGuage());
    ASSERT_EQ(2u, SentReports().size());
    EXPECT_EQ(&other, SentReports()[0].task);
    EXPECT_EQ(&other, SentReports()[1].task);

    gauge_->Init();
    EXPECT_DOUBLE_EQ(0.0, gauge_->GetTotalGuage());
}

TEST_F(IeGauge, StepPercentAndImportHelpers) {
    gauge_->SetFileCount(4, 10);
    gauge_->SetStepPercent(STEP_NE_FILE, 100);
    EXPECT_DOUBLE_EQ(15.0, gauge_->GetStepPercent());
    gauge_->SetStepPercent(STEP_PORT, 20);
    EXPECT_DOUBLE_EQ(0.2, gauge_->GetStepPercent());
    gauge_->SetStepPercent(STEP_NET, 10);  // 10 * 0.3 * 0.7
    EXPECT_DOUBLE_EQ(2.1, gauge_->GetStepPercent());
    gauge_->SetFileCount(0, 0);
    gauge_->SetStepPercent(STEP_NE_FILE, 100);
    gauge_->SetStepPercent(STEP_PORT, 100);
    EXPECT_DOUBLE_EQ(2.1, gauge_->GetStepPercent());

    double step = 0, net = 0;
    GetImportPercent(step, net);
    EXPECT_DOUBLE_EQ(2.1, step);
    EXPECT_DOUBLE_EQ(9.0, net);
    gauge_->SetPercent(0.6, 0.1, 0.5);
    GetImportPercent(step, net);
    EXPECT_DOUBLE_EQ(15.0, net);

    qxp::TraceCapture capture;
    ImportScriptSendProgress(7.9, "step 1");
    ImportScriptSendProgress(7.9, "step 2");
    EXPECT_TRUE(capture.Contains(">>Script m_TotalGuage: 0 \n"));
    EXPECT_TRUE(capture.Contains(">>Script m_TotalGuage: 7 \n"));  // the total before adding
    EXPECT_EQ((std::vector<int>{7, 15}), Percents());
}

TEST_F(IeGauge, ReportNeverExceedsNinetyNineAndKeepsTheLowByte) {
    qxp::TraceCapture capture;
    gauge_->SendStepPercent(99.9, "a");
    EXPECT_TRUE(capture.Contains(">>Script Guage: 99 \n"));
    gauge_->SendStepPercent(0.5, "b");  // 100.4
    EXPECT_TRUE(capture.Contains(">>Script Guage is 100 but report 99\n"));
    gauge_->SendStepPercent(155.6, "c");  // 256.0: low byte 0
    EXPECT_TRUE(capture.Contains(">>Script Guage: 0 \n"));
    gauge_->SendStepPercent(50.0, "d");  // 306.0: low byte 50
    EXPECT_EQ((std::vector<int>{99, 99, 0, 50}), Percents());
}

TEST_F(IeGauge, RepeatedDetailInTheSameSecondIsDropped) {
    gauge_->SendGuageToC("");  // right after Init, same second, same (empty) detail
    EXPECT_TRUE(Percents().empty());

    gauge_->SendStepPercent(10, "same");
    gauge_->SendGuageToC("same");
    gauge_->SendMutiGuageToC(&task_, "same");
    EXPECT_EQ(1u, Percents().size());
    gauge_->SendGuageToC("other");
    gauge_->SendGuageToC("same");  // the last detail changed in between
    EXPECT_EQ(3u, Percents().size());
    qxp::SetFixedTime(1000001);
    gauge_->SendGuageToC("same");
    EXPECT_EQ(4u, Percents().size());
}

TEST_F(IeGauge, SegmentsOpenOnlyWithinTheHundred) {
    EXPECT_EQ(1ul, ResetTotalCount(0, 50));  // ignored
    EXPECT_EQ(1ul, ResetTotalCount(10, 0));
    EXPECT_EQ(1ul, ResetTotalCount(10, 1e-39f));  // below the smallest normal float
    EXPECT_EQ(0ul, SendIncreaseGauge(1, "no segment"));
    EXPECT_TRUE(Percents().empty());

    EXPECT_EQ(1ul, ResetTotalCount(10, 80));
    EXPECT_EQ(0ul, SendIncreaseGauge(5, "half"));
    EXPECT_EQ(0ul, SendIncreaseGauge(5, "all"));
    EXPECT_EQ(0ul, ResetTotalCount(10, 50));  // 80 + 50 > 100
    EXPECT_EQ(1ul, ResetTotalCount(10, 20));  // ends exactly at 100
    EXPECT_EQ(0ul, SendIncreaseGauge(10, "full"));
    EXPECT_EQ((std::vector<int>{40, 80, 100}), Percents());
    // At 100 the next segment starts from 0 again.
    EXPECT_EQ(1ul, ResetTotalCount(10, 50));
    EXPECT_EQ((std::vector<int>{40, 80, 100}), Percents());

    ResetGaugeData();
    ClearSent();
    EXPECT_EQ(1ul, ResetTotalCount(4, 30));
    SendIncreaseGauge(1, "q");               // 7.5
    EXPECT_EQ(1ul, ResetTotalCount(4, 30));  // from the sent whole value 7 to 37
    SendIncreaseGauge(2, "h");               // 7 + 15
    EXPECT_EQ((std::vector<int>{7, 22}), Percents());
}

TEST_F(IeGauge, SendsOnlyOnAWholePercentStep) {
    EXPECT_EQ(0ul, SendGuageAndGetCancelOperation(3.0f, "three"));
    SendGuageAndGetCancelOperation(3.7f, "no");
    SendGuageAndGetCancelOperation(4.2f, "four");
    EXPECT_EQ((std::vector<int>{3, 4}), Percents());

    ResetGaugeData();
    ClearSent();
    ResetTotalCount(1000, 100);
    for (int i = 0; i < 25; ++i) SendIncreaseGauge(1, "item");
    EXPECT_EQ((std::vector<int>{0, 1, 2}), Percents());

    EXPECT_EQ(1ul, SendDetail("again"));
    const auto reports = SentReports();
    EXPECT_EQ(2, reports.back().percent);
    EXPECT_EQ("again", reports.back().detail);
    EXPECT_EQ(&task_, reports.back().task);

    OrinGnlTask other;
    ClearSent();
    EXPECT_EQ(0ul, SendMutiIncreaseGauge(nullptr, 100, "null"));
    for (int i = 0; i < 10; ++i) SendMutiIncreaseGauge(&other, 1, "other");  // to 3.5
    ASSERT_EQ((std::vector<int>{3}), Percents());
    EXPECT_EQ(&other, SentReports()[0].task);
}

TEST_F(IeGauge, CancellationIsSeenAndKeptUntilReset) {
    EXPECT_EQ(0ul, IsImportCancel());
    EXPECT_FALSE(gauge_->IsCanceled());
    qxp::OrinProgressMgr::Instance()->CancelTask(&task_);
    EXPECT_EQ(1ul, IsImportCancel());
    EXPECT_TRUE(gauge_->IsCanceled());

    EXPECT_EQ(0ul, SendIncreaseGauge(1, "no segment, not yet seen"));
    EXPECT_EQ(1ul, SendGuageAndGetCancelOperation(50, "cancelled"));
    EXPECT_TRUE(Percents().empty());
    EXPECT_EQ(1ul, SendIncreaseGauge(1, "flag kept"));

    // Another task that is not cancelled still reports, but the flag stays set.
    OrinGnlTask other;
    ResetTotalCount(10, 10);
    EXPECT_EQ(1ul, SendMutiIncreaseGauge(&other, 10, "other"));
    EXPECT_EQ((std::vector<int>{10}), Percents());

    ResetGaugeData();
    EXPECT_EQ(0ul, SendIncreaseGauge(1, "after reset"));
    qxp::OrinProgressMgr::Instance()->CancelTask(&other);
    ResetTotalCount(10, 10);
    EXPECT_EQ(1ul, SendMutiIncreaseGauge(&other, 1, "other cancelled"));
    EXPECT_EQ((std::vector<int>{10}), Percents());
}

TEST(IeConcurrency, CountingFromManyThreadsReportsRisingWholePercents) {
    constexpr int kThreads = 4;
    constexpr int kItemsEach = 250;
    std::mutex mutex;
    std::vector<int> percents;
    qxp::OrinProgressMgr::Instance()->Reset();
    qxp::OrinProgressMgr::Instance()->SetReporter(
        [&](OrinGnlTask*, int percent, const qxp::OrinProgressInfo&) {
            std::lock_guard<std::mutex> lock(mutex);
            percents.push_back(percent);
        });
    ResetGaugeData();
    OrinGnlTask task;
    ASSERT_EQ(1ul, ResetTotalCount(kThreads * kItemsEach, 100));
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&task] {
            qxp::ScopedCurrentTask current(&task);
            for (int i = 0; i < kItemsEach; ++i) SendIncreaseGauge(1, "item");
        });
    }
    for (auto& th : threads) th.join();
    qxp::OrinProgressMgr::Instance()->SetReporter({});
    ResetGaugeData();

    ASSERT_FALSE(percents.empty());
    for (std::size_t i = 1; i < percents.size(); ++i) {
        EXPECT_LT(percents[i - 1], percents[i]) << "report " << i;
    }
    EXPECT_EQ(100, percents.back());
}
