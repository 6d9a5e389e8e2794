// A large preview of what is selected, in a window of its own over the file window: in the pane, or in the
// workspace that stands in its place. It follows the selection while it is open, and its arrows move: through the
// selected items when there are several, else through what is shown, and the selection with it. Main thread.
#pragma once

#include "MorvApp/Views/Preview/PreviewPane.h"

#include <QKeySequence>
#include <QList>
#include <functional>
#include <vector>

class QShortcut;

namespace morv {

class PreviewWindow : public QWidget {
    Q_OBJECT

public:
    /// What stands in the window.
    struct Subjects {
        /// In the order in which they are shown; used at once.
        std::function<std::vector<const FileEntry*>()> selected;
        /// Selects the item so many places on in that order, alone.
        std::function<void(int by)> selectNeighbour;
    };

    /// Hidden. `owner` is a window; both outlive this.
    PreviewWindow(AppModel& app, Subjects subjects, QWidget* owner);

    /// Shows the selection, or closes when it is shown already. Without a selection nothing happens.
    void toggle();
    /// Something else may be selected.
    void follow();
    PreviewPane& pane() { return *pane_; }

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void addKey(const QKeySequence& key, std::function<void()> action);
    void readKeys();
    void place();
    void step(int by);
    void showEntry(const FileEntry& entry, std::size_t place, std::size_t count);

    AppModel& app_;
    const Subjects subjects_;
    PreviewPane* pane_;
    QList<QKeySequence> keys_;
    QList<QShortcut*> closing_; ///< with the keys that open it
};

} // namespace morv
