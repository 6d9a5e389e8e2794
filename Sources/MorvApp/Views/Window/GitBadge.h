// The branch of the folder that is shown, and how many of its entries have changed. Main thread.
#pragma once

#include <QWidget>

namespace morv {

class GitStatusModel;

class GitBadge : public QWidget {
    Q_OBJECT

public:
    /// Whoever holds it shows it while it has content; `model` outlives it.
    explicit GitBadge(const GitStatusModel& model, QWidget* parent);

    /// Takes at most so much; the name of the branch gives way first, then the count.
    void fitInto(int width);
    bool hasContent() const { return hasContent_; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void readModel();

    const GitStatusModel& model_;
    bool hasContent_ = false;
    QString branch_;
    QString count_; ///< empty when nothing has changed
    int room_ = QWIDGETSIZE_MAX;
    int nameWidth_ = 0; ///< 0 where there is no room for the name
    bool showsCount_ = false;
};

} // namespace morv
