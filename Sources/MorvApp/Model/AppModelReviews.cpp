// How a command becomes a plan, and what waits for its turn to be shown: reviews, and sheets that come by
// themselves.
#include "MorvApp/Model/AppModel.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <utility>

namespace morv {

void AppModel::plan(OperationRequest request, Review review) {
    setErrorMessage(std::nullopt);
    const auto number = ++plansBegun_;
    auto& planning = plannings_[number];
    planning.kind = request.kind;
    planning.task = tasks_.stream<OperationProgress>(
        TaskLane::operations,
        [&engine = services_.engine, asked = std::move(request)](const std::stop_token& stop,
                                                                 const auto& emit) {
            return engine.plan(asked, stop, [&emit](const OperationProgress& progress) { emit(progress); });
        },
        [this](OperationProgress progress) { setPlanProgress(std::move(progress)); },
        [this, review, number](FileOperationPlan made) {
            planEnded(number);
            const bool runsAtOnce = made.warnings.empty() || made.kind == OperationKind::duplicate;
            if (review == Review::whenNeeded && runsAtOnce)
                execute(std::move(made));
            else if (commandRouter_)
                commandRouter_(CommandCall::review(std::move(made)));
            else
                offer(std::move(made), nullptr);
        },
        [this, number](const std::exception_ptr& failure) {
            planEnded(number);
            setErrorMessage(sentence(failure));
        });
}

void AppModel::planEnded(std::uint64_t number) {
    plannings_.erase(number);
    setPlanProgress(std::nullopt);
}

void AppModel::cancelPlanning() {
    if (!isPlanning())
        return;
    for (auto& [number, planning] : std::exchange(plannings_, {}))
        planning.task.cancel();
    setPlanProgress(std::nullopt);
}

void AppModel::takeBackPlanning() {
    const auto last = std::prev(plannings_.end());
    const auto kind = last->second.kind;
    last->second.task.cancel();
    planEnded(last->first);
    setStatus(fmt::format("{} stopped before it began · Nothing was changed", displayName(kind)));
}

void AppModel::offer(FileOperationPlan made, ReviewValidation validation) {
    waitingReviews_.push_back({std::move(made), std::move(validation)});
    showWaiting();
}

void AppModel::commitReview(const FileOperationPlan& confirmed) {
    // The review stays on the screen while it is validated, and may be confirmed a second time.
    if (isValidating_)
        return;
    setOperating(true);
    if (!reviewValidation_)
        return execute(confirmed);
    isValidating_ = true;
    validation_ = tasks_.run(
        TaskLane::operations, reviewValidation_,
        [this, confirmed] {
            endValidation();
            execute(confirmed);
        },
        [this](const std::exception_ptr& failure) {
            endValidation();
            endReview();
            setErrorMessage(sentence(failure));
            operatingFromReceipts();
        });
}

void AppModel::endValidation() {
    validation_.cancel();
    isValidating_ = false;
    reviewValidation_ = nullptr;
}

void AppModel::cancelReview() {
    endValidation();
    endReview();
    operatingFromReceipts();
}

void AppModel::endReview() {
    if (!reviewPlan_)
        return;
    reviewPlan_.reset();
    reviewValidation_ = nullptr;
    showWaiting();
    if (!reviewPlan_)
        Q_EMIT reviewPlanChanged();
}

void AppModel::showSheet(AppSheet sheet) {
    if (sheet_ == sheet)
        return;
    // Nobody has dismissed what came by itself.
    if (sheet_ && sheetCameByItself_)
        waitingSheets_.push_front(*sheet_);
    sheet_ = sheet;
    sheetCameByItself_ = false;
    Q_EMIT sheetChanged();
}

void AppModel::closeSheet() {
    if (!sheet_)
        return;
    sheet_.reset();
    editingWorkspace_.reset();
    workspaceDraft_.clear();
    Q_EMIT sheetChanged();
    showWaiting();
}

void AppModel::bringSheet(AppSheet sheet) {
    if (sheet_ == sheet || std::ranges::find(waitingSheets_, sheet) != waitingSheets_.end())
        return;
    waitingSheets_.push_back(sheet);
    showWaiting();
}

void AppModel::waitFor(const QObject& editor) {
    ++editors_;
    connect(&editor, &QObject::destroyed, this, [this] {
        --editors_;
        showWaiting();
    });
}

void AppModel::showWaiting() {
    if (editors_ > 0)
        return;
    if (!reviewPlan_ && !waitingReviews_.empty()) {
        auto next = std::move(waitingReviews_.front());
        waitingReviews_.pop_front();
        reviewValidation_ = std::move(next.validation);
        reviewPlan_ = std::move(next.plan);
        Q_EMIT reviewPlanChanged();
    }
    if (!sheet_ && !waitingSheets_.empty()) {
        sheet_ = waitingSheets_.front();
        waitingSheets_.pop_front();
        sheetCameByItself_ = true;
        Q_EMIT sheetChanged();
    }
}

} // namespace morv
