#include "MorvApp/Views/Drag/DragSource.h"

#include "MorvApp/Model/FileDrag.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvApp/Views/Theme/Type.h"

#include <QDrag>
#include <QGuiApplication>
#include <QLocale>
#include <QMimeData>
#include <QPainter>
#include <QWidget>
#include <algorithm>

namespace morv {

namespace {

constexpr int pictureSide = 48;
constexpr int fan = 8;
constexpr std::size_t mostPictures = 3;
constexpr int badgeHeight = 20;

} // namespace

QPixmap DragSource::picture(const std::vector<QPixmap>& pictures, std::size_t count, qreal density) {
    const auto shown = std::min(pictures.size(), mostPictures);
    const int spread = fan * (static_cast<int>(std::max<std::size_t>(shown, 1)) - 1);
    const QSize size(pictureSide + spread + badgeHeight, pictureSide + spread + badgeHeight / 2);
    QPixmap result(size * density);
    result.setDevicePixelRatio(density);
    result.fill(Qt::transparent);
    QPainter painter(&result);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    for (std::size_t i = shown; i-- > 0;) {
        const int shift = fan * static_cast<int>(i);
        painter.setOpacity(1 - 0.25 * static_cast<double>(i));
        const QRect place(shift, badgeHeight / 2 + spread - shift, pictureSide, pictureSide);
        const auto drawn = pictures[i].deviceIndependentSize().scaled(place.size(), Qt::KeepAspectRatio);
        QRectF target(QPointF(), drawn);
        target.moveCenter(QRectF(place).center());
        painter.drawPixmap(target, pictures[i], QRectF(pictures[i].rect()));
    }
    painter.setOpacity(1);
    if (count < 2)
        return result;
    const auto& colours = Theme::shared().colours();
    painter.setFont(Type::heading(Type::caption(QGuiApplication::font())));
    const auto text = count < 1000 ? QString::number(count) : QStringLiteral("999+");
    const int width = std::max(badgeHeight, painter.fontMetrics().horizontalAdvance(text) + Space::medium);
    const QRectF badge(size.width() - width, 0, width, badgeHeight);
    painter.setPen(QPen(colours.raised, 1.5));
    painter.setBrush(colours.accent);
    painter.drawRoundedRect(badge.adjusted(1, 1, -1, -1), badgeHeight / 2.0, badgeHeight / 2.0);
    painter.setPen(colours.accentText);
    painter.drawText(badge, Qt::AlignCenter, text);
    return result;
}

QMimeData* DragSource::data(const std::vector<FileURL>& files) {
    auto* data = new QMimeData;
    for (const auto& [type, bytes] : FileDrag::contents(files))
        data->setData(QString::fromStdString(type), QByteArray::fromStdString(bytes));
    return data;
}

void DragSource::run(QWidget& source, QMimeData* data, const QPixmap& picture) {
    // The view may go while folders open under the drag; the window stays.
    auto* drag = new QDrag(source.window());
    drag->setMimeData(data);
    drag->setPixmap(picture);
    // Above the pointer: below it stands what a drop will do.
    const auto size = picture.deviceIndependentSize();
    drag->setHotSpot({static_cast<int>(size.width()) / 2, static_cast<int>(size.height()) + Space::tiny});
    drag->exec(Qt::CopyAction | Qt::MoveAction | Qt::LinkAction, Qt::CopyAction);
}

} // namespace morv
