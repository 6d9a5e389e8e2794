#include "MorvApp/Views/Theme/Type.h"

#include <cmath>

namespace morv::Type {

namespace {

QFont scaled(QFont font, double factor) {
    // A font may be given in pixels, and has no size in points then.
    if (font.pointSizeF() > 0)
        font.setPointSizeF(font.pointSizeF() * factor);
    else
        font.setPixelSize(static_cast<int>(std::lround(font.pixelSize() * factor)));
    return font;
}

QFont semibold(QFont font) {
    font.setWeight(QFont::DemiBold);
    return font;
}

} // namespace

QFont caption(const QFont& body) {
    return scaled(body, 0.88);
}

QFont heading(const QFont& body) {
    return semibold(body);
}

QFont title(const QFont& body) {
    return semibold(scaled(body, 1.4));
}

QFont large(const QFont& body) {
    return semibold(scaled(body, 1.8));
}

} // namespace morv::Type
