#include "MorvApp/Views/Tags/TagChip.h"

#include "MorvApp/Views/Theme/TagColours.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QStyle>
#include <utility>

namespace morv {

namespace {

constexpr int chipHeight = 26;
constexpr int dot = 8;
constexpr int cross = 16;
constexpr int nameStart = Space::small + dot + 6;
constexpr int widestOfAll = 200;
constexpr int smallHeight = 22;

} // namespace

TagChip::TagChip(std::string name, int storedColour, Presence presence, QWidget* parent)
    : QAbstractButton(parent), name_(std::move(name)), storedColour_(storedColour), presence_(presence),
      height_(chipHeight), widest_(widestOfAll) {
    const auto title = shown(name_);
    switch (presence_) {
    case Presence::all:
        setAccessibleName(QStringLiteral("Tag %1").arg(title));
        setAccessibleDescription(QStringLiteral("Delete removes it"));
        setToolTip(title);
        break;
    case Presence::some:
        setAccessibleName(QStringLiteral("Tag %1, on some of the items").arg(title));
        setAccessibleDescription(QStringLiteral("Space puts it on all, Delete removes it"));
        setToolTip(QStringLiteral("%1: on some of the items. Click to put it on all.").arg(title));
        break;
    case Presence::none:
        setAccessibleName(QStringLiteral("Add the tag %1").arg(title));
        setToolTip(QStringLiteral("Add %1").arg(title));
        break;
    }
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_Hover);
    connect(this, &QAbstractButton::clicked, this, [this] {
        if (presence_ != Presence::all)
            Q_EMIT completed();
    });
}

QSize TagChip::sizeHint() const {
    // The advance is rounded; a name one part of a pixel wider would be cut.
    const int text = fontMetrics().horizontalAdvance(shown(name_)) + 1;
    return {std::min(nameStart + text + crossRoom(), widest_), height_};
}

void TagChip::setSmall(int widest) {
    height_ = smallHeight;
    widest_ = widest;
    updateGeometry();
}

QSize TagChip::minimumSizeHint() const {
    return {std::min(sizeHint().width(), chipHeight * 3), height_};
}

int TagChip::crossRoom() const {
    return presence_ == Presence::none ? Space::small + 2 : cross + 2 * Space::tiny;
}

QRect TagChip::crossRect() const {
    if (presence_ == Presence::none)
        return {};
    const QRect right(width() - cross - Space::tiny, (height_ - cross) / 2, cross, cross);
    return QStyle::visualRect(layoutDirection(), rect(), right);
}

void TagChip::paintEvent(QPaintEvent*) {
    const auto& colours = Theme::shared().colours();
    const auto colour = tagColour(name_, storedColour_);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const auto frame = QRectF(rect()).adjusted(1, 1, -1, -1);
    QPen pen(hasFocus() ? colours.accent : colours.separator, hasFocus() ? 1.5 : 1.0);
    if (presence_ == Presence::some && !hasFocus()) {
        pen.setStyle(Qt::DashLine);
        pen.setColor(colours.secondaryText);
    }
    painter.setPen(pen);
    painter.setBrush(presence_ == Presence::all ? colours.quietSelection
                     : underMouse()             ? colours.hover
                                                : QColor(Qt::transparent));
    painter.drawRoundedRect(frame, frame.height() / 2, frame.height() / 2);

    const auto place = [this](const QRect& rect) {
        return QStyle::visualRect(layoutDirection(), this->rect(), rect);
    };
    // A tag of some items is told by an open ring, too.
    const auto circle = QRectF(place({Space::small, (height_ - dot) / 2, dot, dot}));
    painter.setPen(presence_ == Presence::some ? QPen(colour, 1.5) : QPen(Qt::NoPen));
    painter.setBrush(presence_ == Presence::some ? QColor(Qt::transparent) : colour);
    painter.drawEllipse(circle);
    const auto words = place({nameStart, 0, width() - nameStart - crossRoom(), height_});
    painter.setPen(colours.text);
    painter.drawText(words, Qt::AlignVCenter | Qt::AlignLeading,
                     inOwnDirection(fontMetrics().elidedText(shown(name_), Qt::ElideRight, words.width())));
    if (presence_ == Presence::none)
        return;
    const auto mark = QRectF(crossRect()).adjusted(5, 5, -5, -5);
    const bool isNear = underMouse() || hasFocus();
    painter.setPen(QPen(isNear ? colours.text : colours.secondaryText, 1.3, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(mark.topLeft(), mark.bottomRight());
    painter.drawLine(mark.topRight(), mark.bottomLeft());
}

bool TagChip::event(QEvent* event) {
    // What takes a tag away must not take the selected files away, too.
    if (event->type() == QEvent::ShortcutOverride) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Delete || key == Qt::Key_Backspace || key == Qt::Key_Space) {
            event->accept();
            return true;
        }
    }
    return QAbstractButton::event(event);
}

void TagChip::keyPressEvent(QKeyEvent* event) {
    const bool removes = event->key() == Qt::Key_Delete || event->key() == Qt::Key_Backspace;
    if (removes && presence_ != Presence::none)
        return Q_EMIT removed();
    QAbstractButton::keyPressEvent(event);
}

void TagChip::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && isDown() &&
        crossRect().adjusted(-4, -5, 4, 5).contains(event->pos())) {
        setDown(false);
        return Q_EMIT removed();
    }
    QAbstractButton::mouseReleaseEvent(event);
}

} // namespace morv
