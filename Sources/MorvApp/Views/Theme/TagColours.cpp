#include "MorvApp/Views/Theme/TagColours.h"

#include "MorvApp/Views/Theme/Theme.h"
#include "MorvCore/Foundation/Unicode.h"

#include <algorithm>
#include <array>

namespace morv {

namespace {

struct Label {
    std::string_view name;
    QColor light;
    QColor dark;
};

/// By the stored number less one.
const std::array<Label, 7> labels{{
    {"grey", QColor(0x7B, 0x81, 0x8C), QColor(0xA3, 0xA9, 0xB4)},
    {"green", QColor(0x2F, 0x9E, 0x57), QColor(0x5F, 0xCB, 0x85)},
    {"purple", QColor(0x8E, 0x55, 0xC9), QColor(0xBB, 0x8B, 0xEE)},
    {"blue", QColor(0x2B, 0x7D, 0xE0), QColor(0x68, 0xA9, 0xF8)},
    {"yellow", QColor(0xD4, 0xA0, 0x0A), QColor(0xF0, 0xC9, 0x4C)},
    {"red", QColor(0xDB, 0x3B, 0x3B), QColor(0xF4, 0x76, 0x76)},
    {"orange", QColor(0xE0, 0x79, 0x1A), QColor(0xF5, 0xA2, 0x56)},
}};

} // namespace

QColor tagColour(std::string_view name, int stored) {
    const auto* label = labels.end();
    if (stored > 0 && stored <= static_cast<int>(labels.size())) {
        label = labels.begin() + stored - 1;
    } else {
        const auto key = pathKey(name);
        label = std::ranges::find(labels, key == "gray" ? std::string("grey") : key, &Label::name);
    }
    const auto& theme = Theme::shared();
    if (label == labels.end())
        return theme.colours().secondaryText;
    return theme.appearance() == Appearance::dark ? label->dark : label->light;
}

} // namespace morv
