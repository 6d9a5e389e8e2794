#include "MorvApp/Views/Collection/CollectionNotice.h"

#include "MorvApp/Views/Collection/MorvCollectionView.h"
#include "MorvApp/Views/Theme/FolderArt.h"
#include "MorvApp/Views/Theme/IconCache.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvApp/Views/Theme/Type.h"
#include "MorvCore/Foundation/ByteCount.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QPushButton>
#include <algorithm>

namespace morv {

namespace {

constexpr int picture = 64;
constexpr double pictureOpacity = 0.6;
constexpr int widest = 560;

const QString folderSymbol = QStringLiteral("folder");

/// Folders look as they do everywhere else in the window.
QPixmap pictureOf(const QString& symbol, IconCache& icons, qreal density) {
    if (symbol == folderSymbol)
        return FolderArt::render({}, Theme::shared().look().appearance, picture, density);
    return icons.named(symbol, picture, density);
}

QString words(NoticeAction action) {
    switch (action) {
    case NoticeAction::goUp:
        return QStringLiteral("Go Up");
    case NoticeAction::goBack:
        return QStringLiteral("Go Back");
    case NoticeAction::tryAgain:
        return QStringLiteral("Try Again");
    case NoticeAction::cancel:
        return QStringLiteral("Cancel");
    case NoticeAction::showHidden:
        return QStringLiteral("Show Hidden Files");
    }
    return {};
}

} // namespace

int paintNoticeWords(QPainter& painter, const QRect& area, const CollectionNotice& notice, IconCache& icons) {
    const auto& colours = Theme::shared().colours();
    const auto plain = painter.font();
    const auto large = Type::large(plain);
    const int width = std::min(widest, area.width() - 2 * Space::huge);
    const int left = area.center().x() - width / 2;
    constexpr int flags = static_cast<int>(Qt::AlignHCenter | Qt::AlignTop) | Qt::TextWordWrap;
    const auto titleBounds = QFontMetrics(large).boundingRect(QRect(0, 0, width, 400), flags, notice.title);
    const auto detailBounds = QFontMetrics(plain).boundingRect(QRect(0, 0, width, 400), flags, notice.detail);
    const int symbolHeight = notice.symbol.isEmpty() ? 0 : picture + Space::large;
    const int buttons = notice.actions.empty() ? 0 : Space::huge + 32;
    const int height = symbolHeight + titleBounds.height() + Space::small + detailBounds.height() + buttons;
    int y = std::max(area.top() + Space::large, area.center().y() - height / 2);
    if (symbolHeight > 0) {
        painter.setOpacity(pictureOpacity);
        painter.drawPixmap(QPoint(area.center().x() - picture / 2, y),
                           pictureOf(notice.symbol, icons, painter.device()->devicePixelRatioF()));
        painter.setOpacity(1);
        y += symbolHeight;
    }
    painter.setFont(large);
    painter.setPen(colours.text);
    painter.drawText(QRect(left, y, width, titleBounds.height()), flags, notice.title);
    y += titleBounds.height() + Space::small;
    painter.setFont(plain);
    painter.setPen(colours.secondaryText);
    painter.drawText(QRect(left, y, width, detailBounds.height()), flags, notice.detail);
    return y + detailBounds.height();
}

NoticeButtons::NoticeButtons(QWidget& viewport, std::function<void(NoticeAction)> chosen)
    : QWidget(&viewport), chosen_(std::move(chosen)), row_(new QHBoxLayout(this)) {
    setObjectName(QStringLiteral("noticeButtons"));
    row_->setContentsMargins(0, 0, 0, 0);
    row_->setSpacing(Space::small);
    hide();
}

void NoticeButtons::offer(const std::vector<NoticeAction>& actions) {
    if (actions == shown_)
        return;
    shown_ = actions;
    while (auto* item = row_->takeAt(0)) {
        // It may be the one that was just pressed.
        item->widget()->hide();
        item->widget()->deleteLater();
        delete item;
    }
    for (const auto action : actions) {
        auto* button = new QPushButton(words(action), this);
        row_->addWidget(button);
        connect(button, &QPushButton::clicked, this, [this, action] { chosen_(action); });
    }
    setVisible(!actions.empty());
}

void NoticeButtons::placeBelow(int y) {
    const auto size = sizeHint();
    const QRect place((parentWidget()->width() - size.width()) / 2, y + Space::huge, size.width(),
                      size.height());
    if (geometry() != place)
        setGeometry(place);
}

// What the collection has to say.

std::optional<CollectionNotice> MorvCollectionView::notice() const {
    if (count() > 0)
        return std::nullopt;
    using enum NoticeAction;
    const auto& location = pane_.location();
    if (pane_.error()) {
        CollectionNotice failed{QStringLiteral("dialog-warning"),
                                pane_.isSearch() ? QStringLiteral("The search has failed")
                                                 : QStringLiteral("This folder can’t be shown"),
                                shownBriefly(*pane_.error()),
                                {}};
        if (!location.isRoot())
            failed.actions.push_back(goUp);
        failed.actions.push_back(tryAgain);
        return failed;
    }
    if (pane_.loadedLocation() && pane_.isSearch())
        return CollectionNotice{QStringLiteral("edit-find"),
                                QStringLiteral("Nothing found"),
                                pane_.searchNote() ? shownBriefly(*pane_.searchNote()) : QString(),
                                {}};
    if (pane_.loadedLocation() && pane_.kindFilter())
        return CollectionNotice{folderSymbol,
                                QStringLiteral("Nothing of this kind here"),
                                QStringLiteral("Only one kind of file is shown."),
                                {}};
    if (pane_.loadedLocation()) {
        CollectionNotice empty{folderSymbol, QStringLiteral("This folder is empty"), {}, {}};
        if (pane_.preferences().showHidden) {
            empty.detail = QStringLiteral("What you paste or make here appears at once.");
        } else {
            empty.detail = QStringLiteral("Hidden files are not shown.");
            empty.actions = {showHidden};
        }
        return empty;
    }
    if (patience_ == Patience::ended && !pane_.isSearch()) {
        CollectionNotice silent{
            QStringLiteral("dialog-warning"),
            QStringLiteral("This folder is not answering"),
            QStringLiteral("It may be on a server or drive that cannot be reached. Reading goes "
                           "on until you leave."),
            {cancel}};
        if (pane_.canGoBack())
            silent.actions.push_back(goBack);
        return silent;
    }
    if (patience_ != Patience::unasked)
        return CollectionNotice{
            {},
            pane_.isSearch() ? QStringLiteral("Searching…") : QStringLiteral("Reading this folder…"),
            {},
            patience_ == Patience::ended ? std::vector{cancel} : std::vector<NoticeAction>()};
    return std::nullopt;
}

void MorvCollectionView::updateNotice() {
    const auto present = notice();
    noticeButtons_->offer(present ? present->actions : std::vector<NoticeAction>());
    setAccessibleDescription(present ? present->title + QStringLiteral(". ") + present->detail : QString());
    viewport()->update();
}

void MorvCollectionView::paintNotice(QPainter& painter) {
    if (const auto present = notice())
        noticeButtons_->placeBelow(paintNoticeWords(painter, viewport()->rect(), *present, icons_));
}

QString MorvCollectionView::sectionSize(std::size_t section) const {
    const auto& [files, folders, bytes] = display_.totals(section);
    QStringList parts;
    if (files > 0)
        parts << ours(formatByteCount(bytes)) + QStringLiteral(" in ") +
                     shownCount(files, "local file", "local files");
    if (folders > 0)
        parts << shownCount(folders, "physical folder", "physical folders");
    if (parts.isEmpty())
        parts << shownCount(display_.sections()[section].count);
    auto sentence = parts.join(QStringLiteral(" and ")) + QLatin1Char('.');
    if (!pane_.preferences().showHidden)
        sentence += QStringLiteral(" Hidden files excluded.");
    return sentence;
}

QString MorvCollectionView::spokenSection(std::int64_t index) const {
    const auto section = layout_.sectionOf(index);
    return layout_.hasHeading(section)
               ? ours(display_.sections()[section].title) + QStringLiteral(": ") + sectionSize(section)
               : QString();
}

QString MorvCollectionView::spokenName(std::int64_t index) const {
    const auto& item = entry(index);
    auto spoken = shown(item.name);
    if (item.isNavigable()) {
        spoken += QStringLiteral(", folder");
        if (const auto* insight = app_.services().insights.known(item))
            spoken += QStringLiteral(", ") + ours(insight->countLabel());
    } else {
        spoken += QStringLiteral(", ") + shownKind(item);
        if (item.availability != FileAvailability::unavailable)
            spoken += QStringLiteral(", ") + ours(item.formattedSize());
    }
    for (const auto& tag : item.tags())
        spoken += QStringLiteral(", tag ") + shown(tag);
    return spoken;
}

} // namespace morv
