#include "MorvApp/Views/Inspector/FactList.h"

#include "MorvApp/Views/Theme/Theme.h"

#include <QGridLayout>
#include <QLabel>

namespace morv {

namespace {

constexpr int titleWidth = 76;

} // namespace

FactList::FactList(QWidget* parent) : QWidget(parent), grid_(new QGridLayout(this)) {
    grid_->setContentsMargins(0, 0, 0, 0);
    grid_->setHorizontalSpacing(Space::small);
    grid_->setVerticalSpacing(Space::tiny + 2);
    grid_->setColumnMinimumWidth(0, titleWidth);
    grid_->setColumnStretch(1, 1);
    hide();
}

void FactList::setFacts(const std::vector<Fact>& facts) {
    while (rows_.size() < facts.size()) {
        auto* title = new QLabel(this);
        title->setObjectName(QStringLiteral("secondary"));
        title->setTextFormat(Qt::PlainText);
        auto* value = new ValueText(this);
        const auto row = static_cast<int>(rows_.size());
        grid_->addWidget(title, row, 0, Qt::AlignTop);
        grid_->addWidget(value, row, 1, Qt::AlignTop);
        rows_.emplace_back(title, value);
    }
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        auto [title, value] = rows_[i];
        const bool isUsed = i < facts.size();
        title->setVisible(isUsed);
        value->setVisible(isUsed);
        if (!isUsed)
            continue;
        title->setText(facts[i].title);
        value->setText(facts[i].value, facts[i].tone);
        value->setAccessibleName(facts[i].title + QStringLiteral(": ") + facts[i].value);
    }
    setVisible(!facts.empty());
}

} // namespace morv
