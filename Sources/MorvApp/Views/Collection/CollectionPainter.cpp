#include "MorvApp/Views/Collection/CollectionPainter.h"

#include "MorvApp/Model/FolderAppearanceStore.h"
#include "MorvApp/Views/Collection/VisibleInsights.h"
#include "MorvApp/Views/Collection/VisibleThumbnails.h"
#include "MorvApp/Views/Theme/TagColours.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvApp/Views/Theme/Type.h"

#include <QLocale>
#include <QPainter>
#include <QStringList>
#include <QStyle>
#include <QTextBoundaryFinder>
#include <QTextLayout>
#include <QTextOption>
#include <algorithm>

namespace morv {

namespace {

constexpr int gridTop = 10;
constexpr int gridGap = 6;
constexpr double dot = 8; ///< of a tag
constexpr std::size_t mostDots = 3;
constexpr int tagLeft = 14; ///< from a dot's edge to its tag's name
constexpr double unavailableOpacity = 0.45;
/// A line that ends before this part of the width looks torn off.
constexpr double leastFilled = 0.35;
constexpr qsizetype fewestAlone = 4; ///< characters of a broken word on a line

bool canBreak(QChar before, QChar after) {
    if (before.isSpace() || QStringView(u"-_,;+&=)]}").contains(before))
        return !after.isSpace();
    return after == QLatin1Char('.') || QStringView(u"([{").contains(after) ||
           (before.isLower() && after.isUpper());
}

} // namespace

std::pair<QString, QString> brokenName(const QString& name, int width, const QFont& font) {
    QTextLayout layout(name, font);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    auto line = layout.createLine();
    line.setLineWidth(width);
    layout.endLayout();
    const qsizetype fits = line.isValid() ? line.textLength() : 0;
    if (fits >= name.size())
        return {name, {}};
    const auto least = static_cast<qsizetype>(static_cast<double>(fits) * leastFilled);
    const auto breakBefore = [&](qsizetype end, bool atDot) -> qsizetype {
        for (auto at = end; at > least && at > 0; --at)
            if (canBreak(name.at(at - 1), name.at(at)) && (atDot || name.at(at) != QLatin1Char('.')))
                return at;
        return 0;
    };
    auto between = breakBefore(fits, true);
    if (between > 0 && name.at(between) == QLatin1Char('.')) {
        // An extension stays with the last word, unless that is too long for a line of its own.
        const auto earlier = breakBefore(between - 1, false);
        if (earlier > 0 && QFontMetrics(font).horizontalAdvance(name.mid(earlier).trimmed()) <= width)
            between = earlier;
    }
    if (between > 0)
        return {name.left(between).trimmed(), name.mid(between).trimmed()};
    // One long word: neither line gets a scrap of it.
    auto at = std::max(fits / 2, std::min(fits, name.size() - fewestAlone));
    QTextBoundaryFinder graphemes(QTextBoundaryFinder::Grapheme, name);
    graphemes.setPosition(at);
    if (!graphemes.isAtBoundary())
        at = std::max<qsizetype>(graphemes.toPreviousBoundary(), 0);
    if (at == 0)
        at = fits;
    return {name.left(at), name.mid(at)};
}

CollectionPainter::CollectionPainter(QPainter& painter, const CollectionSources& sources,
                                     const ThemeColours& colours)
    : painter_(painter), sources_(sources), colours_(colours),
      isMirrored_(painter.layoutDirection() == Qt::RightToLeft) {
    painter_.setRenderHint(QPainter::Antialiasing);
}

QRect CollectionPainter::gridNameRect(const QRect& cell, int picture) {
    const int top = cell.top() + gridTop + picture + gridGap;
    return {cell.left() + Space::small, top, cell.width() - 2 * Space::small, cell.bottom() - top - 2};
}

QRect CollectionPainter::listNameRect(const QRect& row, int picture, const ListColumns& columns) {
    const auto& [left, width] = columns[0];
    const int taken = 3 * Space::small + picture;
    const bool isMirrored = left > columns[1].first;
    // The picture stands inside the row's own edge, which the column does not know.
    const int start = isMirrored ? left + Space::small : row.left() + taken - Space::small;
    const int end = isMirrored ? row.right() + 1 - taken + Space::small : left + width - Space::small;
    return {start, row.top(), end - start, row.height()};
}

QRect CollectionPainter::columnNameRect(const QRect& row, int picture, const FileEntry& entry,
                                        Qt::LayoutDirection direction) {
    const int arrow = entry.isNavigable() ? Space::large : 0;
    const auto name = row.adjusted(picture + 2 * Space::small, 0, -arrow - Space::small, 0);
    return QStyle::visualRect(direction, row, name);
}

QRect CollectionPainter::stripNameRect(const QRect& cell, int picture, int lineHeight) {
    return {cell.left() + Space::small, cell.top() + Space::small + picture + Space::tiny,
            cell.width() - 2 * Space::small, lineHeight};
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
    const QFontMetrics metrics(painter_.font());
    const auto lines = brokenName(text, rect.width(), painter_.font());
    const QRect top(rect.left(), rect.top(), rect.width(), metrics.height());
    constexpr int flags = static_cast<int>(Qt::AlignHCenter | Qt::AlignVCenter) | Qt::TextSingleLine;
    painter_.drawText(top, flags, inOwnDirection(lines.first));
    if (lines.second.isEmpty())
        return 1;
    // The end of a name tells files apart as often as its beginning.
    painter_.drawText(top.translated(0, metrics.height()), flags,
                      inOwnDirection(metrics.elidedText(lines.second, Qt::ElideMiddle, rect.width())));
    return 2;
}

void CollectionPainter::paintCaption(const QRect& rect, const FolderInsight& insight, CellState state) {
    const auto nameFont = painter_.font();
    const auto font = Type::caption(nameFont);
    painter_.setFont(font);
    const QFontMetrics metrics(font);
    auto text = ours(insight.countLabel());
    const auto both = text + QStringLiteral(" · ") + ours(insight.sizeLabel());
    if (!insight.error && insight.bytes > 0 && metrics.horizontalAdvance(both) <= rect.width())
        text = both;
    painter_.setPen(state.isSelected ? colours_.text : colours_.secondaryText);
    painter_.drawText(rect, Qt::AlignHCenter | Qt::AlignVCenter | Qt::TextSingleLine, inOwnDirection(text));
    painter_.setFont(nameFont);
}

void CollectionPainter::paintGridCell(const QRect& rect, const CollectionLayout& layout,
                                      const FileEntry& entry, CellState state) {
    const int picture = layout.picture();
    paintItemBack(painter_, rect.adjusted(2, 2, -2, -2), state);
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
    // One over the other's edge, from the cell's corner inwards.
    const auto dots = std::min(entry.tags().size(), mostDots);
    for (std::size_t i = 0; i < dots; ++i) {
        const double inwards = 12 + static_cast<double>(dots - 1 - i) * (dot - 2);
        paintTagDot({isMirrored_ ? rect.left() + inwards : rect.right() - inwards, rect.top() + 12.0},
                    entry.tags()[i]);
    }
}

void CollectionPainter::paintTagDot(QPointF centre, const std::string& tag) {
    painter_.setPen(QPen(colours_.content, 1));
    painter_.setBrush(tagColour(tag));
    painter_.drawEllipse(centre, dot / 2, dot / 2);
}

void CollectionPainter::paintListRow(const QRect& rect, int picture, const ListColumns& columns,
                                     const FileEntry& entry, CellState state) {
    paintItemBack(painter_, rect, state);
    paintPicture(atStart(rect, Space::small, picture), entry);
    if (!state.isRenaming)
        paintListName(listNameRect(rect, picture, columns), entry, state);
    const QFontMetrics metrics(painter_.font());
    // On a selection the quieter colour would be too quiet.
    painter_.setPen(state.isSelected ? colours_.text : colours_.secondaryText);
    const auto cell = [&](std::size_t column, const QString& text, Qt::Alignment alignment) {
        const auto& [left, width] = columns[column];
        const QRect place(left + Space::small, rect.top(), width - 2 * Space::small, rect.height());
        painter_.drawText(place, static_cast<int>(alignment | Qt::AlignVCenter) | Qt::TextSingleLine,
                          inOwnDirection(metrics.elidedText(text, Qt::ElideRight, place.width())));
    };
    const bool isUnavailable = entry.availability == FileAvailability::unavailable;
    auto size = QStringLiteral("—");
    if (entry.isNavigable()) {
        if (const auto* insight = sources_.insights.known(entry))
            size = ours(insight->sizeLabel());
    } else if (!isUnavailable) {
        size = ours(entry.formattedSize());
    }
    cell(1, size, Qt::AlignTrailing);
    cell(2, isUnavailable ? QStringLiteral("Unavailable") : shownKind(entry), Qt::AlignLeading);
    cell(3, entry.modifiedAt ? shownDate(*entry.modifiedAt) : QStringLiteral("—"), Qt::AlignLeading);
}

CollectionPainter::ListTags CollectionPainter::listTags(int width, const FileEntry& entry,
                                                        const QFontMetrics& metrics) {
    ListTags result;
    for (const auto& tag : entry.tags()) {
        auto words = metrics.elidedText(shown(tag), Qt::ElideRight, width / 4);
        const int taken = tagLeft + metrics.horizontalAdvance(words) + Space::medium;
        if (result.width + taken > width / 2)
            break;
        result.width += taken;
        result.tags.emplace_back(&tag, std::move(words));
    }
    return result;
}

QString CollectionPainter::unseenInList(int width, const FileEntry& entry, const QFontMetrics& metrics) {
    const auto seen = listTags(width, entry, metrics);
    auto name = shown(entry.name);
    QStringList unseen;
    for (std::size_t i = 0; i < entry.tags().size(); ++i)
        if (auto tag = shown(entry.tags()[i]); i >= seen.tags.size() || seen.tags[i].second != tag)
            unseen.push_back(std::move(tag));
    if (unseen.empty())
        return metrics.horizontalAdvance(name) > width - seen.width ? name : QString();
    return name + QStringLiteral("\nTags: ") + unseen.join(QStringLiteral(", "));
}

void CollectionPainter::paintListName(QRect place, const FileEntry& entry, CellState state) {
    const QFontMetrics metrics(painter_.font());
    constexpr int flags = static_cast<int>(Qt::AlignLeading | Qt::AlignVCenter) | Qt::TextSingleLine;
    const auto [tags, tagWidth] = listTags(place.width(), entry, metrics);
    const auto name = metrics.elidedText(shown(entry.name), Qt::ElideMiddle, place.width() - tagWidth);
    painter_.setPen(colours_.text);
    painter_.drawText(place, flags, inOwnDirection(name));
    int used = metrics.horizontalAdvance(name) + Space::medium;
    for (const auto& [tag, words] : tags) {
        const double along = used + dot / 2;
        paintTagDot({isMirrored_ ? place.right() - along : place.left() + along, place.center().y() + 1.0},
                    *tag);
        used += tagLeft;
        painter_.setPen(state.isSelected ? colours_.text : colours_.secondaryText);
        painter_.drawText(place.adjusted(isMirrored_ ? 0 : used, 0, isMirrored_ ? -used : 0, 0), flags,
                          inOwnDirection(words));
        used += metrics.horizontalAdvance(words) + Space::medium;
    }
}

QRect CollectionPainter::atStart(const QRect& row, int inset, int side) const {
    return {isMirrored_ ? row.right() + 1 - inset - side : row.left() + inset,
            row.top() + (row.height() - side) / 2, side, side};
}

void CollectionPainter::paintColumnRow(const QRect& rect, int picture, const FileEntry& entry,
                                       CellState state) {
    paintItemBack(painter_, rect, state);
    paintPicture(atStart(rect, Space::small, picture), entry);
    painter_.setPen(colours_.text);
    const auto name = columnNameRect(rect, picture, entry, painter_.layoutDirection());
    const QFontMetrics metrics(painter_.font());
    if (!state.isRenaming)
        painter_.drawText(
            name, Qt::AlignLeading | Qt::AlignVCenter | Qt::TextSingleLine,
            inOwnDirection(metrics.elidedText(shown(entry.name), Qt::ElideMiddle, name.width())));
    if (entry.isNavigable()) {
        const QRect arrow(rect.right() + 1 - Space::small - 5, rect.top(), 5, rect.height());
        const QPointF tip = QStyle::visualRect(painter_.layoutDirection(), rect, arrow).center();
        const double back = isMirrored_ ? 2.5 : -2.5;
        painter_.setPen(QPen(colours_.secondaryText, 1.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter_.drawPolyline(
            QPolygonF({tip + QPointF(back, -4), tip + QPointF(-back / 2, 0), tip + QPointF(back, 4)}));
    }
}

void CollectionPainter::paintStripCell(const QRect& rect, int picture, const FileEntry& entry,
                                       CellState state) {
    paintItemBack(painter_, rect.adjusted(2, 2, -2, -2), state);
    paintPicture({rect.left() + (rect.width() - picture) / 2, rect.top() + Space::small, picture, picture},
                 entry);
    if (state.isRenaming)
        return;
    const QFontMetrics metrics(painter_.font());
    const auto name = stripNameRect(rect, picture, metrics.height());
    painter_.setPen(colours_.text);
    painter_.drawText(name, Qt::AlignCenter | Qt::TextSingleLine,
                      inOwnDirection(metrics.elidedText(shown(entry.name), Qt::ElideMiddle, name.width())));
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
