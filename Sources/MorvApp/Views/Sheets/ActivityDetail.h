// One operation, or one handoff to the system, in whole: how it goes or ended, its items, and where what belongs
// to the selected item is now. Main thread.
#pragma once

#include "MorvApp/Views/Sheets/ReceiptModels.h"

#include <QWidget>
#include <array>

class QFrame;
class QLabel;
class QProgressBar;
class QPushButton;
class QTreeView;

namespace morv {

class ActivityDetail : public QWidget {
    Q_OBJECT

public:
    /// `app` outlives it.
    ActivityDetail(AppModel& app, QWidget* parent);

    void setEntry(const std::optional<ActivityEntry>& entry);

Q_SIGNALS:
    /// The item's folder is to be opened and the item selected.
    void showRequested(const FileURL& item);

private:
    /// A place that something of the item may have.
    struct Place {
        QLabel* role = nullptr;
        QLabel* path = nullptr;
        QPushButton* show = nullptr;
        std::optional<FileURL> url;
    };
    enum PlaceRole { result, staging, recovery };

    void build();
    void updateProgress();
    void updateItem();
    void setPlace(PlaceRole role, const std::optional<FileURL>& url, const QString& words);

    AppModel& app_;
    std::optional<ActivityEntry> entry_;
    ReceiptItemsModel* items_;
    QLabel* title_;
    QLabel* facts_;
    QLabel* message_;
    QLabel* amounts_;
    QProgressBar* bar_;
    QTreeView* table_;
    QFrame* itemFrame_;
    QLabel* itemWords_;
    std::array<Place, 3> places_;
};

/// Why the operation cannot be undone; empty when it can.
QString whyNoUndo(const OperationReceipt& receipt);

} // namespace morv
