// The colours of tags: the one that is stored with a tag, else the one that its name says. Main thread.
#pragma once

#include <QColor>
#include <string_view>

namespace morv {

/// `stored` is the number of FileTagMetadata::Tag, 0 for none. Of the theme's present light or dark; a tag
/// without a colour is grey like secondary text.
QColor tagColour(std::string_view name, int stored = 0);

} // namespace morv
