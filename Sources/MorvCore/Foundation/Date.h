// A moment, as records keep it: seconds since 2001-01-01 00:00:00 UTC, with a fraction.
#pragma once

#include <compare>
#include <cstdint>

namespace morv {

struct Date {
    /// Seconds from 1970-01-01 to 2001-01-01, both 00:00:00 UTC.
    static constexpr double referenceOffset = 978307200.0;

    double sinceReference = 0;

    static Date now();
    static constexpr Date fromUnix(double seconds) { return {seconds - referenceOffset}; }
    static constexpr Date fromUnix(std::int64_t seconds, std::int64_t nanoseconds) {
        return {static_cast<double>(seconds) - referenceOffset + static_cast<double>(nanoseconds) / 1e9};
    }
    constexpr double unixSeconds() const { return sinceReference + referenceOffset; }

    friend constexpr auto operator<=>(const Date&, const Date&) = default;
};

} // namespace morv
