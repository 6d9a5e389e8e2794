#include "MorvApp/Views/Window/PaneView.h"

#include "MorvApp/Views/Browser/ColumnsView.h"
#include "MorvApp/Views/Browser/GalleryView.h"
#include "MorvApp/Views/Collection/DownloadsBar.h"
#include "MorvApp/Views/Collection/MorvCollectionView.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvApp/Views/Window/ReadingLine.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QStyle>
#include <QToolButton>
#include <QVBoxLayout>

namespace morv {

PaneView::PaneView(AppModel& app, PaneModel& pane, WindowActions& actions, BrowserSizes& sizes,
                   QWidget* parent)
    : QFrame(parent), app_(app), pane_(pane), actions_(actions), sizes_(sizes) {
    setObjectName(QStringLiteral("pane"));
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    title_ = new QLabel(this);
    title_->setObjectName(QStringLiteral("paneTitle"));
    title_->setTextFormat(Qt::PlainText);
    title_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    title_->hide();
    column->addWidget(title_);
    column->addWidget(buildSearchLine());
    readingLine_ = new ReadingLine(this);
    connect(readingLine_, &ReadingLine::goUp, this,
            [this] { goTo((columns_ ? columns_->model().focusedColumn() : pane_).location().parent()); });
    column->addWidget(readingLine_);
    column->addWidget(new DownloadsBar(pane, this));
    followView();
    connect(&pane_, &PaneModel::preferencesChanged, this, &PaneView::followView);
    connect(&pane_, &PaneModel::locationChanged, this, &PaneView::updateTitle);
    for (const auto signal :
         {&PaneModel::locationChanged, &PaneModel::searchNoteChanged, &PaneModel::queryChanged,
          &PaneModel::filterChanged, &PaneModel::isLoadingChanged})
        connect(&pane_, signal, this, &PaneView::updateSearchLine);
    updateTitle();
    updateSearchLine();
}

MorvCollectionView& PaneView::collection() const {
    return columns_ ? columns_->collection() : gallery_ ? gallery_->collection() : *collection_;
}

void PaneView::followView() {
    const auto view = pane_.preferences().view;
    const auto wanted = view == BrowserViewMode::columns   ? Browser::columns
                        : view == BrowserViewMode::gallery ? Browser::gallery
                                                           : Browser::collection;
    if (files_ && wanted == browser_)
        return;
    browser_ = wanted;
    auto* before = files_;
    // The window's own, which may not be the active one yet.
    const auto* holder = window()->focusWidget();
    const bool hadFocus = before && holder && (before == holder || before->isAncestorOf(holder));
    collection_ = nullptr;
    columns_ = nullptr;
    gallery_ = nullptr;
    if (wanted == Browser::columns)
        files_ = columns_ = new ColumnsView(app_, pane_, actions_, sizes_, this);
    else if (wanted == Browser::gallery)
        files_ = gallery_ = new GalleryView(app_, pane_, actions_, sizes_, this);
    else
        files_ = collection_ = new MorvCollectionView(app_, pane_, actions_, {}, this);
    if (columns_)
        connect(&columns_->model(), &ColumnsModel::focusedChanged, this, &PaneView::followReading);
    followReading();
    static_cast<QVBoxLayout*>(layout())->addWidget(files_, 1);
    setFocusProxy(files_);
    files_->show();
    if (hadFocus)
        setFocus();
    // At once: columns that nobody sees must not go on moving the window's current pane.
    delete before;
    collection().takeUpSelection();
}

void PaneView::followReading() {
    readingLine_->follow(columns_ ? columns_->model().focusedColumn() : pane_);
}

void PaneView::goTo(const FileURL& folder) {
    if (columns_ && columns_->model().focusFolder(folder))
        return setFocus();
    app_.activate(pane_);
    pane_.navigate(folder, PaneModel::History::record);
}

QWidget* PaneView::buildSearchLine() {
    searchLine_ = new QFrame(this);
    searchLine_->setObjectName(QStringLiteral("searchLine"));
    auto* row = new QHBoxLayout(searchLine_);
    row->setContentsMargins(Space::large, Space::tiny, Space::small, Space::tiny);
    searchText_ = new QLabel(searchLine_);
    searchText_->setObjectName(QStringLiteral("secondary"));
    searchText_->setTextFormat(Qt::PlainText);
    searchText_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    row->addWidget(searchText_, 1);
    saveSearch_ = new QToolButton(searchLine_);
    saveSearch_->setText(QStringLiteral("Save Search"));
    saveSearch_->setFocusPolicy(Qt::TabFocus);
    connect(saveSearch_, &QToolButton::clicked, &app_, [this] {
        app_.activate(pane_);
        app_.saveSearch();
    });
    row->addWidget(saveSearch_);
    auto* end = new QToolButton(searchLine_);
    end->setText(QStringLiteral("Done"));
    end->setToolTip(QStringLiteral("Show the folder again"));
    end->setFocusPolicy(Qt::TabFocus);
    connect(end, &QToolButton::clicked, &pane_, [this] {
        pane_.setQuery({});
        pane_.setTagFilter(std::nullopt);
        pane_.refresh();
        setFocus();
    });
    row->addWidget(end);
    searchLine_->hide();
    return searchLine_;
}

void PaneView::setSplit(bool split, bool active) {
    isSplit_ = split;
    title_->setVisible(split);
    if (title_->property("active").toBool() != active) {
        title_->setProperty("active", active);
        title_->style()->unpolish(title_);
        title_->style()->polish(title_);
    }
    updateTitle();
}

void PaneView::updateTitle() {
    const auto& location = pane_.location();
    title_->setText(location.isRoot() ? QStringLiteral("Computer") : shownBriefly(location.lastComponent()));
    title_->setToolTip(shownBriefly(location.path()));
}

void PaneView::updateSearchLine() {
    const bool isSearch = !pane_.query().empty() || pane_.tagFilter();
    searchLine_->setVisible(isSearch);
    if (!isSearch)
        return;
    saveSearch_->setVisible(!pane_.query().empty());
    QStringList parts;
    if (pane_.tagFilter())
        parts << QStringLiteral("Tag “%1”").arg(shown(*pane_.tagFilter()));
    if (pane_.isLoading())
        parts << QStringLiteral("Searching “%1” and everything below…")
                     .arg(shownBriefly(pane_.location().lastComponent()));
    else if (pane_.searchNote())
        parts << shownBriefly(*pane_.searchNote());
    searchText_->setText(parts.join(QStringLiteral(" · ")));
    searchText_->setToolTip(searchText_->text());
}

} // namespace morv
