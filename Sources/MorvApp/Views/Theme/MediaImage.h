// What the decoder has made, as the toolkit's picture. Stateless.
#pragma once

#include "MorvApp/Model/MediaDecoder.h"

#include <QImage>

namespace morv {

/// Shares the pixels and keeps them. Null for no picture.
QImage imageOf(const MediaPicture& picture);

} // namespace morv
