#include "MorvApp/Views/Inspector/InspectorSplit.h"

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Views/Inspector/InspectorPanel.h"
#include "MorvApp/Views/Window/SplitterLayout.h"

namespace morv {

namespace {

constexpr int standardWidth = 280;
constexpr int smallestWidth = 220;
constexpr const char* key = "inspector";

} // namespace

InspectorSplit::InspectorSplit(AppModel& app, QWidget* content, QWidget* parent)
    : QSplitter(parent), app_(app), panel_(new InspectorPanel(app, this)) {
    setChildrenCollapsible(false);
    setHandleWidth(1);
    panel_->setMinimumWidth(smallestWidth);
    panel_->hide();
    addWidget(content);
    addWidget(panel_);
    setStretchFactor(0, 1);
    setStretchFactor(1, 0);
    connect(&app_, &AppModel::showInspectorChanged, this, &InspectorSplit::follow);
    connect(&app_, &AppModel::layoutRestored, this, &InspectorSplit::settle);
    connect(panel_, &InspectorPanel::closed, &app_, [this] { app_.setShowInspector(false); });
    follow();
}

void InspectorSplit::follow() {
    const bool isShown = app_.showInspector();
    // Before it goes: afterwards the keyboard would be wherever the order of the widgets puts it.
    if (!isShown && panel_->hasKeyboard())
        Q_EMIT panel_->ended();
    panel_->setVisible(isShown);
    if (!isShown) {
        delete layout_;
        layout_ = nullptr;
        return;
    }
    layout_ = new SplitterLayout(*this);
    connect(layout_, &SplitView::resized, this, [this] { outdatedRestore_ = app_.layoutRestoreRevision(); });
    isSettled_ = false;
    settle();
}

void InspectorSplit::settle() {
    if (!layout_ || !isVisible() || width() <= standardWidth)
        return;
    if (!isSettled_)
        setSizes({width() - standardWidth, standardWidth});
    isSettled_ = true;
    const auto& ratios = app_.restoredSplitRatios();
    const auto restored = ratios.find(key);
    const auto revision = app_.layoutRestoreRevision();
    const bool isRestored = restored != ratios.end() && outdatedRestore_ != revision;
    app_.services().layout.registerSplit(*layout_, app_.layoutNamespace(), key,
                                         isRestored ? std::optional(restored->second) : std::nullopt,
                                         revision);
}

void InspectorSplit::resizeEvent(QResizeEvent* event) {
    QSplitter::resizeEvent(event);
    settle();
}

} // namespace morv
