#include "MorvApp/Views/Collection/MorvCollectionView.h"

#include "MorvApp/Views/Collection/CollectionAccessibility.h"
#include "MorvApp/Views/Collection/CollectionFocusContinuity.h"
#include "MorvApp/Views/Collection/VisibleInsights.h"
#include "MorvApp/Views/Collection/VisibleThumbnails.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QAbstractTableModel>
#include <QHeaderView>
#include <QLineEdit>
#include <QScrollBar>
#include <algorithm>
#include <array>
#include <utility>

namespace morv {

namespace {

constexpr std::array columnTitles = {"Name", "Size", "Kind", "Modified"};
constexpr std::array columnSorts = {FileSort::name, FileSort::size, FileSort::kind, FileSort::modified};
/// A folder that is read within this time never says that it is being read.
constexpr int loadingPatience = 250;
/// The clock of timers stands still while the computer is suspended: midnight is looked for from time to time.
constexpr double longestSleep = 600; // seconds
/// What a record says beyond these, no layout can be made of.
constexpr double smallestIcon = 16;
constexpr double largestIcon = 512;

/// Only the titles: the rows are painted by the collection.
class HeaderModel : public QAbstractTableModel {
public:
    using QAbstractTableModel::QAbstractTableModel;

    int rowCount(const QModelIndex&) const override { return 0; }
    int columnCount(const QModelIndex&) const override { return static_cast<int>(columnTitles.size()); }
    QVariant data(const QModelIndex&, int) const override { return {}; }
    QVariant headerData(int section, Qt::Orientation, int role) const override {
        if (role == Qt::DisplayRole) {
            const auto title = QLatin1String(columnTitles[static_cast<std::size_t>(section)]);
            return section == sorted_ ? title + QString::fromUtf8(ascending_ ? "  ↑" : "  ↓")
                                      : QString(title);
        }
        if (role == Qt::TextAlignmentRole)
            return static_cast<int>((section == 1 ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter);
        return {};
    }
    /// The arrow stands in the title, so that titles and values share their edges. -1: no column.
    void showSort(int column, bool ascending) {
        sorted_ = column;
        ascending_ = ascending;
        Q_EMIT headerDataChanged(Qt::Horizontal, 0, columnCount({}) - 1);
    }

private:
    int sorted_ = -1;
    bool ascending_ = true;
};

} // namespace

MorvCollectionView::MorvCollectionView(AppModel& app, PaneModel& shownPane, const WindowActions& actions,
                                       CollectionOptions options, QWidget* parent)
    : QAbstractScrollArea(parent), app_(app), pane_(shownPane), actions_(actions),
      options_(std::move(options)), display_(shownPane, options_.now),
      insights_(new VisibleInsights(
          app.services().insights, [this] { return foldersInSight(); }, this)),
      thumbnails_(new VisibleThumbnails(
          app.services().thumbnails, [this] { return filesInSight(); }, [this] { return layout_.picture(); },
          this)) {
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::StrongFocus);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    viewport()->setMouseTracking(true);
    // Every pixel is painted: the window's background is not drawn first.
    viewport()->setAttribute(Qt::WA_OpaquePaintEvent);
    viewport()->setObjectName(QStringLiteral("collectionViewport"));
    CollectionAccessible::install();
    buildHeader();
    noticeButtons_ = new NoticeButtons(*viewport(), [this](NoticeAction action) {
        switch (action) {
        case NoticeAction::goUp:
            return performLater(FileCommand::enclosingFolder);
        case NoticeAction::goBack:
            return performLater(FileCommand::back);
        case NoticeAction::tryAgain:
            return pane_.retry();
        case NoticeAction::cancel:
            return pane_.cancelLoading();
        case NoticeAction::showHidden:
            return perform(FileCommand::toggleHidden);
        }
    });
    display_.setOverride(std::exchange(options_.overrideEntries, std::nullopt));
    connect(&pane_, &PaneModel::entriesChanged, this, &MorvCollectionView::entriesChanged);
    connect(&pane_, &PaneModel::locationChanged, this, &MorvCollectionView::locationChanged);
    connect(&pane_, &PaneModel::preferencesChanged, this, &MorvCollectionView::preferencesChanged);
    connect(&pane_, &PaneModel::downloadsChanged, this, &MorvCollectionView::reload);
    connect(&pane_, &PaneModel::selectionChanged, viewport(), qOverload<>(&QWidget::update));
    connect(&pane_, &PaneModel::errorChanged, this, &MorvCollectionView::updateNotice);
    connect(&pane_, &PaneModel::isLoadingChanged, this, &MorvCollectionView::awaitReading);
    connect(&pane_, &PaneModel::loaded, this, &MorvCollectionView::followDay);
    connect(&pane_, &PaneModel::loaded, this, &MorvCollectionView::settleCurrent);
    connect(&pane_, &PaneModel::loaded, this, &MorvCollectionView::updateNotice);
    connect(&app_, &AppModel::requested, this, &MorvCollectionView::carryOut);
    connect(insights_, &VisibleInsights::arrived, viewport(), qOverload<>(&QWidget::update));
    connect(thumbnails_, &VisibleThumbnails::arrived, this, &MorvCollectionView::showThumbnails);
    connect(&app_, &AppModel::fileSnapshotRevisionChanged, insights_, &VisibleInsights::changed);
    connect(&app_.services().appearances, &FolderAppearanceStore::revisionChanged, viewport(),
            qOverload<>(&QWidget::update));
    connect(&Theme::shared(), &Theme::changed, this, [this] {
        icons_.clear();
        folders_.clear();
        thumbnails_->redraw();
        viewport()->update();
    });
    acceptDrops();
    shownLocation_ = pane_.location();
    arrive();
    preferencesChanged();
}

MorvCollectionView::~MorvCollectionView() {
    preserveKeyboardFocusForReplacement();
}

void MorvCollectionView::buildHeader() {
    header_ = new QHeaderView(Qt::Horizontal, this);
    header_->setObjectName(QStringLiteral("columns"));
    header_->setModel(new HeaderModel(header_));
    header_->setSectionsClickable(true);
    header_->setHighlightSections(false);
    header_->setMinimumSectionSize(72);
    header_->setSectionResizeMode(0, QHeaderView::Stretch);
    header_->setFocusPolicy(Qt::NoFocus);
    header_->resizeSection(1, 96);
    header_->resizeSection(2, 148);
    header_->resizeSection(3, 168);
    connect(header_, &QHeaderView::sectionClicked, this, &MorvCollectionView::sortByColumn);
    connect(header_, &QHeaderView::sectionResized, viewport(), qOverload<>(&QWidget::update));
}

void MorvCollectionView::sortByColumn(int column) {
    auto preferences = pane().preferences();
    const auto sort = columnSorts[static_cast<std::size_t>(column)];
    // Newest and largest first is what a first click on those columns is for.
    const bool startsAscending = sort == FileSort::name || sort == FileSort::kind;
    preferences.ascending = preferences.sort == sort ? !preferences.ascending : startsAscending;
    preferences.sort = sort;
    pane().setPreferences(preferences);
}

CollectionMode MorvCollectionView::wantedMode() const {
    if (options_.mode)
        return *options_.mode;
    return pane().preferences().view == BrowserViewMode::list ? CollectionMode::list : CollectionMode::grid;
}

FileGrouping MorvCollectionView::wantedGrouping() const {
    const auto mode = wantedMode();
    const bool hasHeadings = mode == CollectionMode::grid || mode == CollectionMode::list;
    return hasHeadings ? pane().preferences().grouping : FileGrouping::none;
}

int MorvCollectionView::wantedIconSize() const {
    if (options_.iconSize)
        return *options_.iconSize;
    return static_cast<int>(std::clamp(pane().preferences().iconSize, smallestIcon, largestIcon));
}

void MorvCollectionView::setIconSize(int size) {
    options_.iconSize = size;
    reload();
}

void MorvCollectionView::takeUpSelection() {
    const auto selected = pane().selectedEntries();
    if (selected.size() != 1)
        return;
    currentKey_ = EntryKey(*selected.front());
    findCurrent();
    if (current_ >= 0)
        scrollTo(current_);
    viewport()->update();
}

void MorvCollectionView::reload() {
    const bool isOtherOrder = display_.refresh(wantedGrouping());
    const Shape shape{wantedMode(), wantedIconSize()};
    const bool isOtherShape = shape != shape_;
    if (!isOtherOrder && !isOtherShape)
        return;
    const bool isOtherMode = !shape_ || shape_->mode != shape.mode;
    shape_ = shape;
    relayout();
    if (isOtherMode) {
        placeHeader();
        relayout();
    }
    if (isOtherOrder)
        findCurrent();
    if (isOtherShape && current_ >= 0)
        scrollTo(current_);
    placeEditor();
    awaitTomorrow();
    updateNotice();
    CollectionAccessible::itemsChanged(*this);
    if (isVisible())
        offerForKeyboard();
}

void MorvCollectionView::awaitTomorrow() {
    const auto until = display_.validUntil();
    if (!until)
        return midnight_.stop();
    const auto seconds = std::clamp(until->sinceReference - options_.now().sinceReference, 0.0, longestSleep);
    midnight_.start(static_cast<int>(seconds * 1000) + 1, Qt::CoarseTimer, this);
}

void MorvCollectionView::followDay() {
    reload();
    awaitTomorrow();
}

void MorvCollectionView::changeEvent(QEvent* event) {
    QAbstractScrollArea::changeEvent(event);
    if (event->type() != QEvent::ActivationChange || !isActiveWindow())
        return;
    // Whoever comes back from another window has perhaps filled a folder there, or slept over it.
    insights_->changed();
    followDay();
}

void MorvCollectionView::showEvent(QShowEvent* event) {
    QAbstractScrollArea::showEvent(event);
    insights_->changed();
    offerForKeyboard();
    thumbnails_->changed();
}

void MorvCollectionView::hideEvent(QHideEvent* event) {
    QAbstractScrollArea::hideEvent(event);
    insights_->changed();
    thumbnails_->changed();
    // A window that goes as a whole takes its keyboard along.
    if (!event->spontaneous() && window()->isVisible())
        preserveKeyboardFocusForReplacement();
}

void MorvCollectionView::offerForKeyboard() {
    CollectionFocusContinuity::shared().add(
        *this, {[this] { return isVisible() && isEnabled() && &app_.currentPane() == &pane_; },
                [this] { focusForFileInteraction(); }});
}

void MorvCollectionView::preserveKeyboardFocusForReplacement() {
    if (!hasFocus())
        return;
    CollectionFocusContinuity::shared().preserve(*this, *window());
    // Or the toolkit gives it to whatever comes next in the window.
    clearFocus();
}

void MorvCollectionView::focusForFileInteraction() {
    app_.activate(pane_);
    if (!editor_ || !editor_->hasFocus())
        setFocus();
}

void MorvCollectionView::entriesChanged() {
    // The pane empties itself for a new location before it says so.
    if (shownLocation_ != pane().location())
        locationChanged();
    reload();
}

void MorvCollectionView::awaitReading() {
    patience_ = Patience::unasked;
    if (pane_.isLoading())
        slowLoading_.start(loadingPatience, this);
    else
        slowLoading_.stop();
    updateNotice();
}

void MorvCollectionView::losePatience() {
    if (patience_ == Patience::unasked) {
        patience_ = Patience::asked;
        slowLoading_.start(static_cast<int>(options_.answerPatience.count()), this);
    } else {
        patience_ = Patience::ended;
        slowLoading_.stop();
    }
    updateNotice();
}

void MorvCollectionView::locationChanged() {
    const auto& location = pane().location();
    if (shownLocation_ == location)
        return;
    endInlineRename(false);
    band_.reset();
    autoScroll_.stop();
    returnedFrom_ = shownLocation_.parent() == location ? std::optional(shownLocation_) : std::nullopt;
    shownLocation_ = location;
    currentKey_.reset();
    current_ = anchor_ = lastCurrent_ = -1;
    typedPrefix_.clear();
    verticalScrollBar()->setValue(0);
    arrive();
}

/// The pane never stops reading when it goes on from a folder that is still being read.
void MorvCollectionView::arrive() {
    const auto& location = pane().location();
    setAccessibleName(QStringLiteral("Files in ") + (location.isRoot()
                                                         ? QStringLiteral("Computer")
                                                         : shownBriefly(location.lastComponent())));
    awaitReading();
}

void MorvCollectionView::preferencesChanged() {
    const auto& preferences = pane().preferences();
    const auto column = std::ranges::find(columnSorts, preferences.sort);
    static_cast<HeaderModel*>(header_->model())
        ->showSort(column == columnSorts.end() ? -1 : static_cast<int>(column - columnSorts.begin()),
                   preferences.ascending);
    reload();
}

void MorvCollectionView::findCurrent() {
    const auto& order = display_.order();
    const auto& entries = display_.entries();
    current_ = anchor_ = -1;
    if (!currentKey_ && returnedFrom_) {
        const auto name = returnedFrom_->lastComponent();
        const auto found =
            std::ranges::find_if(order, [&](EntryRef ref) { return entries[ref].name == name; });
        if (found != order.end()) {
            currentKey_ = EntryKey(entries[*found]);
            returnedFrom_.reset();
            setCurrent(found - order.begin());
            scrollTo(current_);
        }
        return;
    }
    if (!currentKey_)
        return;
    const auto found = std::ranges::find_if(order, [&](EntryRef ref) {
        return entries[ref].inode == currentKey_->inode() && EntryKey(entries[ref]) == *currentKey_;
    });
    if (found != order.end())
        setCurrent(found - order.begin());
}

void MorvCollectionView::setCurrent(std::int64_t index) {
    current_ = anchor_ = lastCurrent_ = index;
    column_ = layout_.columnOf(index);
}

void MorvCollectionView::settleCurrent() {
    if (editor_ && !isAtEditor(current_)) {
        // There is nothing left to be renamed.
        const bool hadKeyboard = editor_->hasFocus();
        endInlineRename(false);
        if (hadKeyboard)
            setFocus();
    }
    if (current_ >= 0 || count() == 0)
        return;
    if (const auto selected = pane().selectedEntries(); !selected.empty()) {
        // What was just made, renamed or pasted is brought into view.
        currentKey_ = EntryKey(*selected.front());
        findCurrent();
        if (current_ >= 0)
            scrollTo(current_);
    } else if (currentKey_ && lastCurrent_ >= 0) {
        // The item has gone: its neighbour is where the next key begins.
        setCurrent(std::min(lastCurrent_, count() - 1));
        currentKey_ = EntryKey(entry(current_));
        viewport()->update();
    }
}

void MorvCollectionView::selectRange(std::int64_t from, std::int64_t to) {
    EntrySelection range;
    for (auto index = std::min(from, to); index <= std::max(from, to); ++index)
        range.emplace(entry(index));
    select(std::move(range));
}

void MorvCollectionView::select(EntrySelection selection) {
    pane().setSelection(std::move(selection));
    if (!options_.onSelect)
        return;
    const auto selected = pane().selectedEntries();
    options_.onSelect(selected.size() == 1 ? selected.front() : nullptr);
}

void MorvCollectionView::selectAll() {
    EntrySelection all;
    all.reserve(static_cast<std::size_t>(count()));
    for (std::int64_t index = 0; index < count(); ++index)
        all.emplace(entry(index));
    select(std::move(all));
}

void MorvCollectionView::invertSelection() {
    EntrySelection inverse;
    for (std::int64_t index = 0; index < count(); ++index)
        if (!pane().isSelected(entry(index)))
            inverse.emplace(entry(index));
    select(std::move(inverse));
}

void MorvCollectionView::selectNeighbour(int by) {
    if (count() == 0)
        return;
    auto from = current_;
    if (current_ < 0 || !pane().isSelected(entry(current_)))
        for (std::int64_t index = 0; index < count(); ++index)
            if (pane().isSelected(entry(index))) {
                from = index;
                break;
            }
    const auto target = from < 0 ? 0 : std::clamp<std::int64_t>(from + by, 0, count() - 1);
    moveTo(target, Select::only);
}

void MorvCollectionView::moveTo(std::int64_t index, Select select) {
    const auto anchor = anchor_;
    current_ = lastCurrent_ = index;
    column_ = layout_.columnOf(index);
    currentKey_ = EntryKey(entry(index));
    switch (select) {
    case Select::only:
        this->select({EntryKey(entry(index))});
        anchor_ = index;
        break;
    case Select::extend:
        anchor_ = anchor < 0 ? index : anchor;
        selectRange(anchor_, index);
        break;
    case Select::toggle: {
        auto selection = pane().selection();
        if (EntryKey key(entry(index)); selection.erase(key) == 0)
            selection.insert(std::move(key));
        this->select(std::move(selection));
        anchor_ = index;
        break;
    }
    case Select::none:
        anchor_ = index;
        break;
    }
    scrollTo(index);
    viewport()->update();
    CollectionAccessible::currentChanged(*this);
}

void MorvCollectionView::focusInEvent(QFocusEvent* event) {
    QAbstractScrollArea::focusInEvent(event);
    CollectionFocusContinuity::shared().forget(*window());
    app_.activate(pane_);
    CollectionAccessible::currentChanged(*this);
    viewport()->update();
}

void MorvCollectionView::focusOutEvent(QFocusEvent* event) {
    QAbstractScrollArea::focusOutEvent(event);
    viewport()->update();
}

} // namespace morv
