#include "MorvCore/Foundation/ByteCount.h"

#include <array>
#include <fmt/format.h>

namespace morv {

std::string formatByteCount(std::int64_t bytes) {
    if (bytes == 0)
        return "Zero KB";
    if (bytes == 1)
        return "1 byte";
    if (bytes < 1000)
        return fmt::format("{} bytes", bytes);
    // Kilobytes whole, megabytes with one decimal, larger units with two; a value that rounds up to a
    // thousand moves to the next unit.
    static constexpr std::array<const char*, 6> units = {"KB", "MB", "GB", "TB", "PB", "EB"};
    auto value = static_cast<double>(bytes) / 1000.0;
    std::size_t unit = 0;
    while (value >= 999.5 && unit + 1 < units.size()) {
        value /= 1000.0;
        ++unit;
    }
    std::string number = fmt::format("{:.{}f}", value, unit == 0 ? 0 : unit == 1 ? 1 : 2);
    if (number.find('.') != std::string::npos) {
        number.erase(number.find_last_not_of('0') + 1);
        if (number.back() == '.')
            number.pop_back();
    }
    return fmt::format("{} {}", number, units[unit]);
}

} // namespace morv
