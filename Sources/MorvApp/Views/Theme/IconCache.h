// Pictures of files by family, from the user's icon theme; each is rendered once per name, size and screen
// density. Confined to the main thread.
#pragma once

#include "MorvCore/Folders/FileEntry.h"

#include <QHash>
#include <QIcon>
#include <QPixmap>
#include <QString>
#include <string>
#include <unordered_map>

namespace morv {

class IconCache {
public:
    IconCache();

    /// `size` in device-independent pixels.
    QPixmap file(const FileEntry& entry, int size, qreal density);
    QPixmap named(const QString& name, int size, qreal density);
    /// After a change of the icon theme.
    void clear() { pixmaps_.clear(); }

private:
    QString nameOf(const FileEntry& entry) const;

    QHash<QString, QPixmap> pixmaps_;
    std::unordered_map<std::string, QString> places_; ///< paths of the user's own folders
};

} // namespace morv
