// A new name for several items by a pattern, with what each of them will be called while it is typed. It ends in
// a plan that is reviewed, or changes nothing. Main thread; names are looked up on a worker.
#pragma once

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Views/Sheets/Sheet.h"
#include "MorvCore/Operations/RenamePreview.h"

#include <QAbstractTableModel>
#include <memory>
#include <vector>

class QLineEdit;
class QTreeView;

namespace morv {

/// Old and new names for a list view; nothing is made for a line that is not visible.
class RenameModel : public QAbstractTableModel {
    Q_OBJECT

public:
    enum Column { before, after, note, columns };

    RenameModel(std::vector<FileURL> items, QObject* parent);

    const std::vector<FileURL>& items() const { return *items_; }
    /// Shared with the worker.
    std::shared_ptr<const std::vector<FileURL>> sharedItems() const { return items_; }
    /// One for each item.
    void setPreviews(std::vector<RenamePreview> previews);
    std::size_t count(RenamePreview::Problem problem) const;
    /// -1 when no item has a problem.
    int firstProblem() const;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    std::shared_ptr<const std::vector<FileURL>> items_;
    std::vector<RenamePreview> previews_; ///< empty until the first is known
};

class RenameSheet : public Sheet {
    Q_OBJECT

public:
    /// Of what is selected in the current pane, in the order in which it is shown.
    RenameSheet(AppModel& app, QWidget* window);

private:
    void addTokens();
    void addTable();
    void preview();
    void showPreviews(std::vector<RenamePreview> previews);
    void review();

    AppModel& app_;
    RenameModel* names_;
    QLineEdit* pattern_;
    QTreeView* table_ = nullptr;
    QLabel* summary_ = nullptr;
    QPushButton* review_ = nullptr;
    TaskHandle looking_;
    TaskScope tasks_;
};

} // namespace morv
