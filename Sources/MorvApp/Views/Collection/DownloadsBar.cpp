#include "MorvApp/Views/Collection/DownloadsBar.h"

#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QLocale>
#include <QScrollBar>
#include <QToolButton>
#include <QWheelEvent>

namespace morv {

namespace {

/// Gives the groups' bar the chip that the arrow keys have reached.
class Chip : public QToolButton {
public:
    Chip(DownloadsBar& bar, QWidget* parent) : QToolButton(parent), bar_(bar) {
        setObjectName(QStringLiteral("chip"));
        setCheckable(true);
        setFocusPolicy(Qt::TabFocus);
    }

protected:
    void focusInEvent(QFocusEvent* event) override {
        QToolButton::focusInEvent(event);
        bar_.ensureWidgetVisible(this, Space::large, 0);
    }

private:
    DownloadsBar& bar_;
};

} // namespace

DownloadsBar::DownloadsBar(PaneModel& pane, QWidget* parent)
    : QScrollArea(parent), pane_(pane), row_(new QWidget(this)), layout_(new QHBoxLayout(row_)),
      chips_(new QButtonGroup(this)) {
    setObjectName(QStringLiteral("downloadsBar"));
    setAccessibleName(QStringLiteral("Groups of downloads"));
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::NoFocus);
    setWidgetResizable(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    row_->setObjectName(QStringLiteral("chips"));
    layout_->setContentsMargins(Space::large, Space::small, Space::large, Space::tiny);
    layout_->setSpacing(Space::small);
    chips_->setExclusive(true);
    setWidget(row_);
    for (const auto signal :
         {&PaneModel::downloadsChanged, &PaneModel::preferencesChanged, &PaneModel::locationChanged,
          &PaneModel::queryChanged, &PaneModel::filterChanged})
        connect(&pane_, signal, this, &DownloadsBar::refresh);
    refresh();
}

QSize DownloadsBar::sizeHint() const {
    return row_->sizeHint();
}

void DownloadsBar::refresh() {
    const auto& groups = pane_.downloadsKindGroups();
    setVisible(pane_.showsDownloadsGroups() && !groups.empty());
    if (isHidden())
        return;
    std::vector<std::pair<std::string, std::size_t>> wanted{{"All", 0}};
    for (const auto& group : groups) {
        wanted.emplace_back(group.title, group.entries.size());
        wanted.front().second += group.entries.size();
    }
    if (wanted != shown_) {
        shown_ = std::move(wanted);
        fill();
    }
    int chosen = 0;
    for (std::size_t i = 0; i < groups.size(); ++i)
        if (pane_.downloadsGroupID() == groups[i].id)
            chosen = static_cast<int>(i) + 1;
    chips_->button(chosen)->setChecked(true);
}

void DownloadsBar::fill() {
    // The groups stay as they are while one of them is chosen; a chip that has the keyboard keeps it.
    while (chips_->buttons().size() > static_cast<qsizetype>(shown_.size()))
        delete chips_->buttons().constLast();
    while (layout_->count() > chips_->buttons().size())
        delete layout_->takeAt(layout_->count() - 1);
    for (auto i = chips_->buttons().size(); i < static_cast<qsizetype>(shown_.size()); ++i) {
        auto* chip = new Chip(*this, row_);
        chips_->addButton(chip, static_cast<int>(i));
        layout_->addWidget(chip);
        connect(chip, &QToolButton::clicked, this, [this, i] {
            const auto& groups = pane_.downloadsKindGroups();
            const auto group = static_cast<std::size_t>(i);
            choose(group == 0 || group > groups.size() ? std::nullopt : std::optional(groups[group - 1].id));
        });
    }
    layout_->addStretch(1);
    for (std::size_t i = 0; i < shown_.size(); ++i) {
        const auto& [title, count] = shown_[i];
        auto* chip = chips_->button(static_cast<int>(i));
        chip->setText(ours(title) + QStringLiteral("  ") +
                      QLocale().toString(static_cast<qulonglong>(count)));
        chip->setAccessibleName(ours(title) + QStringLiteral(", ") + shownCount(count));
    }
}

void DownloadsBar::choose(const std::optional<std::string>& group) {
    pane_.setDownloadsGroupID(group);
    // What can no longer be seen is not acted on.
    EntrySelection seen;
    for (const auto ref : pane_.downloadsDisplayedEntries())
        if (const auto& entry = pane_.entries()[ref]; pane_.isSelected(entry))
            seen.emplace(entry);
    pane_.setSelection(std::move(seen));
}

void DownloadsBar::wheelEvent(QWheelEvent* event) {
    const auto turned = event->angleDelta();
    horizontalScrollBar()->setValue(horizontalScrollBar()->value() -
                                    (turned.x() != 0 ? turned.x() : turned.y()));
    event->accept();
}

} // namespace morv
