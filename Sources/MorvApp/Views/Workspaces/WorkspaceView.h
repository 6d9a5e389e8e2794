// A workspace in the place of the files: its references in sections, each with what became of it and where
// the original lives. The list is made again only when it would say something else, and stays where it was
// scrolled to. Main thread.
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

    /// The originals of what is selected, as far as they could be read, in the order of the list.
    std::vector<const FileEntry*> selectedEntries() const;
    /// Selects the reference so many places on, alone.
    void selectNeighbour(int by);
    /// Gives the keyboard to the field that narrows the list.
    void beginQuery();

Q_SIGNALS:
    /// Other references, or what became of them.
    void selectionChanged();
    void previewRequested();

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
    void fillHead(const Workspace& current);
    void fillList(const Workspace& current);
    void fillNote();
    void addSection(const WorkspaceSection& section);
    std::vector<FileURL> selectedReferences() const;
    void openSelection();
    void removeSelection();
    void moveSelectionToTrash();
    void openFolder(const FileURL& reference);
    void showMenu(QTreeWidgetItem* item, QPoint globalPosition);
    void append(const std::vector<FileURL>& urls);
    static bool isReference(const QTreeWidgetItem& item);
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
    std::optional<UUID> shownWorkspace_;
    std::vector<WorkspaceSection> shownSections_;
    bool targeted_ = false;
};

} // namespace morv
