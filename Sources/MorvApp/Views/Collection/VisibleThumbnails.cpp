#include "MorvApp/Views/Collection/VisibleThumbnails.h"

#include "MorvApp/Views/Theme/MediaImage.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>
#include <utility>

namespace morv {

namespace {

using namespace std::chrono_literals;
constexpr auto atRest = 120ms;
/// What comes within a frame or two is painted in one go.
constexpr auto together = 30ms;
constexpr double frameRadius = 4;
/// Smaller pictures have no room for a mark; their names say what they are.
constexpr int markFrom = 48;

bool isOpaque(const QImage& image) {
    for (int y = 0; y < image.height(); ++y) {
        const auto* row = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        if (std::any_of(row, row + image.width(), [](QRgb pixel) { return qAlpha(pixel) != 0xFF; }))
            return false;
    }
    return true;
}

/// The arrow that starts a film, in the lower left corner.
void drawMark(QPainter& painter, QSizeF frame) {
    const double side = std::clamp(std::min(frame.width(), frame.height()) * 0.22, 14.0, 30.0);
    const double inset = std::max(4.0, side * 0.25);
    const QRectF disc(inset, frame.height() - inset - side, side, side);
    painter.setPen(QPen(QColor(255, 255, 255, 200), 1));
    painter.setBrush(QColor(0, 0, 0, 150));
    painter.drawEllipse(disc);
    const auto centre = disc.center() + QPointF(side * 0.04, 0);
    const double arm = side * 0.22;
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::white);
    painter.drawPolygon(QPolygonF(
        {centre + QPointF(-arm * 0.8, -arm), centre + QPointF(arm, 0), centre + QPointF(-arm * 0.8, arm)}));
}

} // namespace

VisibleThumbnails::VisibleThumbnails(ThumbnailCache& cache,
                                     std::function<std::vector<const FileEntry*>()> inSight,
                                     std::function<int()> size, QObject* parent)
    : QObject(parent), cache_(cache), inSight_(std::move(inSight)), size_(std::move(size)) {
    rest_.setSingleShot(true);
    rest_.setInterval(atRest);
    telling_.setSingleShot(true);
    telling_.setInterval(together);
    connect(&rest_, &QTimer::timeout, this, &VisibleThumbnails::ask);
    connect(&telling_, &QTimer::timeout, this, &VisibleThumbnails::tell);
}

VisibleThumbnails::~VisibleThumbnails() {
    *alive_ = false;
    for (const auto& [key, asked] : asked_)
        cache_.withdraw(asked.wish);
}

void VisibleThumbnails::changed() {
    rest_.start();
}

void VisibleThumbnails::grown() {
    if (!rest_.isActive())
        rest_.start();
}

void VisibleThumbnails::redraw() {
    for (auto& [key, shown] : shown_)
        shown.size = 0;
}

void VisibleThumbnails::ask() {
    const int size = size_();
    ByEntry<Asked> asked;
    ByEntry<Shown> shown;
    std::vector<const FileEntry*> wanted;
    for (const auto* entry : inSight_()) {
        EntryKey key(*entry);
        if (auto found = shown_.extract(key)) {
            const bool isCurrent =
                found.mapped().madeFor == size && found.mapped().modifiedAt == entry->modifiedAt;
            shown.insert(std::move(found));
            if (isCurrent)
                continue;
        }
        // One of another size or content stays behind, to be withdrawn with those that are gone.
        const auto before = asked_.find(key);
        if (before != asked_.end() && !before->second.isOver && before->second.isFor(size, entry->modifiedAt))
            asked.insert(asked_.extract(before));
        else
            wanted.push_back(entry);
    }
    shown_ = std::move(shown);
    // The new wishes stand behind those that stay; those that are gone leave the queue first.
    std::swap(asked_, asked);
    for (const auto& [key, gone] : asked)
        cache_.withdraw(gone.wish);
    for (const auto* entry : wanted) {
        const EntryKey key(*entry);
        asked_[key] = {0, entry->modifiedAt, size, false};
        const auto wish = cache_.image(
            *entry, size,
            [this, alive = alive_, key, modified = entry->modifiedAt, size](const MediaPicture& picture) {
                if (*alive)
                    come(key, modified, size, picture);
            });
        if (const auto found = asked_.find(key); found != asked_.end())
            found->second.wish = wish;
    }
}

void VisibleThumbnails::come(const EntryKey& key, std::optional<Date> modifiedAt, int size,
                             const MediaPicture& picture) {
    const auto found = asked_.find(key);
    if (found == asked_.end() || !found->second.isFor(size, modifiedAt))
        return; // it is out of sight, or shown otherwise since
    found->second.isOver = true;
    if (!picture)
        return;
    shown_[key] = {modifiedAt, picture, size, {}, 0, 0, true};
    if (!telling_.isActive())
        telling_.start();
}

void VisibleThumbnails::tell() {
    Q_EMIT arrived();
    for (auto& [key, shown] : shown_)
        shown.isNew = false;
}

bool VisibleThumbnails::hasArrived(const FileEntry& entry) const {
    const auto found = shown_.find(entry);
    return found != shown_.end() && found->second.isNew;
}

QPixmap VisibleThumbnails::picture(const FileEntry& entry, int size, qreal density) {
    auto found = shown_.find(entry);
    if (found == shown_.end() || found->second.modifiedAt != entry.modifiedAt) {
        // Back in sight, and not asked for again yet.
        const auto known = cache_.known(entry, size);
        if (!known)
            return {};
        found =
            shown_.insert_or_assign(EntryKey(entry), Shown{entry.modifiedAt, known, size, {}, 0, 0, false})
                .first;
    }
    auto& shown = found->second;
    if (shown.size != size || shown.density != density) {
        shown.pixmap = render(shown.picture, entry.kind, size, density, Theme::shared().colours());
        shown.size = size;
        shown.density = density;
    }
    return shown.pixmap;
}

QPixmap VisibleThumbnails::render(const MediaPicture& picture, FileKind kind, int size, qreal density,
                                  const ThemeColours& colours) {
    const auto image = imageOf(picture);
    const double room = std::min<double>(size, std::max(image.width(), image.height()));
    const QSizeF frame = QSizeF(image.size()).scaled(room, room, Qt::KeepAspectRatio);
    const QSize pixels(std::max(1, static_cast<int>(std::lround(frame.width() * density))),
                       std::max(1, static_cast<int>(std::lround(frame.height() * density))));
    const auto fitted = image.scaled(pixels, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    QPixmap pixmap(pixels);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    if (!isOpaque(image)) {
        painter.drawImage(0, 0, fitted);
    } else {
        painter.scale(density, density);
        const QRectF edge(0, 0, pixels.width() / density, pixels.height() / density);
        const double radius = std::min(frameRadius, std::min(edge.width(), edge.height()) / 8);
        QBrush brush(fitted);
        brush.setTransform(QTransform::fromScale(1 / density, 1 / density));
        painter.setPen(Qt::NoPen);
        painter.setBrush(brush);
        painter.drawRoundedRect(edge, radius, radius);
        const double hairline = 1 / density;
        painter.setPen(QPen(colours.separator, hairline));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(edge.adjusted(hairline / 2, hairline / 2, -hairline / 2, -hairline / 2),
                                radius, radius);
        if (kind == FileKind::video && size >= markFrom)
            drawMark(painter, edge.size());
    }
    painter.end();
    pixmap.setDevicePixelRatio(density);
    return pixmap;
}

} // namespace morv
