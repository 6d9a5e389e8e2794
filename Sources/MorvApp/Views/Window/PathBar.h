// Where the pane is: a button for each folder on the way, or a field to type a path or a command, and what
// Git says of the folder. The buttons keep locations in bytes; a typed path is parsed only when it was
// changed. Main thread.
#pragma once

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Model/GitStatusModel.h"
#include "MorvApp/Model/PathCompletion.h"

#include <QFrame>
#include <QPointer>
#include <vector>

class QHBoxLayout;
class QLabel;
class QLineEdit;
class QToolButton;

namespace morv {

class GitBadge;

class PathBar : public QFrame {
    Q_OBJECT

public:
    /// At the place of the pane that is current then. `app` outlives it.
    explicit PathBar(AppModel& app, QWidget* parent = nullptr);

    /// Shows another pane's place; the one before may go afterwards.
    void setPane(PaneModel& pane);

    void beginEditing();
    bool isEditing() const;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

Q_SIGNALS:
    /// One of the folders on the way was chosen.
    void folderChosen(const FileURL& folder);
    /// Editing has ended; the collection wants the keyboard back.
    void editingEnded();

protected:
    bool event(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Crumb {
        FileURL folder;
        QToolButton* button;
        QWidget* arrow; ///< before the button; null for the first
    };

    void acceptDrops();
    void rebuild();
    void fit();
    void endEditing();
    void commit();
    /// Of the typed text.
    FileURL locationOf(const QString& text) const;
    void complete(PathCompletion::Direction direction);
    void takeCompletion(const std::string& typed, const std::string& text, const std::string& hint);
    void showHint(const QString& hint);
    bool takeKey(const QKeyEvent& event);
    void showHiddenFolders();

    AppModel& app_;
    PaneModel* pane_;
    GitStatusModel git_;
    PathCompletion completion_;
    QMetaObject::Connection following_;
    QHBoxLayout* layout_;
    QToolButton* overflow_;
    std::vector<Crumb> crumbs_;
    GitBadge* badge_;
    QLineEdit* editor_;
    QPointer<QLabel> hint_; ///< below the field; made when it is first needed
    QString originalText_;
};

} // namespace morv
