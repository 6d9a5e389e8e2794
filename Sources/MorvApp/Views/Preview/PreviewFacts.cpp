#include "MorvApp/Views/Preview/PreviewFacts.h"

#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QFormLayout>
#include <QLabel>

namespace morv {

namespace {

/// What a file says of itself may be a book.
constexpr qsizetype longestValue = 300;
constexpr std::size_t mostFacts = 40;

} // namespace

std::vector<ShownFact> factsOf(const FileEntry& entry) {
    std::vector<ShownFact> facts{{QStringLiteral("Kind"), shownKind(entry)}};
    if (!entry.isNavigable())
        facts.emplace_back(QStringLiteral("Size"), ours(entry.formattedSize()));
    if (entry.modifiedAt)
        facts.emplace_back(QStringLiteral("Modified"), shownDate(*entry.modifiedAt));
    if (entry.addedAt)
        facts.emplace_back(QStringLiteral("Added"), shownDate(*entry.addedAt));
    return facts;
}

void addFacts(std::vector<ShownFact>& facts, const std::vector<MediaFact>& more) {
    for (const auto& [title, value] : more)
        facts.emplace_back(shown(title).left(longestValue), shown(value).left(longestValue));
}

PreviewFacts::PreviewFacts(QWidget* parent) : QWidget(parent), form_(new QFormLayout(this)) {
    form_->setContentsMargins(0, 0, 0, 0);
    form_->setHorizontalSpacing(Space::medium);
    form_->setVerticalSpacing(Space::tiny);
    form_->setLabelAlignment(Qt::AlignRight | Qt::AlignTop);
    form_->setFormAlignment(Qt::AlignHCenter | Qt::AlignTop);
    form_->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
}

void PreviewFacts::setFacts(const std::vector<ShownFact>& facts) {
    while (form_->rowCount() > 0)
        form_->removeRow(0);
    for (std::size_t i = 0; i < facts.size() && i < mostFacts; ++i) {
        const auto add = [this](const QString& text, const char* role) {
            auto* label = new QLabel(text, this);
            label->setObjectName(QLatin1String(role));
            label->setTextFormat(Qt::PlainText);
            return label;
        };
        auto* value = add(facts[i].second, "factValue");
        value->setWordWrap(true);
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        value->setAccessibleName(facts[i].first + QStringLiteral(": ") + facts[i].second);
        form_->addRow(add(facts[i].first, "secondary"), value);
    }
}

} // namespace morv
