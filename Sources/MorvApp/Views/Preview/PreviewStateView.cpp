#include "MorvApp/Views/Preview/PreviewStateView.h"

#include "MorvApp/Views/Theme/Theme.h"

#include <QLabel>
#include <QVBoxLayout>

namespace morv {

namespace {

constexpr int widest = 420;

} // namespace

PreviewStateView::PreviewStateView(QWidget* parent) : QWidget(parent) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(Space::huge, Space::large, Space::huge, Space::large);
    column->setSpacing(Space::small);
    column->addStretch(1);
    const auto add = [&](const char* role) {
        auto* label = new QLabel(this);
        label->setObjectName(QLatin1String(role));
        label->setTextFormat(Qt::PlainText);
        label->setAlignment(Qt::AlignCenter);
        column->addWidget(label);
        return label;
    };
    picture_ = add("previewPicture");
    column->addSpacing(Space::tiny);
    titleLabel_ = add("heading");
    titleLabel_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    sentenceLabel_ = add("secondary");
    sentenceLabel_->setWordWrap(true);
    column->addSpacing(Space::tiny);
    facts_ = new PreviewFacts(this);
    facts_->setMaximumWidth(widest);
    auto* row = new QHBoxLayout;
    row->addStretch(1);
    row->addWidget(facts_);
    row->addStretch(1);
    column->addLayout(row);
    column->addStretch(2);
}

void PreviewStateView::setState(const State& state) {
    picture_->setPixmap(state.picture);
    picture_->setVisible(!state.picture.isNull());
    title_ = state.title;
    titleLabel_->setToolTip(title_);
    sentenceLabel_->setText(state.sentence);
    sentenceLabel_->setVisible(!state.sentence.isEmpty());
    facts_->setFacts(state.facts);
    facts_->setVisible(!state.facts.empty());
    elide();
}

QString PreviewStateView::title() const {
    return title_;
}

QString PreviewStateView::sentence() const {
    return sentenceLabel_->text();
}

void PreviewStateView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    elide();
}

void PreviewStateView::elide() {
    titleLabel_->setText(
        titleLabel_->fontMetrics().elidedText(title_, Qt::ElideMiddle, width() - 2 * Space::huge));
}

} // namespace morv
