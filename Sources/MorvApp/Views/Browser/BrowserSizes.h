// What the user has drawn wider or higher in the columns and the gallery: one for a window, kept while it
// lives. In device-independent pixels. Main thread.
#pragma once

namespace morv {

struct BrowserSizes {
    static constexpr int narrowestColumn = 160;
    static constexpr int widestColumn = 560;
    static constexpr int lowestStrip = 96;
    static constexpr int highestStrip = 240;

    int column = 240; ///< of every column
    int strip = 136;
};

} // namespace morv
