// A window: menus and bars, tabs of files, progress, status, and the sheets over them. It only shows its
// model and hands it commands. Main thread.
#pragma once

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Views/Sheets/Sheet.h"

#include <QMainWindow>

class QActionGroup;
class QLabel;
class QMenu;
class QMessageBox;
class QSplitter;
class QStackedWidget;
class QToolButton;

namespace morv {

class InspectorSplit;
class MorvCollectionView;
class PathBar;
class PreviewWindow;
class SearchField;
class SheetHost;
class Sidebar;
class TabArea;
class WindowActions;
class WorkspaceView;

class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    /// `services` and `board` outlive the window; without `location` it begins at the services' first folder.
    MainWindow(MorvServices& services, ClipboardBoard& board, const std::optional<FileURL>& location = {});
    ~MainWindow() override;

    AppModel& model() { return app_; }
    /// The active pane's.
    MorvCollectionView& collection();
    PathBar& pathBar() { return *pathBar_; }
    /// What stands over the content, or null.
    Sheet* sheet() const;
    /// Null until it is opened for the first time.
    PreviewWindow* preview() const { return preview_; }

protected:
    /// Refused while files are being processed.
    void closeEvent(QCloseEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    /// Its buttons are those of the answer; Escape is the first of them. It deletes itself.
    QMessageBox* messageOf(const QuitAnswer& answer);

private:
    QWidget* buildToolbar(QWidget* parent);
    QWidget* buildErrorLine(QWidget* parent);
    QWidget* buildBody(QWidget* parent);
    /// What stands in the sidebar's place while that is compact.
    Sidebar& rail();
    WorkspaceView& workspace();
    /// The tabs, or the workspace that is selected.
    void showContent();
    void focusContent();
    void beginSearch();
    void fillWorkspaceMenu();
    /// Shows or hides the sidebar and gives it the width it had.
    void settleSidebar();
    QToolButton* addButton(QWidget* bar, QAction* action, const QString& icon);
    void carryOut(FileCommand command);
    /// To the inspector, or from it and away with it.
    void toggleInfo();
    void showShareMenu();
    void chooseFolder();
    void togglePreview();
    void buildSortMenu(QToolButton* button);
    void followPane();
    void updateTitle();
    void updateSortMenu();
    void updateError();
    void showToolFailure(const std::string& sentence);
    void retint();

    AppModel app_;
    MorvServices& services_;
    WindowActions* actions_;
    TabArea* tabs_ = nullptr;
    Sidebar* sidebar_ = nullptr;
    Sidebar* rail_ = nullptr;            ///< null until it is shown
    WorkspaceView* workspace_ = nullptr; ///< likewise
    QStackedWidget* content_ = nullptr;
    QSplitter* body_ = nullptr;
    InspectorSplit* inspected_ = nullptr;
    QMenu* workspaceMenu_ = nullptr;
    SidebarColumn column_;
    PathBar* pathBar_ = nullptr;
    SearchField* search_ = nullptr;
    QWidget* errorLine_ = nullptr;
    QLabel* errorText_ = nullptr;
    QActionGroup* sorts_ = nullptr;
    QActionGroup* directions_ = nullptr;
    SheetHost* sheets_ = nullptr;
    PreviewWindow* preview_ = nullptr;
};

} // namespace morv
