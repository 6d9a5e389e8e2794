// 16 random bytes with an upper-case text form (RFC 4122).
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace morv {

struct UUID {
    std::array<std::uint8_t, 16> bytes{};

    static UUID random();
    /// Accepts the 36-character form in either case; anything else gives nothing.
    static std::optional<UUID> parse(std::string_view text);
    /// "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX", upper case.
    std::string text() const;

    friend auto operator<=>(const UUID&, const UUID&) = default;
};

} // namespace morv

template <>
struct std::hash<morv::UUID> {
    std::size_t operator()(const morv::UUID& id) const noexcept {
        std::size_t value = 0;
        for (std::size_t i = 0; i < sizeof value; ++i)
            value = value << 8 | id.bytes[i];
        return value;
    }
};
