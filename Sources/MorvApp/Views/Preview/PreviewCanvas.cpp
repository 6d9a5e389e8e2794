#include "MorvApp/Views/Preview/PreviewCanvas.h"

#include "MorvApp/Views/Theme/Theme.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

namespace morv {

namespace {

constexpr double largestScale = 16;
constexpr double screenDotsPerPoint = 96.0 / 72;
constexpr double wheelStep = 120;
constexpr double wheelFactor = 1.25;
constexpr int check = 8;
constexpr double playDiameter = 56;
/// A screen full of enlarged pixels is not worth more than this much memory.
constexpr double mostPixels = 40'000'000;
/// Above it single pixels are what is looked at.
constexpr double scaleOfPixels = 3;

QPixmap checks(qreal density) {
    const auto& colours = Theme::shared().colours();
    QPixmap tile(QSize(2 * check, 2 * check) * density);
    tile.setDevicePixelRatio(density);
    tile.fill(colours.content);
    QPainter painter(&tile);
    for (const auto& corner : {QPoint(0, 0), QPoint(check, check)})
        painter.fillRect(QRect(corner, QSize(check, check)), colours.hover);
    return tile;
}

} // namespace

PreviewCanvas::PreviewCanvas(Hands hands, QWidget* parent) : QWidget(parent), hands_(hands) {
    setObjectName(QStringLiteral("previewCanvas"));
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    connect(&Theme::shared(), &Theme::changed, this, qOverload<>(&QWidget::update));
}

void PreviewCanvas::begin(const QImage& image, QSize natural, Content content) {
    content_ = content;
    take(image, natural);
    setFit();
}

void PreviewCanvas::refine(const QImage& image, QSize natural) {
    take(image, natural);
    keepInSight();
    update();
    Q_EMIT scaleChanged();
}

void PreviewCanvas::clear() {
    picture_ = QPixmap();
    isDragging_ = false;
    updateCursor();
    update();
}

void PreviewCanvas::take(const QImage& image, QSize natural) {
    picture_ = QPixmap::fromImage(image);
    natural_ = natural.isEmpty() ? image.size() : natural;
    if (content_ == Content::page)
        natural_ *= screenDotsPerPoint * devicePixelRatioF();
}

double PreviewCanvas::fittingScale() const {
    if (natural_.isEmpty())
        return 1;
    const auto room = QSizeF(size()) * devicePixelRatioF();
    const auto fit = std::min(room.width() / natural_.width(), room.height() / natural_.height());
    return std::max(content_ == Content::page ? fit : std::min(fit, 1.0), 1e-4);
}

double PreviewCanvas::smallestScale() const {
    return std::min(fittingScale(), 0.1);
}

double PreviewCanvas::scale() const {
    return fits_ ? fittingScale() : scale_;
}

QRectF PreviewCanvas::pictureRect() const {
    const auto extent = natural_ * (scale() / devicePixelRatioF());
    QRectF rect(QPointF(), extent);
    rect.moveCenter(QRectF(this->rect()).center() + (fits_ ? QPointF() : offset_));
    return rect;
}

int PreviewCanvas::wantedSide() const {
    const auto extent = natural_ * scale();
    const auto pixels = extent.width() * extent.height();
    const auto bounded = pixels > mostPixels ? extent * std::sqrt(mostPixels / pixels) : extent;
    return static_cast<int>(std::ceil(std::max(bounded.width(), bounded.height())));
}

void PreviewCanvas::setFit() {
    fits_ = true;
    offset_ = {};
    isDragging_ = false;
    updateCursor();
    update();
    Q_EMIT scaleChanged();
}

void PreviewCanvas::zoomToFit() {
    setFit();
}

void PreviewCanvas::zoomToNatural() {
    zoomAround(1, QRectF(rect()).center());
}

void PreviewCanvas::zoomBy(double factor) {
    zoomAround(scale() * factor, QRectF(rect()).center());
}

void PreviewCanvas::zoomAround(double scale, QPointF anchor) {
    if (picture_.isNull())
        return;
    const auto wanted = std::clamp(scale, smallestScale(), largestScale);
    const auto before = pictureRect();
    // What lies under the pointer stays there.
    const auto factor = wanted / this->scale();
    const auto middle = anchor + (before.center() - anchor) * factor;
    fits_ = false;
    scale_ = wanted;
    offset_ = middle - QRectF(rect()).center();
    keepInSight();
    update();
    Q_EMIT scaleChanged();
}

bool PreviewCanvas::canPan() const {
    const auto place = pictureRect();
    return !fits_ && (place.width() > width() || place.height() > height());
}

/// A side that has room is in the middle; one that has none leaves none unused.
void PreviewCanvas::keepInSight() {
    const auto extent = natural_ * (scale() / devicePixelRatioF());
    const auto bound = [](double offset, double length, double room) {
        const auto most = std::max(0.0, (length - room) / 2);
        return std::clamp(offset, -most, most);
    };
    offset_ = {bound(offset_.x(), extent.width(), width()), bound(offset_.y(), extent.height(), height())};
    updateCursor();
}

void PreviewCanvas::updateCursor() {
    if (hands_ == Hands::off)
        return;
    setCursor(isDragging_ ? Qt::ClosedHandCursor : canPan() ? Qt::OpenHandCursor : Qt::ArrowCursor);
}

void PreviewCanvas::paintEvent(QPaintEvent*) {
    if (picture_.isNull())
        return;
    QPainter painter(this);
    const auto place = pictureRect();
    if (content_ == Content::page)
        painter.fillRect(place, Qt::white);
    else if (picture_.hasAlphaChannel())
        painter.drawTiledPixmap(place, checks(devicePixelRatioF()), {});
    // Enlarged far, smoothing would show what is not in the picture.
    painter.setRenderHint(QPainter::SmoothPixmapTransform,
                          scale() < scaleOfPixels || content_ == Content::page);
    painter.drawPixmap(place, picture_, QRectF(picture_.rect()));
    if (content_ == Content::page) {
        painter.setPen(Theme::shared().colours().separator);
        painter.drawRect(place.adjusted(-0.5, -0.5, 0.5, 0.5));
    }
    if (content_ == Content::poster)
        paintPlaySign(painter, place);
}

void PreviewCanvas::paintPlaySign(QPainter& painter, const QRectF& place) const {
    const auto diameter = std::min(playDiameter, 0.4 * std::min(place.width(), place.height()));
    QRectF disc(0, 0, diameter, diameter);
    disc.moveCenter(place.center());
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0, 0, 0, 0x8C));
    painter.drawEllipse(disc);
    // Its centre of gravity, and not its box, stands in the middle.
    const auto side = diameter * 0.38;
    const auto left = disc.center().x() - side * 0.36;
    const auto middle = disc.center().y();
    QPainterPath triangle(QPointF(left, middle - side / 2));
    triangle.lineTo(left, middle + side / 2);
    triangle.lineTo(left + side * 0.9, middle);
    triangle.closeSubpath();
    painter.fillPath(triangle, Qt::white);
}

