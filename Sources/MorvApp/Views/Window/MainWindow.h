// A window: bars, one pane's files, progress, status, and the sheets over them. It only shows its model and
// hands it commands. Main thread.
#pragma once

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Views/Sheets/Sheet.h"

#include <QMainWindow>
#include <QPointer>

class QActionGroup;
class QLabel;
class QToolButton;

namespace morv {

class MorvCollectionView;
class PathBar;

class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    /// `services` and `board` outlive the window; without `location` it begins at the services' first folder.
    MainWindow(MorvServices& services, ClipboardBoard& board, const std::optional<FileURL>& location = {});
    ~MainWindow() override;

    AppModel& model() { return app_; }
    MorvCollectionView& collection() { return *collection_; }
    PathBar& pathBar() { return *pathBar_; }
    Sheet* sheet() const { return sheet_; }

protected:
    /// Refused while files are being processed.
    void closeEvent(QCloseEvent* event) override;

private:
    QWidget* buildToolbar();
    QWidget* buildErrorLine();
    void buildActions();
    QAction* addCommand(const QString& title, FileCommand command, const QList<QKeySequence>& keys);
    QToolButton* addButton(QWidget* bar, QAction* action, const QString& icon);
    void buildSortMenu(QToolButton* button);
    void updateNavigation();
    void updateView();
    void updateError();
    void updateSheet();
    void retint();

    AppModel app_;
    MorvServices& services_;
    MorvCollectionView* collection_;
    PathBar* pathBar_ = nullptr;
    QWidget* errorLine_ = nullptr;
    QLabel* errorText_ = nullptr;
    QAction* back_ = nullptr;
    QAction* forward_ = nullptr;
    QAction* up_ = nullptr;
    QAction* grid_ = nullptr;
    QAction* list_ = nullptr;
    QAction* hidden_ = nullptr;
    QActionGroup* sorts_ = nullptr;
    QActionGroup* directions_ = nullptr;
    QList<QAction*> commands_; ///< asleep while a sheet is up
    QPointer<Sheet> sheet_;
};

} // namespace morv
