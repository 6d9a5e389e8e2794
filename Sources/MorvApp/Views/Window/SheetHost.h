// Which sheet stands over a window: the plan under review, else what the model asks for, one at a time. A sheet
// that a review comes over is hidden, with what was filled in, and comes back after it. While one is up no
// command of the window runs. Main thread.
#pragma once

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Views/Sheets/Sheet.h"

#include <QObject>
#include <QPointer>

namespace morv {

class ReviewSheet;
class WindowActions;

class SheetHost : public QObject {
    Q_OBJECT

public:
    /// Sheets cover `window`; the three outlive the host.
    SheetHost(AppModel& app, WindowActions& actions, QWidget* window);
    ~SheetHost() override;

    /// The one that is seen, or null.
    Sheet* sheet() const;

Q_SIGNALS:
    /// A sheet goes: the keyboard belongs to the window's content, until the next sheet takes it.
    void leaving();

private:
    void update();
    template <class Kind>
    void end(QPointer<Kind>& sheet);
    void showReview();
    void showSheet();
    /// Null when what the sheet is about has gone, or when this window has no such sheet.
    Sheet* make(AppSheet wanted);

    AppModel& app_;
    WindowActions& actions_;
    QWidget* window_;
    QPointer<ReviewSheet> review_;
    QPointer<Sheet> sheet_;
    std::optional<AppSheet> shown_; ///< what sheet_ is
};

} // namespace morv
