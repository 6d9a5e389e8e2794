#include "MorvApp/Views/Sidebar/SidebarDelegate.h"

#include "MorvApp/Views/Sidebar/Sidebar.h"
#include "MorvApp/Views/Theme/ItemBack.h"
#include "MorvApp/Views/Theme/PlaceSymbols.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvApp/Views/Theme/Type.h"
#include "MorvApp/Views/Workspaces/WorkspaceColours.h"

#include <QPainter>
#include <algorithm>

namespace morv {

namespace {

constexpr int symbolSide = 16;
constexpr int railSymbol = 20;
constexpr int chevron = 12;
constexpr int barHeight = 3;
/// Less than this part of a volume free is worth a warning.
constexpr double nearlyFull = 0.1;

bool isSelected(const QStyleOptionViewItem& option) {
    return option.state.testFlag(QStyle::State_Selected);
}

} // namespace

SidebarDelegate::SidebarDelegate(const Sidebar& sidebar)
    : QStyledItemDelegate(const_cast<Sidebar*>(&sidebar)), sidebar_(sidebar) {}

void SidebarDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                            const QModelIndex& index) const {
    const auto* item = static_cast<const QTreeWidgetItem*>(sidebar_.itemFromIndex(index));
    if (!item)
        return;
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setFont(sidebar_.font());
    const auto* row = sidebar_.rowOf(*item);
    if (!row) {
        paintHeading(*painter, option, item->text(0), sidebar_.isClosed(*item));
        return painter->restore();
    }
    if (sidebar_.form() == Sidebar::Form::rail) {
        // The one column may be wider than what is seen of it.
        auto seen = option;
        seen.rect.setLeft(0);
        seen.rect.setWidth(sidebar_.viewport()->width());
        paintBack(*painter, seen, *row);
        QRect symbol(0, 0, railSymbol, railSymbol);
        symbol.moveCenter(seen.rect.center());
        paintSymbol(*painter, seen, *row, symbol);
        return painter->restore();
    }
    paintBack(*painter, option, *row);
    const auto visual = [&option](QRect rect) {
        return QStyle::visualRect(option.direction, option.rect, rect);
    };
    auto inner = option.rect.adjusted(Space::small, 0, -Space::small, 0);
    QRect symbol(inner.left(), 0, symbolSide, symbolSide);
    symbol.moveTop(inner.center().y() - symbolSide / 2 + 1);
    paintSymbol(*painter, option, *row, visual(symbol));
    inner.setLeft(symbol.right() + 1 + Space::small);
    const auto space = sidebar_.spaceOf(*row);
    const bool hasBar = space && space->state == VolumeSpaces::State::known && space->space.total > 0;
    paintName(*painter, option, *row, visual(hasBar ? inner.adjusted(0, 2, 0, -barHeight - 6) : inner));
    if (hasBar)
        paintSpace(*painter, *row,
                   visual(QRect(inner.left(), inner.bottom() - barHeight - 5, inner.width(), barHeight)));
    painter->restore();
}

void SidebarDelegate::paintHeading(QPainter& painter, const QStyleOptionViewItem& option,
                                   const QString& title, bool isClosed) const {
    if (sidebar_.form() == Sidebar::Form::rail || title.isEmpty()) {
        painter.setPen(Theme::shared().colours().separator);
        const auto middle = option.rect.center().y();
        if (option.rect.top() > 0)
            painter.drawLine(option.rect.left() + Space::small, middle, option.rect.right() - Space::small,
                             middle);
        return;
    }
    const auto& colours = Theme::shared().colours();
    auto font = Type::caption(sidebar_.font());
    font.setWeight(QFont::DemiBold);
    painter.setFont(font);
    painter.setPen(colours.secondaryText);
    const auto inner = option.rect.adjusted(Space::small, 0, -Space::small, -Space::tiny);
    painter.drawText(inner, static_cast<int>(Qt::AlignBottom | Qt::AlignLeading), title);
    const bool isCurrent = sidebar_.hasFocus() && option.state.testFlag(QStyle::State_HasFocus);
    const bool isMirrored = option.direction == Qt::RightToLeft;
    if (isClosed || isCurrent || option.state.testFlag(QStyle::State_MouseOver)) {
        const QRect mark(inner.right() - chevron, inner.bottom() - chevron - 1, chevron, chevron);
        const auto place = QStyle::visualRect(option.direction, option.rect, mark);
        const auto* symbol = !isClosed ? "chevron.down" : isMirrored ? "chevron.left" : "chevron.right";
        drawSymbol(painter, placeSymbol(symbol), place, isCurrent ? colours.accent : colours.secondaryText);
    }
}

