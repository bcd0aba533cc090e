#include <cmath>

#include "qx_platform/Progress.h"
#include "qx_platform/Singleton.h"
#include "qx_platform/Trace.h"
#include "qx_scriptutil/ScriptGauge.h"

namespace NSQX_script {

std::atomic<QXSCGuageMgr*> QXSCGuageMgr::m_pInstance{nullptr};

namespace {

constexpr double kDefaultNeShare = 0.6;
constexpr double kDefaultPortShare = 0.1;
constexpr double kDefaultNetShare = 0.3;
// Network-level steps count for less than their share when computed as a step percent.
constexpr double kNetStepFactor = 0.7;
// The import task shows network-level work on a 0..30 scale of its own.
constexpr double kImportNetFactor = 30.0;

qxp::QXTime LocalNow() {
    return qxp::QXUTC2LOCAL(qxp::QXGetSystemTime());
}

// Truncates toward zero; values no integer can hold count as 0.
long long Truncate(double x) {
    if (!(std::fabs(x) < 9.0e18)) return 0;
    return static_cast<long long>(x);
}

}  // namespace

QXSCGuageMgr::QXSCGuageMgr() {
    Init();
}

QXSCGuageMgr* QXSCGuageMgr::Instance() {
    return qxp::DoubleCheckedInstance(m_pInstance, [] { return new QXSCGuageMgr(); });
}

void QXSCGuageMgr::Destroy() {
    qxp::DoubleCheckedDestroy(m_pInstance);
}

void QXSCGuageMgr::Init() {
    const qxp::QXTime now = LocalNow();
    qxp::LockGuard<qxp::Mutex> guard(m_mutex);
    m_neFileCount = 0;
    m_portCount = 0;
    m_neShare = kDefaultNeShare;
    m_portShare = kDefaultPortShare;
    m_netShare = kDefaultNetShare;
    m_TotalGuage = 0;
    m_lastSendTime = now;
    m_stepPercent = 0;
    m_lastDetail.clear();
}

void QXSCGuageMgr::SetFileCount(unsigned long neFiles, unsigned long ports) {
    qxp::LockGuard<qxp::Mutex> guard(m_mutex);
    m_neFileCount = neFiles;
    m_portCount = ports;
}

void QXSCGuageMgr::SetPercent(double ne, double port, double net) {
    qxp::LockGuard<qxp::Mutex> guard(m_mutex);
    m_neShare = ne;
    m_portShare = port;
    m_netShare = net;
}

bool QXSCGuageMgr::IsCanceled() {
    return qxp::OrinProgressMgr::Instance()->IsTaskCanceled(qxp::OrinGetCurrentTask());
}

void QXSCGuageMgr::SetStepPercent(StepFlag flag, double x) {
    qxp::LockGuard<qxp::Mutex> guard(m_mutex);
    switch (flag) {
        case STEP_NE_FILE:
            if (m_neFileCount != 0) m_stepPercent = x / m_neFileCount * m_neShare;
            break;
        case STEP_PORT:
            if (m_portCount != 0) m_stepPercent = x / m_portCount * m_portShare;
            break;
        case STEP_NET:
            m_stepPercent = x * m_netShare * kNetStepFactor;
            break;
    }
}

double QXSCGuageMgr::GetStepPercent() {
    qxp::LockGuard<qxp::Mutex> guard(m_mutex);
    return m_stepPercent;
}

double QXSCGuageMgr::GetNetIncGuage() {
    qxp::LockGuard<qxp::Mutex> guard(m_mutex);
    return m_netShare;
}

double QXSCGuageMgr::GetTotalGuage() {
    qxp::LockGuard<qxp::Mutex> guard(m_mutex);
    return m_TotalGuage;
}

void QXSCGuageMgr::SendGuageToC(char const* detail) {
    Send(qxp::OrinGetCurrentTask(), detail);
}

void QXSCGuageMgr::SendMutiGuageToC(OrinGnlTask* task, char const* detail) {
    if (task == nullptr) return;
    Send(task, detail);
}

void QXSCGuageMgr::Send(OrinGnlTask* task, char const* detail) {
    const char* text = detail != nullptr ? detail : "";
    const qxp::QXTime now = LocalNow();
    unsigned char lowByte = 0;
    {
        qxp::LockGuard<qxp::Mutex> guard(m_mutex);
        if (now.seconds == m_lastSendTime.seconds && m_lastDetail == text) return;
        m_lastDetail = text;
        m_lastSendTime = now;
        lowByte = static_cast<unsigned char>(Truncate(m_TotalGuage) & 0xFF);
    }
    int percent = lowByte;
    if (percent <= 99) {
        qxp::QXTrace(qxp::kTraceInfo, ">>Script Guage: %d \n", percent);
    } else {
        qxp::QXTrace(qxp::kTraceInfo, ">>Script Guage is 100 but report 99\n");
        percent = 99;
    }
    qxp::OrinProgressInfo info;
    info.detail = text;
    qxp::OrinProgressMgr::Instance()->ReportProgress(task, task, percent, info);
}

bool QXSCGuageMgr::AddPerUnit(unsigned long QXSCGuageMgr::*count, double QXSCGuageMgr::*share,
                              double n) {
    qxp::LockGuard<qxp::Mutex> guard(m_mutex);
    if (this->*count == 0) return false;
    m_TotalGuage += n / (this->*count) * (this->*share);
    return true;
}

void QXSCGuageMgr::SendNeIncGuage(double n, char const* detail) {
    if (AddPerUnit(&QXSCGuageMgr::m_neFileCount, &QXSCGuageMgr::m_neShare, n)) {
        SendGuageToC(detail);
    }
}

void QXSCGuageMgr::SendPortIncGuage(double n, char const* detail) {
    if (AddPerUnit(&QXSCGuageMgr::m_portCount, &QXSCGuageMgr::m_portShare, n)) {
        SendGuageToC(detail);
    }
}

void QXSCGuageMgr::SendNetIncGuage(double x, char const* detail) {
    {
        qxp::LockGuard<qxp::Mutex> guard(m_mutex);
        m_TotalGuage += x * m_netShare;
    }
    SendGuageToC(detail);
}

void QXSCGuageMgr::SendStepPercent(double x, char const* detail) {
    double before = 0;
    {
        qxp::LockGuard<qxp::Mutex> guard(m_mutex);
        before = m_TotalGuage;
        m_TotalGuage += x;
    }
    qxp::QXTrace(qxp::kTraceInfo, ">>Script m_TotalGuage: %d \n",
                 static_cast<int>(Truncate(before)));
    SendGuageToC(detail);
}

void QXSCGuageMgr::SendMutiNeIncGuage(OrinGnlTask* task, double n, char const* detail) {
    if (task == nullptr) return;
    if (AddPerUnit(&QXSCGuageMgr::m_neFileCount, &QXSCGuageMgr::m_neShare, n)) {
        SendMutiGuageToC(task, detail);
    }
}

void QXSCGuageMgr::SendMutiPortIncGuage(OrinGnlTask* task, double n, char const* detail) {
    if (task == nullptr) return;
    if (AddPerUnit(&QXSCGuageMgr::m_portCount, &QXSCGuageMgr::m_portShare, n)) {
        SendMutiGuageToC(task, detail);
    }
}

void ImportScriptSendProgress(double x, char const* detail) {
    QXSCGuageMgr::Instance()->SendStepPercent(x, detail);
}

unsigned long IsImportCancel() {
    return QXSCGuageMgr::Instance()->IsCanceled() ? 1 : 0;
}

void GetImportPercent(double& step, double& net) {
    QXSCGuageMgr* gauge = QXSCGuageMgr::Instance();
    step = gauge->GetStepPercent();
    net = gauge->GetNetIncGuage() * kImportNetFactor;
}

}  // namespace NSQX_script
