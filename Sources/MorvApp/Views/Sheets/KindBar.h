// What a folder's scanned contents are made of: a bar of the kinds by their weight, and their names and
// counts under it. Main thread.
#pragma once

#include "MorvCore/Inspection/FolderInsights.h"

#include <QWidget>
#include <vector>

class QGridLayout;

namespace morv {

class KindBar : public QWidget {
    Q_OBJECT

public:
    explicit KindBar(QWidget* parent);

    void setInsight(const FolderInsight& insight);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    struct Part {
        FileKind kind;
        double share; ///< of the whole bar
    };

    std::vector<Part> parts_;
    QGridLayout* legend_;
};

} // namespace morv
