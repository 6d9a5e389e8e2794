// The groups of a folder of downloads, to choose one of: all of them, or one and how much it holds. Hidden
// while the pane has none to show. Main thread.
#pragma once

#include "MorvApp/Model/PaneModel.h"

#include <QScrollArea>

class QButtonGroup;
class QHBoxLayout;

namespace morv {

class DownloadsBar : public QScrollArea {
    Q_OBJECT

public:
    /// `pane` outlives this.
    explicit DownloadsBar(PaneModel& pane, QWidget* parent = nullptr);

    QSize sizeHint() const override;

protected:
    void wheelEvent(QWheelEvent* event) override;

private:
    void refresh();
    void fill();
    void choose(const std::optional<std::string>& group);

    PaneModel& pane_;
    QWidget* row_;
    QHBoxLayout* layout_;
    QButtonGroup* chips_;
    std::vector<std::pair<std::string, std::size_t>> shown_; ///< titles and counts; the first is all
};

} // namespace morv
