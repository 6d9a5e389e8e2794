// A splitter as the layout registry sees it. Main thread.
#pragma once

#include "MorvApp/Model/SplitLayout.h"

class QSplitter;

namespace morv {

class SplitterLayout : public SplitView {
    Q_OBJECT

public:
    /// Lives as a child of the splitter.
    explicit SplitterLayout(QSplitter& splitter);

    double length() const override;
    std::size_t dividers() const override;
    double position(std::size_t divider) const override;
    double smallestPosition(std::size_t divider) const override;
    double largestPosition(std::size_t divider) const override;
    void setPosition(std::size_t divider, double position) override;

private:
    std::pair<int, int> range(std::size_t divider) const;

    QSplitter& splitter_;
};

} // namespace morv
