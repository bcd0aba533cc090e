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

// Both gauges and the progress manager are process-wide: every test starts from a clean state
// with a fixed clock, a recording reporter and a current task. Reports arrive on the sending
// thread, so the single-threaded tests need no lock.
class IeGauge : public ::testing::Test {
  protected:
    void SetUp() override {
        qxp::SetFixedTime(1000000);
        qxp::OrinProgressMgr::Instance()->Reset();
        qxp::OrinProgressMgr::Instance()->SetReporter(
            [this](OrinGnlTask* task, int percent, const qxp::OrinProgressInfo& info) {
                sent_ += (sent_.empty() ? "" : "|") + std::to_string(percent) + " " + info.detail +
                         (task == &task_ ? "" : "*");
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

    OrinGnlTask task_;
    qxp::ScopedCurrentTask current_{&task_};
    QXSCGuageMgr* gauge_ = nullptr;
    // Every report as "percent detail", marked "*" when for a task other than the current one.
    std::string sent_;
};

}  // namespace

TEST_F(IeGauge, SharesDivideTheHundredByKindOfWork) {
    gauge_->SetFileCount(4, 10);
    for (const char* ne : {"ne 1", "ne 2", "ne 3", "ne 4"}) gauge_->SendNeIncGuage(100, ne);
    EXPECT_DOUBLE_EQ(60.0, gauge_->GetTotalGuage());
    gauge_->SendPortIncGuage(50, "ports");  // 50 / 10 * 0.1
    gauge_->SendNetIncGuage(10, "net");     // 10 * 0.3
    EXPECT_DOUBLE_EQ(63.5, gauge_->GetTotalGuage());
    EXPECT_EQ("15 ne 1|30 ne 2|45 ne 3|60 ne 4|60 ports|63 net", sent_);

    // Zero counts add nothing and send nothing; a null task does nothing either.
    sent_.clear();
    gauge_->SetFileCount(0, 0);
    gauge_->SendNeIncGuage(100, "none");
    gauge_->SendPortIncGuage(100, "none");
    gauge_->SendMutiNeIncGuage(nullptr, 100, "none");
    gauge_->SendMutiGuageToC(nullptr, "none");
    EXPECT_DOUBLE_EQ(63.5, gauge_->GetTotalGuage());
    EXPECT_EQ("", sent_);

    // The explicit-task forms report for that task, not the current one.
    OrinGnlTask other;
    gauge_->SetFileCount(2, 5);
    gauge_->SendMutiNeIncGuage(&other, 1, "other ne");   // + 0.3
    gauge_->SendMutiPortIncGuage(&other, 5, "other p");  // + 0.1
    EXPECT_DOUBLE_EQ(63.9, gauge_->GetTotalGuage());
    EXPECT_EQ("63 other ne*|63 other p*", sent_);

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
    // Without files or ports those steps keep the last value.
    gauge_->SetFileCount(0, 0);
    gauge_->SetStepPercent(STEP_NE_FILE, 100);
    gauge_->SetStepPercent(STEP_PORT, 100);

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
    EXPECT_EQ("7 step 1|15 step 2", sent_);
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
    EXPECT_EQ("99 a|99 b|0 c|50 d", sent_);
}

TEST_F(IeGauge, RepeatedDetailInTheSameSecondIsDropped) {
    gauge_->SendGuageToC("");  // right after Init, same second, same (empty) detail
    gauge_->SendStepPercent(10, "same");
    gauge_->SendGuageToC("same");
    gauge_->SendMutiGuageToC(&task_, "same");
    gauge_->SendGuageToC("other");
    gauge_->SendGuageToC("same");  // the last detail changed in between
    qxp::SetFixedTime(1000001);
    gauge_->SendGuageToC("same");  // a new second
    EXPECT_EQ("10 same|10 other|10 same|10 same", sent_);
}

TEST_F(IeGauge, SegmentsOpenOnlyWithinTheHundred) {
    EXPECT_EQ(1ul, ResetTotalCount(0, 50));  // ignored
    EXPECT_EQ(1ul, ResetTotalCount(10, 0));
    EXPECT_EQ(1ul, ResetTotalCount(10, 1e-39f));  // below the smallest normal float
    EXPECT_EQ(0ul, SendIncreaseGauge(1, "no segment"));
    EXPECT_EQ("", sent_);

    EXPECT_EQ(1ul, ResetTotalCount(10, 80));
    EXPECT_EQ(0ul, SendIncreaseGauge(5, "half"));
    EXPECT_EQ(0ul, SendIncreaseGauge(5, "all"));
    EXPECT_EQ(0ul, ResetTotalCount(10, 50));  // 80 + 50 > 100
    EXPECT_EQ(1ul, ResetTotalCount(10, 20));  // ends exactly at 100
    EXPECT_EQ(0ul, SendIncreaseGauge(10, "full"));
    EXPECT_EQ("40 half|80 all|100 full", sent_);
    EXPECT_EQ(1ul, ResetTotalCount(10, 50));  // at 100 the next segment starts from 0 again

    ResetGaugeData();
    sent_.clear();
    EXPECT_EQ(1ul, ResetTotalCount(4, 30));
    SendIncreaseGauge(1, "q");               // 7.5
    EXPECT_EQ(1ul, ResetTotalCount(4, 30));  // from the sent whole value 7 to 37
    SendIncreaseGauge(2, "h");               // 7 + 15
    EXPECT_EQ("7 q|22 h", sent_);
}

TEST_F(IeGauge, SendsOnlyOnAWholePercentStep) {
    EXPECT_EQ(1ul, SendDetail("nothing sent yet"));  // the last sent value is still -1
    EXPECT_EQ(0ul, SendGuageAndGetCancelOperation(3.0f, "three"));
    SendGuageAndGetCancelOperation(3.7f, "no");
    SendGuageAndGetCancelOperation(4.2f, "four");
    EXPECT_EQ("-1 nothing sent yet|3 three|4 four", sent_);

    ResetGaugeData();
    sent_.clear();
    ResetTotalCount(1000, 100);
    for (int i = 0; i < 25; ++i) SendIncreaseGauge(1, "item");
    EXPECT_EQ(1ul, SendDetail("again"));  // the last sent value with a new detail
    EXPECT_EQ("0 item|1 item|2 item|2 again", sent_);

    OrinGnlTask other;
    sent_.clear();
    EXPECT_EQ(0ul, SendMutiIncreaseGauge(nullptr, 100, "null"));
    for (int i = 0; i < 10; ++i) SendMutiIncreaseGauge(&other, 1, "other");  // to 3.5
    EXPECT_EQ("3 other*", sent_);
}

// A reporter may call back into the gauge, from its own thread or from one it waits for; what
// it sends is delivered after the report it is handling, so the values keep their order.
TEST_F(IeGauge, ReporterMayCallBackIntoTheGauge) {
    qxp::OrinProgressMgr::Instance()->SetReporter(
        [this](OrinGnlTask*, int percent, const qxp::OrinProgressInfo& info) {
            sent_ += (sent_.empty() ? "" : "|") + std::to_string(percent) + " " + info.detail;
            if (info.detail == "three") {
                SendDetail("same thread");
                std::thread([this] {
                    qxp::ScopedCurrentTask current(&task_);
                    SendDetail("other thread");
                }).join();
                ResetTotalCount(10, 10);
                SendIncreaseGauge(5, "counted");
                SendMutiIncreaseGauge(&task_, 5, "muti");
            }
        });
    EXPECT_EQ(0ul, SendGuageAndGetCancelOperation(3.0f, "three"));
    EXPECT_EQ("3 three|3 same thread|3 other thread|8 counted|13 muti", sent_);
}

TEST_F(IeGauge, CancellationIsSeenAndKeptUntilReset) {
    EXPECT_EQ(0ul, IsImportCancel());
    qxp::OrinProgressMgr::Instance()->CancelTask(&task_);
    EXPECT_EQ(1ul, IsImportCancel());

    EXPECT_EQ(0ul, SendIncreaseGauge(1, "no segment, not yet seen"));
    EXPECT_EQ(1ul, SendGuageAndGetCancelOperation(50, "cancelled"));
    EXPECT_EQ(1ul, SendIncreaseGauge(1, "flag kept"));
    EXPECT_EQ("", sent_);

    // Another task that is not cancelled still reports, but the flag stays set.
    OrinGnlTask other;
    ResetTotalCount(10, 10);
    EXPECT_EQ(1ul, SendMutiIncreaseGauge(&other, 10, "other"));
    EXPECT_EQ("10 other*", sent_);

    ResetGaugeData();
    EXPECT_EQ(0ul, SendIncreaseGauge(1, "after reset"));
    qxp::OrinProgressMgr::Instance()->CancelTask(&other);
    ResetTotalCount(10, 10);
    EXPECT_EQ(1ul, SendMutiIncreaseGauge(&other, 1, "other cancelled"));
    EXPECT_EQ("10 other*", sent_);
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
    for (std::size_t i = 1; i < percents.size(); ++i)
        EXPECT_LT(percents[i - 1], percents[i]) << "report " << i;
    EXPECT_EQ(100, percents.back());
}
