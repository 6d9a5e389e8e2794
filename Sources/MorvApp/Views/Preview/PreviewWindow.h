// A large preview of what is selected, in a window of its own over the file window. It follows the selection
// while it is open, and its arrows move: through the selected items when there are several, else through
// what the pane shows, and the pane's selection with it. Main thread.
#pragma once

#include "MorvApp/Views/Preview/PreviewPane.h"

#include <QKeySequence>
#include <QList>
#include <functional>

class QShortcut;

namespace morv {

class PreviewWindow : public QWidget {
    Q_OBJECT

public:
    /// Selects the item so many places on in the order in which the pane is shown, alone.
    using SelectNeighbour = std::function<void(int by)>;

    /// Hidden. `owner` is a window; both outlive this.
    PreviewWindow(AppModel& app, SelectNeighbour selectNeighbour, QWidget* owner);

    /// Shows the selection, or closes when it is shown already. Without a selection nothing happens.
    void toggle();
    PreviewPane& pane() { return *pane_; }

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void addKey(const QKeySequence& key, std::function<void()> action);
    void readKeys();
    void place();
    void follow();
    void step(int by);
    void showEntry(const FileEntry& entry, std::size_t place, std::size_t count);

    AppModel& app_;
    const SelectNeighbour selectNeighbour_;
    PreviewPane* pane_;
    QList<QKeySequence> keys_;
    QList<QShortcut*> closing_; ///< with the keys that open it
};

} // namespace morv
