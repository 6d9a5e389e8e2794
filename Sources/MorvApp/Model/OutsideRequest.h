// What another program, the desktop or a second start asks of the running Morv. A value.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace morv {

struct OutsideRequest {
    enum class Kind : std::uint8_t {
        activate, ///< come forward
        open,
        newWindow,
        showItems, ///< select each in its folder
        showProperties
    };

    Kind kind = Kind::activate;
    std::vector<std::string> urls; ///< as they came; what names no file is ignored
    /// What allows a window to come forward: XDG_ACTIVATION_TOKEN or DESKTOP_STARTUP_ID of whoever asks.
    std::string activationToken;

    friend bool operator==(const OutsideRequest&, const OutsideRequest&) = default;
};

} // namespace morv
