#include "qx_platform/Time.h"

#include <atomic>
#include <ctime>
#include <mutex>

#include "qx_platform/Control.h"

namespace qxp {

namespace {

std::atomic<std::int64_t> g_fixedTime{-1};
// tzset rewrites the C library's zone globals; the library's own lock is invisible to thread
// checkers, so conversions are serialised here too (they run once per header written).
std::mutex g_zoneMutex;

QXTime FromTm(std::int64_t seconds, const std::tm& tm) {
    QXTime t;
    t.seconds = seconds;
    t.year = tm.tm_year + 1900;
    t.month = tm.tm_mon + 1;
    t.day = tm.tm_mday;
    t.hour = tm.tm_hour;
    t.minute = tm.tm_min;
    t.second = tm.tm_sec;
    return t;
}

}  // namespace

void SetFixedTime(std::int64_t utcSeconds) {
    g_fixedTime.store(utcSeconds);
}

QXTime QXGetSystemTime() {
    const std::int64_t fixed = g_fixedTime.load();
    const std::time_t now = fixed >= 0 ? static_cast<std::time_t>(fixed) : std::time(nullptr);
    std::tm tm{};
    gmtime_r(&now, &tm);
    return FromTm(now, tm);
}

QXTime QXUTC2LOCAL(const QXTime& utc) {
    const std::time_t when = static_cast<std::time_t>(utc.seconds);
    std::tm tm{};
    {
        std::lock_guard<std::mutex> lock(g_zoneMutex);
        // localtime_r need not call tzset, so a TZ changed at run time would go unseen.
        tzset();
        localtime_r(&when, &tm);
    }
    // The seconds of a local record count local wall-clock time, matching its fields.
    return FromTm(utc.seconds + tm.tm_gmtoff, tm);
}

std::string QXFormatTime(const QXTime& t, const char* format) {
    if (format == nullptr || *format == '\0') return std::string();
    std::tm tm{};
    tm.tm_year = t.year - 1900;
    tm.tm_mon = t.month - 1;
    tm.tm_mday = t.day;
    tm.tm_hour = t.hour;
    tm.tm_min = t.minute;
    tm.tm_sec = t.second;
    // timegm fills in the weekday and day of the year for %a, %j and the like.
    std::tm norm = tm;
    if (timegm(&norm) != static_cast<std::time_t>(-1)) {
        tm.tm_wday = norm.tm_wday;
        tm.tm_yday = norm.tm_yday;
    }
    std::string out(64, '\0');
    for (int attempt = 0; attempt < 6; ++attempt) {
        const std::size_t n = std::strftime(&out[0], out.size(), format, &tm);
        if (n > 0) {
            out.resize(n);
            return out;
        }
        out.resize(out.size() * 4);
    }
    return std::string();  // a format that expands to nothing
}

}  // namespace qxp
