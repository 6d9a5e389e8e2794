#include "MorvCore/Foundation/DayCalendar.h"

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <unicode/calendar.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>

namespace morv {

namespace {

constexpr int daysOfWeek = 7;

void check(UErrorCode status) {
    if (U_FAILURE(status))
        throw std::runtime_error("The calendar tables cannot be read.");
}

bool namesNoRegion(const std::string& locale) {
    return locale.empty() || locale == "POSIX" || locale == "C" || locale.starts_with("C.");
}

std::unique_ptr<icu::Calendar> makeCalendar(const DayCalendar& rules) {
    std::unique_ptr<icu::TimeZone> zone(
        icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(rules.timeZone)));
    if (*zone == icu::TimeZone::getUnknown())
        zone.reset(icu::TimeZone::getGMT()->clone());
    const bool isRoot = namesNoRegion(rules.locale);
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::Calendar> calendar(icu::Calendar::createInstance(
        zone.release(), isRoot ? icu::Locale::getRoot() : icu::Locale::createCanonical(rules.locale.c_str()),
        status));
    check(status);
    if (isRoot)
        calendar->setFirstDayOfWeek(UCAL_MONDAY);
    // Where midnight comes twice, the day begins with the first.
    calendar->setRepeatedWallTimeOption(UCAL_WALLTIME_FIRST);
    calendar->setSkippedWallTimeOption(UCAL_WALLTIME_NEXT_VALID);
    return calendar;
}

/// Moves the calendar by days, then to the beginning of the day it is in.
Date beginning(icu::Calendar& calendar, int days) {
    UErrorCode status = U_ZERO_ERROR;
    calendar.add(UCAL_DATE, days, status);
    calendar.set(UCAL_HOUR_OF_DAY, 0);
    calendar.set(UCAL_MINUTE, 0);
    calendar.set(UCAL_SECOND, 0);
    calendar.set(UCAL_MILLISECOND, 0);
    const double milliseconds = calendar.getTime(status);
    check(status);
    return Date::fromUnix(milliseconds / 1000);
}

} // namespace

DayCalendar DayCalendar::current() {
    DayCalendar result;
    for (const char* variable : {"LC_ALL", "LC_TIME", "LANG"}) {
        if (const char* value = std::getenv(variable); value && *value) {
            result.locale = value;
            break;
        }
    }
    const std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::detectHostTimeZone());
    icu::UnicodeString id;
    zone->getID(id).toUTF8String(result.timeZone);
    return result;
}

DayBoundaries dayBoundaries(const DayCalendar& rules, const Date& now) {
    const auto calendar = makeCalendar(rules);
    UErrorCode status = U_ZERO_ERROR;
    calendar->setTime(now.unixSeconds() * 1000, status);
    check(status);
    DayBoundaries result;
    result.today = beginning(*calendar, 0);
    const int intoWeek =
        (calendar->get(UCAL_DAY_OF_WEEK, status) - calendar->getFirstDayOfWeek(status) + daysOfWeek) %
        daysOfWeek;
    check(status);
    result.yesterday = beginning(*calendar, -1);
    result.thisWeek = beginning(*calendar, 1 - intoWeek);
    result.nextWeek = beginning(*calendar, daysOfWeek);
    return result;
}

Date beginningOfDay(const DayCalendar& rules, const Date& now, int days) {
    const auto calendar = makeCalendar(rules);
    UErrorCode status = U_ZERO_ERROR;
    calendar->setTime(now.unixSeconds() * 1000, status);
    check(status);
    return beginning(*calendar, days);
}

} // namespace morv
