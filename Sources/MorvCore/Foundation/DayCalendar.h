// Days and weeks as a user counts them, in one locale and one time zone.
//
// Threading   a value; safe to use from any thread
#pragma once

#include "MorvCore/Foundation/Date.h"

#include <string>

namespace morv {

struct DayCalendar {
    std::string locale;   ///< BCP 47 or POSIX form, such as "en_GB"; decides the first day of a week
    std::string timeZone; ///< an IANA name, such as "Europe/London"

    /// Of the process: LC_ALL, LC_TIME or LANG (none: weeks begin on Monday), and the system's time zone.
    static DayCalendar current();

    friend bool operator==(const DayCalendar&, const DayCalendar&) = default;
};

/// The first moments of the days around one moment. A day without midnight, as some have where the clocks go
/// forward, begins with its first moment.
struct DayBoundaries {
    Date today;
    Date yesterday;
    Date thisWeek;
    Date nextWeek;

    friend bool operator==(const DayBoundaries&, const DayBoundaries&) = default;
};

/// An unknown time zone counts as UTC.
DayBoundaries dayBoundaries(const DayCalendar& calendar, const Date& now);
/// The first moment of the day that lies `days` after the one of `now`.
Date beginningOfDay(const DayCalendar& calendar, const Date& now, int days);

} // namespace morv
