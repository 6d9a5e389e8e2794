// Begins a drag of files with a picture of them. Main thread.
#pragma once

#include "MorvCore/Foundation/FileURL.h"

#include <QPixmap>
#include <cstddef>
#include <vector>

class QMimeData;
class QWidget;

namespace morv::DragSource {

/// Up to three pictures, fanned, and how many files there are when there are several.
QPixmap picture(const std::vector<QPixmap>& pictures, std::size_t count, qreal density);
/// The files as their paths' bytes; the caller owns it.
QMimeData* data(const std::vector<FileURL>& files);
/// Returns when the hand has let go. Nothing is done to the files here, whatever the target says it did.
void run(QWidget& source, QMimeData* data, const QPixmap& picture);

} // namespace morv::DragSource
