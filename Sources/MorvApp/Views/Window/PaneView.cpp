#include "MorvApp/Views/Window/PaneView.h"

#include "MorvApp/Views/Collection/MorvCollectionView.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QStyle>
#include <QToolButton>
#include <QVBoxLayout>

namespace morv {

PaneView::PaneView(AppModel& app, PaneModel& pane, WindowActions& actions, QWidget* parent)
    : QFrame(parent), app_(app), pane_(pane) {
    setObjectName(QStringLiteral("pane"));
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    title_ = new QLabel(this);
    title_->setObjectName(QStringLiteral("paneTitle"));
    title_->setTextFormat(Qt::PlainText);
    title_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    title_->hide();
    collection_ = new MorvCollectionView(app, pane, actions, {}, this);
    setFocusProxy(collection_);
    column->addWidget(title_);
    column->addWidget(buildSearchLine());
    column->addWidget(collection_, 1);
    connect(&pane_, &PaneModel::locationChanged, this, &PaneView::updateTitle);
    for (const auto signal :
         {&PaneModel::locationChanged, &PaneModel::searchNoteChanged, &PaneModel::queryChanged,
          &PaneModel::filterChanged, &PaneModel::isLoadingChanged})
        connect(&pane_, signal, this, &PaneView::updateSearchLine);
    updateTitle();
    updateSearchLine();
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
        collection_->setFocus();
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
    title_->setText(location.isRoot() ? QStringLiteral("Computer") : shown(location.lastComponent()));
    title_->setToolTip(shown(location.path()));
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
                     .arg(shown(pane_.location().lastComponent()));
    else if (pane_.searchNote())
        parts << shown(*pane_.searchNote());
    searchText_->setText(parts.join(QStringLiteral(" · ")));
    searchText_->setToolTip(searchText_->text());
}

} // namespace morv
