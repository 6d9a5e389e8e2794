#include "MorvApp/Model/FolderHandlerModel.h"

#include <utility>

namespace morv {

namespace {

struct Outcome {
    std::optional<FolderHandler::State> state;
    std::optional<std::string> failure;
};

} // namespace

FolderHandlerModel::FolderHandlerModel(TaskPools& pools, std::shared_ptr<const FolderHandler> handler)
    : handler_(std::move(handler)), tasks_(pools) {}

void FolderHandlerModel::refresh() {
    run(nullptr);
}

void FolderHandlerModel::makeDefault() {
    run(&FolderHandler::makeDefault);
}

void FolderHandlerModel::restore() {
    run(&FolderHandler::restore);
}

void FolderHandlerModel::run(Change change) {
    if (!handler_ || isWorking_)
        return;
    isWorking_ = true;
    tasks_.run(
        TaskLane::records,
        [handler = handler_, change](const std::stop_token&) {
            Outcome outcome;
            try {
                if (change)
                    (*handler.*change)();
            } catch (...) {
                outcome.failure = sentence(std::current_exception());
            }
            // A change that failed half-way has still changed something.
            outcome.state = handler->state();
            return outcome;
        },
        [this](Outcome outcome) {
            isWorking_ = false;
            state_ = std::move(outcome.state);
            failure_ = std::move(outcome.failure);
            Q_EMIT changed();
        },
        [this](const std::exception_ptr& failure) {
            isWorking_ = false;
            state_.reset();
            failure_ = sentence(failure);
            Q_EMIT changed();
        });
    Q_EMIT changed();
}

} // namespace morv
