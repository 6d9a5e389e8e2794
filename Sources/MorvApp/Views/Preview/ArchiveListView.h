// The members of an archive, as many as were kept of them, and a line that says how many there are. Main thread.
#pragma once

#include "MorvApp/Model/PreviewReading.h"

#include <QAbstractTableModel>
#include <QWidget>

class QLabel;
class QTreeView;

namespace morv {

/// Makes nothing for a row that is not visible.
class ArchiveMembersModel : public QAbstractTableModel {
    Q_OBJECT

public:
    enum Column { name, size };
    using QAbstractTableModel::QAbstractTableModel;

    void setArchive(PreviewArchive archive);
    const PreviewArchive& archive() const { return archive_; }
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    PreviewArchive archive_;
};

/// "1,204 files in 12 folders · 3.4 MB extracted".
QString summaryOf(const PreviewArchive& archive);

class ArchiveListView : public QWidget {
    Q_OBJECT

public:
    explicit ArchiveListView(QWidget* parent);

    void setArchive(PreviewArchive archive);
    QTreeView& list() { return *list_; }

private:
    ArchiveMembersModel* model_;
    QTreeView* list_;
    QLabel* summary_;
};

} // namespace morv
