#include "MorvApp/Views/Theme/FolderArt.h"

#include "MorvApp/Views/Theme/FolderSymbols.h"
#include "MorvApp/Views/Theme/Text.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <array>
#include <utility>

namespace morv {

namespace {

/// Looks of one folder in a hundred sizes come from a slider that is being dragged; nobody looks back.
constexpr qsizetype keptPictures = 200;
/// Below this many pixels a symbol is a smudge.
constexpr double smallestWithSymbol = 30;

QColor mixed(const QColor& a, const QColor& b, double share) {
    const auto mix = [share](float from, float to) { return static_cast<float>(from + (to - from) * share); };
    return QColor::fromRgbF(mix(a.redF(), b.redF()), mix(a.greenF(), b.greenF()), mix(a.blueF(), b.blueF()));
}

struct Shades {
    Shades(const QColor& jewel, Appearance theme) {
        const bool isDark = theme == Appearance::dark;
        const auto base = isDark ? mixed(jewel, Qt::white, 0.10) : jewel;
        back = mixed(base, Qt::black, 0.20);
        paper = mixed(base, Qt::white, isDark ? 0.66 : 0.78);
        top = mixed(base, Qt::white, 0.24);
        bottom = mixed(base, Qt::black, 0.02);
        edge = mixed(base, Qt::white, 0.46);
        symbol = mixed(base, Qt::white, 0.90);
    }
    QColor back, paper, top, bottom, edge, symbol;
};

/// The back of the folder with its tab, on a square of 100 units.
QPainterPath backShape() {
    QPainterPath path;
    path.moveTo(5, 26);
    path.lineTo(5, 23);
    path.quadTo(5, 15, 13, 15);
    path.lineTo(34, 15);
    path.quadTo(38, 15, 40.5, 17.8);
    path.lineTo(43.5, 21.2);
    path.quadTo(46, 24, 50, 24);
    path.lineTo(87, 24);
    path.quadTo(95, 24, 95, 32);
    path.lineTo(95, 78);
    path.quadTo(95, 86, 87, 86);
    path.lineTo(13, 86);
    path.quadTo(5, 86, 5, 78);
    path.closeSubpath();
    return path;
}

void drawFolder(QPainter& painter, const Shades& shades, double pixels) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(shades.back);
    painter.drawPath(backShape());
    if (pixels >= smallestWithSymbol) {
        painter.setBrush(shades.paper);
        painter.drawRoundedRect(QRectF(13, 29, 74, 30), 4, 4);
    }
    const QRectF front(5, 35, 90, 51);
    QLinearGradient glass(front.topLeft(), front.bottomLeft());
    glass.setColorAt(0, shades.top);
    glass.setColorAt(1, shades.bottom);
    painter.setBrush(glass);
    painter.drawRoundedRect(front, 8, 8);
    // The light on its upper edge, one pixel and no more.
    const double line = 100 / pixels;
    QPainterPath light;
    light.addRoundedRect(front, 8, 8);
    QPainterPath shade;
    shade.addRoundedRect(front.translated(0, line), 8, 8);
    painter.fillPath(light.subtracted(shade), shades.edge);
}

} // namespace

QColor FolderArt::jewel(std::string_view color) {
    const std::array<std::pair<std::string_view, QColor>, FolderAppearance::colors.size()> jewels{{
        {"teal", QColor::fromRgbF(0.04F, 0.46F, 0.49F)},
        {"saffron", QColor::fromRgbF(0.87F, 0.47F, 0.02F)},
        {"sapphire", QColor::fromRgbF(0.13F, 0.39F, 0.83F)},
        {"coral", QColor::fromRgbF(0.78F, 0.19F, 0.30F)},
        {"plum", QColor::fromRgbF(0.48F, 0.22F, 0.56F)},
        {"graphite", QColor::fromRgbF(0.29F, 0.33F, 0.39F)},
    }};
    for (const auto& [name, value] : jewels)
        if (name == color)
            return value;
    return jewels.front().second;
}

QPixmap FolderArt::render(const FolderAppearance& appearance, Appearance theme, int size, qreal density) {
    const double pixels = size * density;
    QPixmap pixmap(qRound(pixels), qRound(pixels));
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(pixmap.width() / 100.0, pixmap.height() / 100.0);
    const Shades shades(jewel(appearance.color), theme);
    drawFolder(painter, shades, pixels);
    const auto* name = appearance.shownSymbol();
    const auto* symbol = name && pixels >= smallestWithSymbol ? folderSymbol(*name) : nullptr;
    if (symbol)
        drawSymbol(painter, *symbol, QRectF(32, 42.5, 36, 36), shades.symbol);
    painter.end();
    pixmap.setDevicePixelRatio(density);
    return pixmap;
}

QPixmap FolderArt::folder(const FolderAppearance& appearance, int size, qreal density) {
    const auto theme = Theme::shared().appearance();
    const auto* symbol = appearance.shownSymbol();
    const auto key = QStringLiteral("%1/%2/%3/").arg(size).arg(density).arg(static_cast<int>(theme)) +
                     ours(appearance.color) + QLatin1Char('/') + (symbol ? ours(*symbol) : QString());
    if (const auto found = pixmaps_.constFind(key); found != pixmaps_.constEnd())
        return *found;
    if (pixmaps_.size() >= keptPictures)
        pixmaps_.clear();
    return *pixmaps_.insert(key, render(appearance, theme, size, density));
}

} // namespace morv
