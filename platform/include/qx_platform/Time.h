#pragma once

#include <cstdint>
#include <string>

#include "qx_platform/Export.h"

namespace qxp {

// The host's time record. The first field is the whole second, so two records of the same
// second compare equal on it.
struct QXTime {
    std::int64_t seconds = 0;  // since 1970-01-01, in UTC or local time as the producer says
    int year = 1970, month = 1, day = 1, hour = 0, minute = 0, second = 0;
};

// Now, in UTC (a fixed clock when the control API set one).
QXP_API QXTime QXGetSystemTime();
// UTC to the process's local time zone (TZ).
QXP_API QXTime QXUTC2LOCAL(const QXTime& utc);
// strftime-style formatting of a record's calendar fields.
QXP_API std::string QXFormatTime(const QXTime& t, const char* format);

}  // namespace qxp
