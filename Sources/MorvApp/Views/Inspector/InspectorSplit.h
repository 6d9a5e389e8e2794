// The window's content and, at its right while it is wanted, the inspector, which is built when it is wanted for the
// first time. The inspector keeps its width when the window changes, and its place between the windows of a session
// is the layout registry's. Main thread.
#pragma once

#include <QSplitter>
#include <cstdint>
#include <optional>

namespace morv {

class AppModel;
class InspectorPanel;
class SplitterLayout;

class InspectorSplit : public QSplitter {
    Q_OBJECT

public:
    InspectorSplit(AppModel& app, QWidget* parent);

    /// Once, a child of this one: a widget that changes its parent is styled again with all that is in it.
    void setContent(QWidget* content);
    bool hasKeyboard() const;
    void takeKeyboard();

Q_SIGNALS:
    /// The keyboard leaves the inspector.
    void ended();

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void follow();
    void settle();
    InspectorPanel& panel();

    AppModel& app_;
    InspectorPanel* panel_ = nullptr;  ///< null until it is shown
    SplitterLayout* layout_ = nullptr; ///< only while the inspector is shown: a hidden divider has no place
    bool isSettled_ = false;
    /// Of the restored session whose divider the user has moved since.
    std::optional<std::uint64_t> outdatedRestore_;
};

} // namespace morv
