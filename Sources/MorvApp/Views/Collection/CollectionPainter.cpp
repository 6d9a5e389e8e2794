#include "MorvApp/Views/Collection/CollectionPainter.h"

#include "MorvApp/Model/FolderAppearanceStore.h"
#include "MorvApp/Views/Collection/VisibleInsights.h"
#include "MorvApp/Views/Collection/VisibleThumbnails.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QLocale>
#include <QPainter>
#include <QTextLayout>
#include <QTextOption>

namespace morv {

namespace {

constexpr int gridTop = 10;
constexpr int gridGap = 6;
constexpr double unavailableOpacity = 0.45;
constexpr double captionScale = 0.88;

} // namespace

CollectionPainter::CollectionPainter(QPainter& painter, const CollectionSources& sources,
                                     const ThemeColours& colours, bool hasFocus)
    : painter_(painter), sources_(sources), colours_(colours), hasFocus_(hasFocus) {
    painter_.setRenderHint(QPainter::Antialiasing);
}

QRect CollectionPainter::gridNameRect(const QRect& cell, int picture) {
    const int top = cell.top() + gridTop + picture + gridGap;
    return {cell.left() + Space::small, top, cell.width() - 2 * Space::small, cell.bottom() - top - 2};
}

QRect CollectionPainter::listNameRect(const QRect& row, int picture, const ListColumns& columns) {
    const int left = row.left() + Space::small + picture + Space::small;
    return {left, row.top(), columns[0].first + columns[0].second - left - Space::small, row.height()};
}

void CollectionPainter::paintBackground(const QRect& rect, CellState state) {
    const auto frame = QRectF(rect).adjusted(1.5, 1.5, -1.5, -1.5);
    QColor fill = Qt::transparent;
    if (state.isSelected)
        fill = hasFocus_ ? colours_.selection : colours_.quietSelection;
    else if (state.isHovered)
        fill = colours_.hover;
    painter_.setPen(state.isCurrent && hasFocus_ ? QPen(colours_.accent, 1.5) : QPen(Qt::NoPen));
    painter_.setBrush(fill);
    painter_.drawRoundedRect(frame, Space::radius, Space::radius);
}

QPixmap CollectionPainter::pictureOf(const FileEntry& entry, int size, qreal density) {
    if (entry.isNavigable())
        return sources_.folders.folder(sources_.appearances.appearance(entry.url()), size, density);
    if (auto picture = sources_.thumbnails.picture(entry, size, density); !picture.isNull())
        return picture;
    return sources_.icons.file(entry, size, density);
}

void CollectionPainter::paintPicture(const QRect& rect, const FileEntry& entry) {
    const auto density = painter_.device()->devicePixelRatioF();
    const bool faint = entry.availability == FileAvailability::unavailable;
    if (faint)
        painter_.setOpacity(unavailableOpacity);
    const auto draw = [this, density](const QRect& place, const QPixmap& pixmap) {
        const auto size = pixmap.size() / density;
        painter_.drawPixmap(QPoint(place.left() + (place.width() - size.width()) / 2,
                                   place.top() + (place.height() - size.height()) / 2),
                            pixmap);
    };
    draw(rect, pictureOf(entry, rect.width(), density));
    if (entry.isSymbolicLink) {
        const int badge = rect.width() > 32 ? 22 : 10;
        draw({rect.left(), rect.bottom() - badge + 1, badge, badge},
             sources_.icons.named(QStringLiteral("emblem-symbolic-link"), badge, density));
    }
    painter_.setOpacity(1);
}

int CollectionPainter::paintTwoLines(const QRect& rect, const QString& text) {
    QTextLayout layout(text, painter_.font());
    QTextOption option(Qt::AlignHCenter);
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    auto first = layout.createLine();
    first.setLineWidth(rect.width());
    const auto second = layout.createLine();
    layout.endLayout();
    const QFontMetrics metrics(painter_.font());
    const int height = metrics.height();
    const QRect top(rect.left(), rect.top(), rect.width(), height);
    const int split = first.textLength();
    painter_.drawText(top, Qt::AlignHCenter | Qt::AlignVCenter | Qt::TextSingleLine,
                      text.left(split).trimmed());
    if (second.isValid())
        // The end of a name tells files apart as often as its beginning.
        painter_.drawText(top.translated(0, height), Qt::AlignHCenter | Qt::AlignVCenter | Qt::TextSingleLine,
                          metrics.elidedText(text.mid(split), Qt::ElideMiddle, rect.width()));
    return second.isValid() ? 2 : 1;
}

void CollectionPainter::paintCaption(const QRect& rect, const FolderInsight& insight, CellState state) {
    const auto nameFont = painter_.font();
    auto font = nameFont;
    font.setPointSizeF(nameFont.pointSizeF() * captionScale);
    painter_.setFont(font);
    const QFontMetrics metrics(font);
    auto text = ours(insight.countLabel());
    const auto both = text + QStringLiteral(" · ") + ours(insight.sizeLabel());
    if (!insight.error && insight.bytes > 0 && metrics.horizontalAdvance(both) <= rect.width())
        text = both;
    painter_.setPen(state.isSelected ? colours_.text : colours_.secondaryText);
    painter_.drawText(rect, Qt::AlignHCenter | Qt::AlignVCenter | Qt::TextSingleLine, text);
    painter_.setFont(nameFont);
}

void CollectionPainter::paintGridCell(const QRect& rect, const CollectionLayout& layout,
                                      const FileEntry& entry, CellState state) {
    const int picture = layout.picture();
    paintBackground(rect.adjusted(2, 2, -2, -2), state);
    paintPicture({rect.left() + (rect.width() - picture) / 2, rect.top() + gridTop, picture, picture}, entry);
    if (state.isRenaming)
        return;
    painter_.setPen(colours_.text);
    auto place = gridNameRect(rect, picture);
    const int lines = paintTwoLines(place, shown(entry.name));
    const auto* insight = layout.caption() > 0 && FolderInsightCache::hasInsight(entry)
                              ? sources_.insights.known(entry)
                              : nullptr;
    if (insight) {
        place.setTop(place.top() + lines * QFontMetrics(painter_.font()).height());
        place.setHeight(layout.caption());
        paintCaption(place, *insight, state);
    }
    if (!entry.tags().empty()) {
        painter_.setPen(Qt::NoPen);
        painter_.setBrush(colours_.accent);
        painter_.drawEllipse(QPointF(rect.right() - 12, rect.top() + 12), 4, 4);
    }
}

void CollectionPainter::paintListRow(const QRect& rect, int picture, const ListColumns& columns,
                                     const FileEntry& entry, CellState state) {
    paintBackground(rect, state);
    paintPicture({rect.left() + Space::small, rect.top() + (rect.height() - picture) / 2, picture, picture},
                 entry);
    const QFontMetrics metrics(painter_.font());
    const auto cell = [&](std::size_t column, const QString& text, Qt::Alignment alignment) {
        const auto& [left, width] = columns[column];
        const QRect place(left + Space::small, rect.top(), width - 2 * Space::small, rect.height());
        painter_.drawText(place, static_cast<int>(alignment | Qt::AlignVCenter) | Qt::TextSingleLine,
                          metrics.elidedText(text, Qt::ElideRight, place.width()));
    };
    if (!state.isRenaming) {
        auto place = listNameRect(rect, picture, columns);
        painter_.setPen(colours_.text);
        QString tags;
        for (const auto& tag : entry.tags())
            tags += (tags.isEmpty() ? QString() : QStringLiteral(" · ")) + shown(tag);
        const int tagWidth =
            tags.isEmpty() ? 0
                           : std::min(metrics.horizontalAdvance(tags) + 2 * Space::small, place.width() / 3);
        const auto name = metrics.elidedText(shown(entry.name), Qt::ElideMiddle, place.width() - tagWidth);
        painter_.drawText(place, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, name);
        if (tagWidth > 0) {
            QRect pill(place.left() + metrics.horizontalAdvance(name) + Space::small, 0,
                       tagWidth - Space::small, metrics.height() + 2);
            pill.moveTop(rect.top() + (rect.height() - pill.height()) / 2);
            painter_.setPen(Qt::NoPen);
            painter_.setBrush(state.isSelected ? colours_.content : colours_.quietSelection);
            painter_.drawRoundedRect(pill, pill.height() / 2.0, pill.height() / 2.0);
            painter_.setPen(colours_.secondaryText);
            painter_.drawText(pill, Qt::AlignCenter | Qt::TextSingleLine,
                              metrics.elidedText(tags, Qt::ElideRight, pill.width() - Space::small));
        }
    }
    painter_.setPen(colours_.secondaryText);
    const bool isUnavailable = entry.availability == FileAvailability::unavailable;
    auto size = QStringLiteral("—");
    if (entry.isNavigable()) {
        if (const auto* insight = sources_.insights.known(entry))
            size = ours(insight->sizeLabel());
    } else if (!isUnavailable) {
        size = ours(entry.formattedSize());
    }
    cell(1, size, Qt::AlignRight);
    cell(2, isUnavailable ? QStringLiteral("Unavailable") : shownKind(entry), Qt::AlignLeft);
    cell(3, entry.modifiedAt ? shownDate(*entry.modifiedAt) : QStringLiteral("—"), Qt::AlignLeft);
}

void CollectionPainter::paintColumnRow(const QRect& rect, int picture, const FileEntry& entry,
                                       CellState state) {
    const bool isMirrored = painter_.layoutDirection() == Qt::RightToLeft;
    const auto place = [&](int left, int width) {
        return QRect(isMirrored ? rect.right() + 1 - left - width : rect.left() + left, rect.top(), width,
                     rect.height());
    };
    paintBackground(rect, state);
    paintPicture(place(Space::small, picture)
                     .adjusted(0, (rect.height() - picture) / 2, 0, -(rect.height() - picture) / 2),
                 entry);
    const int nameLeft = picture + 2 * Space::small;
    const int arrow = entry.isNavigable() ? Space::large : 0;
    painter_.setPen(colours_.text);
    const auto name = place(nameLeft, rect.width() - nameLeft - arrow - Space::small);
    const QFontMetrics metrics(painter_.font());
    if (!state.isRenaming)
        painter_.drawText(name, Qt::AlignLeading | Qt::AlignVCenter | Qt::TextSingleLine,
                          metrics.elidedText(shown(entry.name), Qt::ElideMiddle, name.width()));
    if (arrow > 0) {
        const QPointF tip = place(rect.width() - Space::small - 5, 5).center();
        const double back = isMirrored ? 2.5 : -2.5;
        painter_.setPen(QPen(colours_.secondaryText, 1.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter_.drawPolyline(
            QPolygonF({tip + QPointF(back, -4), tip + QPointF(-back / 2, 0), tip + QPointF(back, 4)}));
    }
}

void CollectionPainter::paintStripCell(const QRect& rect, int picture, const FileEntry& entry,
                                       CellState state) {
    paintBackground(rect.adjusted(2, 2, -2, -2), state);
    paintPicture({rect.left() + (rect.width() - picture) / 2, rect.top() + Space::small, picture, picture},
                 entry);
    if (state.isRenaming)
        return;
    const QFontMetrics metrics(painter_.font());
    const QRect name(rect.left() + Space::small, rect.top() + Space::small + picture + Space::tiny,
                     rect.width() - 2 * Space::small, metrics.height());
    painter_.setPen(colours_.text);
    painter_.drawText(name, Qt::AlignCenter | Qt::TextSingleLine,
                      metrics.elidedText(shown(entry.name), Qt::ElideMiddle, name.width()));
}

void paintSectionHeading(QPainter& painter, const QRect& rect, std::string_view title, std::size_t count) {
    const auto& colours = Theme::shared().colours();
    painter.fillRect(rect, colours.content);
    const auto plain = painter.font();
    auto strong = plain;
    strong.setWeight(QFont::DemiBold);
    const auto words = ours(title);
    const int width = QFontMetrics(strong).horizontalAdvance(words);
    const auto flags = Qt::AlignLeading | Qt::AlignVCenter | Qt::TextSingleLine;
    const bool isMirrored = painter.layoutDirection() == Qt::RightToLeft;
    auto place = rect.adjusted(Space::large, 0, -Space::large, 0);
    painter.setFont(strong);
    painter.setPen(colours.text);
    painter.drawText(place, static_cast<int>(flags), words);
    const int taken = width + Space::small;
    place.adjust(isMirrored ? 0 : taken, 0, isMirrored ? -taken : 0, 0);
    painter.setFont(plain);
    painter.setPen(colours.secondaryText);
    painter.drawText(place, static_cast<int>(flags), QLocale().toString(static_cast<qulonglong>(count)));
}

} // namespace morv