void SidebarDelegate::paintBack(QPainter& painter, const QStyleOptionViewItem& option,
                                const SidebarRow& row) const {
    paintItemBack(painter, option.rect,
                  {.isSelected = isSelected(option),
                   .isCurrent = option.state.testFlag(QStyle::State_HasFocus),
                   .isHovered = option.state.testFlag(QStyle::State_MouseOver),
                   .isTarget = sidebar_.isTarget(row),
                   .hasKeyboard = sidebar_.hasFocus()});
}

void SidebarDelegate::paintSymbol(QPainter& painter, const QStyleOptionViewItem& option,
                                  const SidebarRow& row, QRect place) const {
    const auto& colours = Theme::shared().colours();
    if (row.kind == SidebarRow::Kind::workspace)
        return workspaceMark(row.color).paint(&painter, place);
    drawSymbol(painter, placeSymbol(row.symbol), place, isSelected(option) ? colours.accent : colours.text);
}

void SidebarDelegate::paintName(QPainter& painter, const QStyleOptionViewItem& option, const SidebarRow& row,
                                QRect place) const {
    const auto& colours = Theme::shared().colours();
    const auto name = ours(row.title);
    const auto metrics = painter.fontMetrics();
    const auto note = sidebar_.noteOf(row);
    int noteWidth = 0;
    if (!note.isEmpty()) {
        const auto small = Type::caption(sidebar_.font());
        noteWidth = QFontMetrics(small).horizontalAdvance(note) + Space::medium;
        // The name matters more.
        if (metrics.horizontalAdvance(name) + noteWidth > place.width()) {
            noteWidth = 0;
        } else {
            painter.setFont(small);
            painter.setPen(colours.secondaryText);
            painter.drawText(place, static_cast<int>(Qt::AlignVCenter | Qt::AlignTrailing),
                             inOwnDirection(note));
            painter.setFont(sidebar_.font());
        }
    }
    painter.setPen(colours.text);
    const auto room = place.width() - noteWidth;
    auto rect = place;
    rect.setWidth(room);
    painter.drawText(QStyle::visualRect(option.direction, place, rect),
                     static_cast<int>(Qt::AlignVCenter | Qt::AlignLeading),
                     inOwnDirection(metrics.elidedText(name, Qt::ElideMiddle, room)));
}

void SidebarDelegate::paintSpace(QPainter& painter, const SidebarRow& row, QRect place) const {
    const auto& colours = Theme::shared().colours();
    const auto space = sidebar_.spaceOf(row)->space;
    const double free = static_cast<double>(space.free) / static_cast<double>(space.total);
    painter.setPen(Qt::NoPen);
    if (Theme::shared().look().contrast == Contrast::high) {
        // The line is around the bar: what is used and what is free fill it between them.
        painter.setBrush(colours.text);
        painter.drawRect(place.adjusted(-1, -2, 1, 2));
        painter.setBrush(colours.content);
        painter.drawRect(place.adjusted(0, -1, 0, 1));
    } else {
        painter.setBrush(colours.separator);
        painter.drawRoundedRect(place, barHeight / 2.0, barHeight / 2.0);
    }
    auto used = QRectF(place);
    used.setWidth(std::max<double>(barHeight, used.width() * (1 - free)));
    if (sidebar_.isRightToLeft())
        used.moveRight(place.right() + 1);
    auto fill = colours.secondaryText;
    painter.setBrush(free < nearlyFull ? colours.warning : fill);
    painter.drawRoundedRect(used, barHeight / 2.0, barHeight / 2.0);
}

} // namespace morv
