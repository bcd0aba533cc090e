#include "ProgressBar.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <vector>

#include "Output.h"
#include "qx_platform/Progress.h"
#include "qx_scriptutil/ScriptGauge.h"

namespace qxscript {

namespace {

constexpr int kBarWidth = 40;
bool g_suppressed = false;

// Lines of the file, counted in large blocks: the gauge counts lines because the reader tells
// where it stands only by line.
unsigned long CountLines(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::vector<char> block(1 << 20);
    unsigned long lines = 1;
    while (in) {
        in.read(block.data(), static_cast<std::streamsize>(block.size()));
        const char* p = block.data();
        const char* end = p + in.gcount();
        while ((p = static_cast<const char*>(std::memchr(p, '\n', end - p))) != nullptr) {
            ++lines;
            ++p;
        }
    }
    return lines;
}

void Draw(int percent, const std::string& name) {
    const int filled = percent * kBarWidth / 100;
    std::fprintf(stderr, "\r[%.*s%*s] %3d%% %s", filled, "########################################",
                 kBarWidth - filled, "", percent, name.c_str());
    std::fflush(stderr);
}

}  // namespace

ProgressBar::ProgressBar(const std::string& path) {
    struct stat st {};
    if (Quiet() || g_suppressed || !isatty(STDERR_FILENO) || stat(path.c_str(), &st) != 0 ||
        static_cast<std::uint64_t>(st.st_size) < kMinBytes) {
        return;
    }
    const unsigned long total = CountLines(path);
    m_step = total / 200 + 1;
    const std::string name = path;
    qxp::OrinProgressMgr::Instance()->SetReporter(
        [name](qxp::OrinGnlTask*, int percent, const qxp::OrinProgressInfo&) {
            Draw(percent, name);
        });
    NSQX_script::ResetGaugeData();
    NSQX_script::ResetTotalCount(total, 100.0f);
    m_active = true;
    Draw(0, name);
}

ProgressBar::~ProgressBar() {
    if (!m_active) return;
    qxp::OrinProgressMgr::Instance()->SetReporter({});
    NSQX_script::ResetGaugeData();
    std::fprintf(stderr, "\r%*s\r", kBarWidth + 80, "");
    std::fflush(stderr);
}

void ProgressBar::AvoidTerminal(FILE* out) {
    if (isatty(fileno(out))) g_suppressed = true;
}

void ProgressBar::TurnOff() {
    g_suppressed = true;
}

void ProgressBar::At(unsigned long line) {
    if (!m_active || line < m_reported + m_step) return;
    NSQX_script::SendIncreaseGauge(line - m_reported, "");
    m_reported = line;
}

}  // namespace qxscript
