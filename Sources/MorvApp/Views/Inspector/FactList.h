// Titles and values under one another. Rows are made once and filled again: nothing is rebuilt when the selection
// moves on. Main thread.
#pragma once

#include "MorvApp/Views/Inspector/ValueText.h"

#include <QWidget>
#include <utility>
#include <vector>

class QGridLayout;
class QLabel;

namespace morv {

struct Fact {
    QString title;
    QString value;
    ValueText::Tone tone = ValueText::Tone::plain;
};

class FactList : public QWidget {
    Q_OBJECT

public:
    explicit FactList(QWidget* parent);

    /// Hidden when there are none.
    void setFacts(const std::vector<Fact>& facts);

private:
    QGridLayout* grid_;
    std::vector<std::pair<QLabel*, ValueText*>> rows_;
};

} // namespace morv
