#include "MorvApp/Views/Theme/TagColours.h"

#include "MorvApp/Model/TagChange.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvCore/Foundation/Unicode.h"

#include <algorithm>
#include <array>

namespace morv {

namespace {

struct Pair {
    QColor light;
    QColor dark;
};

/// Of colourTags.
const std::array<Pair, colourTags.size()> colours{{
    {QColor(0x7B, 0x81, 0x8C), QColor(0xA3, 0xA9, 0xB4)},
    {QColor(0x2F, 0x9E, 0x57), QColor(0x5F, 0xCB, 0x85)},
    {QColor(0x8E, 0x55, 0xC9), QColor(0xBB, 0x8B, 0xEE)},
    {QColor(0x2B, 0x7D, 0xE0), QColor(0x68, 0xA9, 0xF8)},
    {QColor(0xD4, 0xA0, 0x0A), QColor(0xF0, 0xC9, 0x4C)},
    {QColor(0xDB, 0x3B, 0x3B), QColor(0xF4, 0x76, 0x76)},
    {QColor(0xE0, 0x79, 0x1A), QColor(0xF5, 0xA2, 0x56)},
}};

/// The place of a colour's name; past the end for another.
std::size_t placeOf(std::string_view name) {
    auto key = pathKey(name);
    if (key == "gray")
        key = "grey";
    static const auto keys = [] {
        std::array<std::string, colourTags.size()> made;
        std::ranges::transform(colourTags, made.begin(), pathKey);
        return made;
    }();
    return static_cast<std::size_t>(std::ranges::find(keys, key) - keys.begin());
}

} // namespace

QColor tagColour(std::string_view name, int stored) {
    const bool isStored = stored > 0 && static_cast<std::size_t>(stored) <= colours.size();
    const auto place = isStored ? static_cast<std::size_t>(stored) - 1 : placeOf(name);
    const auto& theme = Theme::shared();
    if (place >= colours.size())
        return theme.colours().secondaryText;
    return theme.appearance() == Appearance::dark ? colours[place].dark : colours[place].light;
}

} // namespace morv
