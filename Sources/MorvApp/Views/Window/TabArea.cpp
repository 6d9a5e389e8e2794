#include "MorvApp/Views/Window/TabArea.h"

#include "MorvApp/Views/Collection/MorvCollectionView.h"
#include "MorvApp/Views/Drag/DropArea.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Window/PaneView.h"
#include "MorvApp/Views/Window/SplitterLayout.h"

#include <QApplication>
#include <QMouseEvent>
#include <QSplitter>
#include <QStackedWidget>
#include <QTabBar>
#include <QToolButton>
#include <QVBoxLayout>

namespace morv {

namespace {

constexpr int smallestPane = 240;
constexpr int widestTab = 32; ///< characters

} // namespace

TabArea::TabArea(AppModel& app, WindowActions& actions, QWidget* parent)
    : QWidget(parent), app_(app), actions_(actions) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    bar_ = new QTabBar(this);
    bar_->setObjectName(QStringLiteral("tabs"));
    bar_->setDocumentMode(true);
    bar_->setDrawBase(false);
    bar_->setExpanding(false);
    bar_->setMovable(true);
    bar_->setElideMode(Qt::ElideMiddle);
    bar_->setFocusPolicy(Qt::TabFocus);
    bar_->setAccessibleName(QStringLiteral("Tabs"));
    bar_->installEventFilter(this);
    acceptDrops();
    stack_ = new QStackedWidget(this);
    column->addWidget(bar_);
    column->addWidget(stack_, 1);
    connect(&app_, &AppModel::tabsChanged, this, &TabArea::sync);
    connect(&app_, &AppModel::activePaneChanged, this, &TabArea::markActive);
    connect(&app_, &AppModel::activePaneUpdated, this, &TabArea::syncBar);
    connect(&app_, &AppModel::focusPaneRequested, this, &TabArea::focusActive);
    connect(&app_, &AppModel::layoutRestored, this, &TabArea::restoreLayout);
    connect(bar_, &QTabBar::currentChanged, this, [this](int index) {
        if (!isSyncing_ && index >= 0)
            app_.activateTab(app_.tabs()[static_cast<std::size_t>(index)].id);
    });
    connect(bar_, &QTabBar::tabMoved, this, [this](int from, int to) {
        if (!isSyncing_)
            app_.moveTab(static_cast<std::size_t>(from), static_cast<std::size_t>(to));
    });
    sync();
}

TabArea::~TabArea() {
    // They refer to the sizes, which go before the children do.
    for (const auto& [id, page] : pages_)
        delete page.splitter;
}

PaneView* TabArea::activeView() const {
    const auto page = pages_.find(app_.activeTab().id);
    if (page == pages_.end())
        return nullptr;
    const auto& [splitter, layout, first, second] = page->second;
    return second && &second->pane() == &app_.activePane() ? second : first;
}

MorvCollectionView& TabArea::collection() const {
    return activeView()->collection();
}

void TabArea::focusActive() {
    activeView()->setFocus();
}

void TabArea::sync() {
    for (auto page = pages_.begin(); page != pages_.end();) {
        const bool isOpen = std::ranges::find(app_.tabs(), page->first, &FileTab::id) != app_.tabs().end();
        if (isOpen) {
            ++page;
        } else {
            // At once: the panes go when this signal has been handled.
            delete page->second.splitter;
            page = pages_.erase(page);
        }
    }
    for (const auto& tab : app_.tabs()) {
        auto& page = pages_[tab.id];
        if (!page.splitter) {
            page.splitter = new QSplitter(stack_);
            page.splitter->setChildrenCollapsible(false);
            page.splitter->setHandleWidth(1);
            stack_->addWidget(page.splitter);
        }
        syncPage(page, tab);
    }
    syncBar();
    stack_->setCurrentWidget(pages_.at(app_.activeTab().id).splitter);
    markActive();
    restoreLayout();
}

void TabArea::syncPage(Page& page, const FileTab& tab) {
    const auto take = [](PaneView*& view, const PaneModel* pane) -> PaneView* {
        return view && &view->pane() == pane ? std::exchange(view, nullptr) : nullptr;
    };
    // After a swap both views are there, each on the other side.
    auto* first = take(page.first, tab.pane.get());
    if (!first)
        first = take(page.second, tab.pane.get());
    auto* second = tab.second ? take(page.second, tab.second.get()) : nullptr;
    if (tab.second && !second)
        second = take(page.first, tab.second.get());
    delete page.first;
    delete page.second;
    const auto make = [&](PaneModel& pane) {
        auto* view = new PaneView(app_, pane, actions_, sizes_, page.splitter);
        view->setMinimumWidth(smallestPane);
        return view;
    };
    page.first = first ? first : make(*tab.pane);
    page.second = second || !tab.second ? second : make(*tab.second);
    page.splitter->insertWidget(0, page.first);
    if (page.second)
        page.splitter->insertWidget(1, page.second);
    if (!page.layout || !first || !second)
        followSplit(page);
}

/// Panes that were made anew have lost the divider's place: to the registry they are another split.
void TabArea::followSplit(Page& page) {
    delete page.layout;
    page.layout = new SplitterLayout(*page.splitter);
    connect(page.layout, &SplitView::resized, this,
            [this] { outdatedRestore_ = app_.layoutRestoreRevision(); });
}

