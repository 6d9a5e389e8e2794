// One window's state and the road of its commands: a command becomes a plan, a plan without a question runs
// at once, any other waits in reviewPlan() until it is confirmed; the engine does the work; what became of it
// stands in receipts() and in status().
//
// Invariants  I1  no file changes before execute(): a plan under review has done nothing
//             I2  receipts() never goes back: a history that was read before an update does not undo it
//             I3  isOperating() is made from the receipts, and never merely cleared
// Threading   confined to the main thread; plans and executions run on workers, and an execution goes on when
//             its window has gone
#pragma once

#include "MorvApp/Model/FileClipboard.h"
#include "MorvApp/Model/FileCommand.h"
#include "MorvApp/Model/MorvRuntime.h"
#include "MorvApp/Model/PaneModel.h"

#include <QObject>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace morv {

class AppModel : public QObject {
    Q_OBJECT

public:
    /// Whether a plan without warnings is shown all the same.
    enum class Review : std::uint8_t { whenNeeded, always };
    /// A last check before a reviewed plan runs, on a worker; throws with a sentence when the plan is stale.
    using ReviewValidation = std::function<void(const std::stop_token&)>;

    /// Begins at `initialLocation`, else at the services' first folder. `services` and `board` outlive it.
    AppModel(MorvServices& services, ClipboardBoard& board,
             const std::optional<FileURL>& initialLocation = {}, QObject* parent = nullptr);
    ~AppModel() override;

    PaneModel& activePane() { return *pane_; }
    FileClipboard& clipboard() { return clipboard_; }

    const std::optional<FileOperationPlan>& reviewPlan() const { return reviewPlan_; }
    const std::optional<std::string>& errorMessage() const { return errorMessage_; }
    const std::optional<std::string>& status() const { return status_; }
    bool isOperating() const { return isOperating_; }
    /// Newest first.
    const std::vector<OperationReceipt>& receipts() const { return receipts_; }
    /// Of a plan in the making or an operation under way; absent otherwise.
    const std::optional<OperationProgress>& progress() const { return progress_; }
    std::optional<AppSheet> sheet() const { return sheet_; }

    /// Runs the command on the active pane and its selection; without what it needs it does nothing.
    void perform(FileCommand command);
    /// Proposes an operation: it runs at once, or waits in reviewPlan() when it has something to say.
    void plan(OperationRequest request, Review review = Review::whenNeeded);
    /// Shows a plan that a tool has made; `validation` runs between its confirmation and its execution.
    void offer(FileOperationPlan plan, ReviewValidation validation);
    void commitReview(const FileOperationPlan& plan);
    void cancelReview();
    void execute(FileOperationPlan plan);
    /// Reverses the receipt, or without an id the newest that can be. Nothing to undo: nothing happens.
    void undo(std::optional<UUID> id = std::nullopt);
    /// Stops the plan in the making and the operation under way, at their next checkpoints.
    void cancelOperation();
    void renameItem(const FileURL& item, std::string newName);
    void createFolder(std::string name);
    void setTags(std::vector<std::string> tags);

    void showSheet(AppSheet sheet);
    void closeSheet();
    void setErrorMessage(std::optional<std::string> message);
    void refreshOperationHistory() { refreshOperationHistory({}); }
    /// Rereads every open pane.
    void refresh();

Q_SIGNALS:
    void reviewPlanChanged();
    void errorMessageChanged();
    void statusChanged();
    void isOperatingChanged();
    void receiptsChanged();
    void progressChanged();
    void sheetChanged();
    /// The collection is asked to edit the name of the one selected item.
    void renameRequested();
    /// The path bar is asked to become a field.
    void pathEditRequested();

private:
    void planSelection(OperationKind kind);
    void copySelection(FileClipboard::Mode mode);
    void paste(FileClipboard::Mode least);
    void openSelection();
    void resizeIcons(double by);
    void finishExecution(const OperationReceipt& receipt);
    void selectResults(const OperationReceipt& receipt);
    void undoReceipt(const UUID& id);
    void drainUpdates();
    void drainProgress();
    void mergeReceipt(const OperationReceipt& receipt);
    void refreshOperationHistory(std::function<void()> then);
    void updateOperationStatus(const OperationReceipt* completed);
    void operatingFromReceipts();
    void setOperating(bool operating);
    void setStatus(std::string status);
    void setReviewPlan(std::optional<FileOperationPlan> plan);
    void setProgress(std::optional<OperationProgress> progress);

    MorvServices& services_;
    FileClipboard clipboard_;
    std::unique_ptr<PaneModel> pane_;
    std::optional<FileOperationPlan> reviewPlan_;
    ReviewValidation reviewValidation_;
    std::optional<std::string> errorMessage_;
    std::optional<std::string> status_;
    bool isOperating_ = false;
    std::vector<OperationReceipt> receipts_;
    std::optional<OperationProgress> progress_;
    std::optional<AppSheet> sheet_;
    std::uint64_t receiptRevision_ = 0;
    std::unordered_map<UUID, std::uint64_t> streamedReceiptVersions_;
    TaskHandle planning_;
    TaskScope tasks_;
    std::unique_ptr<EngineStream<OperationReceipt>> operationUpdates_;
    std::unique_ptr<EngineStream<OperationProgress>> progressUpdates_;
};

} // namespace morv
