// What a person calls the orders of files, in the order in which they are offered.
#pragma once

#include "MorvCore/Folders/FileEntry.h"

#include <array>
#include <utility>

namespace morv {

inline constexpr std::array<std::pair<const char*, FileSort>, 5> sortTitles{
    {{"Name", FileSort::name},
     {"Date Modified", FileSort::modified},
     {"Date Added", FileSort::added},
     {"Size", FileSort::size},
     {"Kind", FileSort::kind}}};

} // namespace morv