void TabArea::syncBar() {
    isSyncing_ = true;
    const auto& tabs = app_.tabs();
    // The one tab of most windows is not shown.
    const int count = tabs.size() > 1 ? static_cast<int>(tabs.size()) : 0;
    while (bar_->count() > count)
        bar_->removeTab(bar_->count() - 1);
    while (bar_->count() < count)
        addCloseButton(bar_->addTab(QString()));
    for (int i = 0; i < count; ++i)
        updateTitle(tabs[static_cast<std::size_t>(i)], i);
    bar_->setCurrentIndex(static_cast<int>(app_.tabIndex()));
    bar_->setVisible(count > 0);
    isSyncing_ = false;
}

/// Files are dropped into a tab's folder; a tab that they rest on comes forward.
void TabArea::acceptDrops() {
    const auto tabAt = [this](QPoint point) -> const FileTab* {
        const int index = bar_->tabAt(point);
        return index < 0 ? nullptr : &app_.tabs()[static_cast<std::size_t>(index)];
    };
    auto* drops = new DropArea(app_, *bar_, [this, tabAt](QPoint point) -> std::optional<DropPlace> {
        const auto* tab = tabAt(point);
        if (!tab)
            return std::nullopt;
        const auto& pane = tab->id == app_.activeTab().id ? app_.activePane() : *tab->pane;
        return DropPlace::into(pane.location());
    });
    connect(drops, &DropArea::rested, this, [this, tabAt](QPoint point) {
        if (const auto* tab = tabAt(point))
            app_.drag().openTab(tab->id);
    });
}

void TabArea::addCloseButton(int index) {
    auto* close = new QToolButton(bar_);
    close->setObjectName(QStringLiteral("tabClose"));
    close->setText(QStringLiteral("✕"));
    close->setToolTip(QStringLiteral("Close Tab"));
    close->setAccessibleName(QStringLiteral("Close this tab"));
    close->setFocusPolicy(Qt::NoFocus);
    // Its tab may have been moved since.
    connect(close, &QToolButton::clicked, this, [this, close] {
        for (int i = 0; i < bar_->count(); ++i)
            if (bar_->tabButton(i, QTabBar::RightSide) == close)
                return app_.closeTab(app_.tabs()[static_cast<std::size_t>(i)].id);
    });
    bar_->setTabButton(index, QTabBar::RightSide, close);
}

void TabArea::updateTitle(const FileTab& tab, int index) {
    const auto& location = tab.pane->location();
    auto title = location.isRoot() ? QStringLiteral("Computer") : shownBriefly(location.lastComponent());
    if (tab.second)
        title += QStringLiteral(" | ") + shownBriefly(tab.second->location().lastComponent());
    if (title.size() > widestTab)
        title = title.left(widestTab - 1) + QStringLiteral("…");
    title = buttonText(title);
    if (bar_->tabText(index) != title)
        bar_->setTabText(index, title);
    // Two folders of one name differ in nothing else.
    if (const auto path = shownBriefly(location.path()); bar_->tabToolTip(index) != path)
        bar_->setTabToolTip(index, path);
}

void TabArea::markActive() {
    const auto found = pages_.find(app_.activeTab().id);
    if (found == pages_.end())
        return;
    const auto& page = found->second;
    const auto* active = activeView();
    page.first->setSplit(page.second != nullptr, page.first == active);
    if (page.second)
        page.second->setSplit(true, page.second == active);
    // The keyboard follows the active pane, unless it is in a field of the window's own.
    const auto* focused = QApplication::focusWidget();
    if (!focused || (stack_->isAncestorOf(focused) && !activeView()->isAncestorOf(focused)))
        focusActive();
}

void TabArea::restoreLayout() {
    const auto& page = pages_.at(app_.activeTab().id);
    if (!page.second)
        return;
    const auto& ratios = app_.restoredSplitRatios();
    const auto restored = ratios.find("panes");
    const auto revision = app_.layoutRestoreRevision();
    const bool isRestored = restored != ratios.end() && outdatedRestore_ != revision;
    app_.services().layout.registerSplit(*page.layout, app_.layoutNamespace(), "panes",
                                         isRestored ? std::optional(restored->second) : std::nullopt,
                                         revision);
}

void TabArea::resizeEvent(QResizeEvent*) {
    restoreLayout();
}

bool TabArea::eventFilter(QObject* watched, QEvent* event) {
    if (watched == bar_ && event->type() == QEvent::MouseButtonRelease) {
        const auto* mouse = static_cast<QMouseEvent*>(event);
        const int index = bar_->tabAt(mouse->pos());
        if (mouse->button() == Qt::MiddleButton && index >= 0) {
            app_.closeTab(app_.tabs()[static_cast<std::size_t>(index)].id);
            return true;
        }
    }
    if (watched == bar_ && event->type() == QEvent::MouseButtonDblClick &&
        bar_->tabAt(static_cast<QMouseEvent*>(event)->pos()) < 0) {
        app_.addTab();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace morv
