// A workspace in the place of the files: its references in sections, each with what became of it and where
// the original lives. Main thread.
#pragma once

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Model/WorkspaceDetail.h"

#include <QFrame>

class QLabel;
class QLineEdit;
class QPushButton;
class QTreeWidget;
class QTreeWidgetItem;

namespace morv {

class WorkspaceView : public QFrame {
    Q_OBJECT

public:
    explicit WorkspaceView(AppModel& app, QWidget* parent = nullptr);

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QWidget* buildHead();
    const Workspace* workspace() const;
    /// Reads the references anew when anything that a check depends on is another.
    void follow();
    void fill();
    void open(const QTreeWidgetItem& item);
    void openFolder(const FileURL& reference);
    void showMenu(const QTreeWidgetItem* item, QPoint globalPosition);
    void append(const std::vector<FileURL>& urls);
    static FileURL referenceOf(const QTreeWidgetItem& item);

    AppModel& app_;
    WorkspaceDetail detail_;
    std::string signature_;
    std::uint64_t refreshRevision_ = 0;
    QLabel* mark_ = nullptr;
    QLabel* title_ = nullptr;
    QLabel* summary_ = nullptr;
    QLabel* note_ = nullptr;
    QLineEdit* query_ = nullptr;
    QPushButton* checkAgain_ = nullptr;
    QTreeWidget* list_ = nullptr;
    bool targeted_ = false;
};

} // namespace morv
