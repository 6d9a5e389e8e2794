// Pictures of folders: a body in a jewel colour and a symbol on it, drawn for exactly the pixels they fill.
// Made once for each look and size. Confined to the main thread.
#pragma once

#include "MorvApp/Model/FolderAppearance.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QColor>
#include <QHash>
#include <QPixmap>
#include <string_view>

namespace morv {

class FolderArt {
public:
    /// The jewel itself; teal for a name of a newer version.
    static QColor jewel(std::string_view color);

    /// Of the theme's present light or dark; `size` in device-independent pixels.
    QPixmap folder(const FolderAppearance& appearance, int size, qreal density);
    void clear() { pixmaps_.clear(); }

    /// Draws without keeping.
    static QPixmap render(const FolderAppearance& appearance, Appearance theme, int size, qreal density);

private:
    QHash<QString, QPixmap> pixmaps_;
};

} // namespace morv
