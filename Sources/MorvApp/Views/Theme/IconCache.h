// Pictures of files by family, from the user's icon theme; each is rendered once per name, size and screen
// density. Confined to the main thread.
#pragma once

#include "MorvCore/Folders/FileEntry.h"

#include <QHash>
#include <QIcon>
#include <QPixmap>
#include <QString>
#include <string>

namespace morv {

class IconCache {
public:
    /// `size` in device-independent pixels.
    QPixmap file(const FileEntry& entry, int size, qreal density);
    QPixmap named(const QString& name, int size, qreal density);
    /// After a change of the icon theme.
    void clear() { pixmaps_.clear(); }

private:
    static QString nameOf(const FileEntry& entry);

    QHash<QString, QPixmap> pixmaps_;
};

} // namespace morv
