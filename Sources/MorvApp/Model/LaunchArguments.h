// What morv was asked to do, as typed or as the desktop started it.
#pragma once

#include "MorvApp/Model/OutsideRequest.h"

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace morv {

struct LaunchArguments {
    enum class Mode : std::uint8_t { window, service, help, version };

    Mode mode = Mode::window;
    OutsideRequest request;
};

/// The arguments make no sense; what() is one sentence.
class LaunchError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// `arguments` without the program's name. Anything like "scheme://…" is taken as a URL, everything else as a
/// path, relative to the working directory of this process. Throws LaunchError.
LaunchArguments parseLaunchArguments(const std::vector<std::string>& arguments);
/// The page of --help.
std::string launchHelp();

} // namespace morv
