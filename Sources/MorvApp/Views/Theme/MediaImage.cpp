#include "MorvApp/Views/Theme/MediaImage.h"

namespace morv {

QImage imageOf(const MediaPicture& picture) {
    if (!picture)
        return {};
    auto* owner = new std::shared_ptr<const std::byte>(picture.pixels);
    return {reinterpret_cast<const uchar*>(picture.pixels.get()),
            picture.width,
            picture.height,
            4 * picture.width,
            QImage::Format_ARGB32_Premultiplied,
            [](void* held) { delete static_cast<std::shared_ptr<const std::byte>*>(held); },
            owner};
}

} // namespace morv
