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

InspectorSplit::InspectorSplit(AppModel& app, QWidget* parent) : QSplitter(parent), app_(app) {
    setChildrenCollapsible(false);
    setHandleWidth(1);
}

void InspectorSplit::setContent(QWidget* content) {
    addWidget(content);
    setStretchFactor(0, 1);
    connect(&app_, &AppModel::showInspectorChanged, this, &InspectorSplit::follow);
    connect(&app_, &AppModel::layoutRestored, this, &InspectorSplit::settle);
    follow();
}

bool InspectorSplit::hasKeyboard() const {
    return panel_ && panel_->hasKeyboard();
}

void InspectorSplit::takeKeyboard() {
    panel().setFocus(Qt::ShortcutFocusReason);
}

InspectorPanel& InspectorSplit::panel() {
    if (!panel_) {
        panel_ = new InspectorPanel(app_, this);
        panel_->setMinimumWidth(smallestWidth);
        addWidget(panel_);
        setStretchFactor(1, 0);
        connect(panel_, &InspectorPanel::closed, &app_, [this] { app_.setShowInspector(false); });
        connect(panel_, &InspectorPanel::ended, this, &InspectorSplit::ended);
    }
    return *panel_;
}

void InspectorSplit::follow() {
    const bool isShown = app_.showInspector();
    if (!isShown) {
        // Before it goes: afterwards the keyboard would be wherever the order of the widgets puts it.
        if (hasKeyboard())
            Q_EMIT ended();
        if (panel_)
            panel_->hide();
        delete layout_;
        layout_ = nullptr;
        return;
    }
    panel().show();
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