void PreviewCanvas::resizeEvent(QResizeEvent*) {
    keepInSight();
    Q_EMIT scaleChanged();
}

void PreviewCanvas::wheelEvent(QWheelEvent* event) {
    if (hands_ == Hands::off || picture_.isNull())
        return event->ignore();
    if (event->modifiers().testFlag(Qt::ControlModifier)) {
        // Fine wheels and touchpads turn by parts of a step.
        zoomAround(scale() * std::pow(wheelFactor, event->angleDelta().y() / wheelStep), event->position());
    } else if (canPan()) {
        offset_ += event->pixelDelta().isNull() ? QPointF(event->angleDelta()) / 2 : event->pixelDelta();
        keepInSight();
        update();
    } else {
        return event->ignore();
    }
    event->accept();
}

void PreviewCanvas::mousePressEvent(QMouseEvent* event) {
    if (hands_ == Hands::off || event->button() != Qt::LeftButton || !canPan())
        return event->ignore();
    isDragging_ = true;
    dragged_ = event->position();
    updateCursor();
}

void PreviewCanvas::mouseMoveEvent(QMouseEvent* event) {
    if (!isDragging_)
        return event->ignore();
    offset_ += event->position() - dragged_;
    dragged_ = event->position();
    keepInSight();
    update();
}

void PreviewCanvas::mouseReleaseEvent(QMouseEvent* event) {
    isDragging_ = false;
    updateCursor();
    event->accept();
}

void PreviewCanvas::mouseDoubleClickEvent(QMouseEvent* event) {
    if (hands_ == Hands::off || event->button() != Qt::LeftButton || picture_.isNull())
        return event->ignore();
    if (fits_)
        zoomAround(scale() < 1 ? 1 : 2 * scale(), event->position());
    else
        zoomToFit();
}

} // namespace morv
