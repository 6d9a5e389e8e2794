#include "MorvApp/Model/PaneArrival.h"

#include "MorvApp/Model/AppModel.h"

#include <utility>

namespace morv {

namespace {

bool hasArrived(const PaneModel& pane, const FileURL& container) {
    return pane.location() == container && pane.loadedLocation() == container && !pane.isLoading() &&
           !pane.error();
}

bool canStillArrive(const PaneModel& pane, const FileURL& container) {
    return pane.location() == container && !pane.error();
}

} // namespace

PaneArrival::PaneArrival(AppModel& model, Wish wish, Patience patience, QObject* parent)
    : QObject(parent), model_(&model), wish_(std::move(wish)), roundsLeft_(patience.rounds) {
    const auto& pane = model.activePane();
    // The pane is in the middle of a change when it says so; and the active pane may become another one,
    // about which only the rounds tell.
    for (const auto signal : {&PaneModel::loaded, &PaneModel::isLoadingChanged, &PaneModel::locationChanged,
                              &PaneModel::errorChanged})
        connect(&pane, signal, this, &PaneArrival::look, Qt::QueuedConnection);
    connect(&rounds_, &QTimer::timeout, this, [this] {
        --roundsLeft_;
        look();
    });
    rounds_.start(patience.round);
    QMetaObject::invokeMethod(this, &PaneArrival::look, Qt::QueuedConnection);
}

void PaneArrival::look() {
    if (ended_)
        return;
    if (model_) {
        const auto& pane = model_->activePane();
        if (!hasArrived(pane, wish_.container) && canStillArrive(pane, wish_.container) && roundsLeft_ > 0)
            return;
    }
    ended_ = true;
    rounds_.stop();
    deleteLater();
    if (model_)
        arrive(*model_);
}

void PaneArrival::arrive(AppModel& model) {
    auto& pane = model.activePane();
    if (!hasArrived(pane, wish_.container))
        return model.setErrorMessage(
            "The destination view couldn’t finish loading. No file action was performed. " +
            pane.error().value_or("Try opening the folder again."));
    pane.selectIDs(wish_.selection);
    if (pane.selection().size() < wish_.selection.size())
        return model.setErrorMessage(
            "The selected files changed or are no longer available. Select them again "
            "before continuing.");
    if (wish_.command)
        model.perform(*wish_.command);
}

} // namespace morv
