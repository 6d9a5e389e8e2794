#include "MorvApp/Model/LaunchArguments.h"

#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Foundation/FileURL.h"
#include "MorvCore/Foundation/Unicode.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <fmt/format.h>
#include <string_view>

namespace morv {

namespace {

bool isURL(std::string_view text) {
    const auto end = text.find("://");
    const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    return end != text.npos && end > 0 && isLetter(text.front()) &&
           std::ranges::all_of(text.substr(0, end), [&](char c) {
               return isLetter(c) || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
           });
}

std::string urlOf(const std::string& argument) {
    if (argument.empty())
        throw LaunchError("An empty name is no folder.");
    if (isURL(argument))
        return argument;
    try {
        return FileURL::fromArgument(argument).absoluteString();
    } catch (const PosixError& error) {
        throw LaunchError(error.what());
    }
}

/// The options of the toolkit, by which a desktop restarts what it has ended and a person turns a window
/// around: QGuiApplication and QApplication, "Supported Command Line Options". It reads them itself.
constexpr std::array alone = {"reverse", "widgetcount"};
constexpr std::array withValue = {"style",           "stylesheet",   "platform",    "platformpluginpath",
                                  "platformtheme",   "plugin",       "qwindowicon", "session",
                                  "qwindowgeometry", "qwindowtitle", "display",     "geometry"};

enum class Toolkit : std::uint8_t { no, option, optionBeforeValue };

Toolkit toolkitOption(std::string_view argument) {
    const auto name = argument.substr(argument.starts_with("--") ? 2 : 1);
    if (std::ranges::count(alone, name) > 0 || name.starts_with("style=") || name.starts_with("stylesheet="))
        return Toolkit::option;
    return std::ranges::count(withValue, name) > 0 ? Toolkit::optionBeforeValue : Toolkit::no;
}

} // namespace

LaunchArguments parseLaunchArguments(const std::vector<std::string>& arguments) {
    LaunchArguments result;
    bool newWindow = false;
    bool options = true;
    for (auto at = arguments.begin(); at != arguments.end(); ++at) {
        const auto& argument = *at;
        if (!options || !argument.starts_with('-')) {
            result.request.urls.push_back(urlOf(argument));
        } else if (argument == "--") {
            options = false;
        } else if (argument == "--help" || argument == "-h") {
            result.mode = LaunchArguments::Mode::help;
            return result;
        } else if (argument == "--version") {
            result.mode = LaunchArguments::Mode::version;
            return result;
        } else if (argument == "--new-window") {
            newWindow = true;
        } else if (argument == "--service") {
            result.mode = LaunchArguments::Mode::service;
        } else if (const auto toolkit = toolkitOption(argument); toolkit == Toolkit::option) {
            continue;
        } else if (toolkit == Toolkit::optionBeforeValue) {
            if (++at == arguments.end())
                throw LaunchError(fmt::format("“{}” needs a value.", displayText(argument)));
        } else {
            throw LaunchError(fmt::format("“{}” is not an option of morv.", displayText(argument)));
        }
    }
    if (result.mode == LaunchArguments::Mode::service && (newWindow || !result.request.urls.empty()))
        throw LaunchError("--service stands alone.");
    if (newWindow)
        result.request.kind = OutsideRequest::Kind::newWindow;
    else if (!result.request.urls.empty())
        result.request.kind = OutsideRequest::Kind::open;
    return result;
}

std::string launchHelp() {
    return "Usage: morv [OPTION] [FOLDER|FILE|URL]…\n"
           "Opens each folder, or selects each file in its folder, in the Morv that is already running.\n"
           "\n"
           "  --new-window  open in a window of its own\n"
           "  --service     wait for requests from the desktop without a window\n"
           "  --version     print the version\n"
           "  --help        print this page\n"
           "\n"
           "The toolkit’s options, -reverse or -style NAME for one, count in a Morv that is started by "
           "this.\n"
           "URLs are file:///… and morv://open?path=/…; any other is ignored.\n"
           "With MORV_DATA_DIRECTORY, MORV_START_DIRECTORY or MORV_DESKTOP_DIRECTORY in the environment "
           "morv\n"
           "runs by itself, whatever else is running.\n";
}

} // namespace morv
