#include "MorvApp/Views/Sheets/FolderGlance.h"

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Views/Sheets/KindBar.h"
#include "MorvApp/Views/Theme/FolderArt.h"
#include "MorvApp/Views/Theme/IconCache.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvApp/Views/Theme/Type.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <initializer_list>

namespace morv {

namespace {

constexpr int rowPicture = 16;
constexpr int rowHeight = 24;

} // namespace

FolderGlance::FolderGlance(AppModel& app, QWidget* parent)
    : QWidget(parent), app_(app), column_(new QVBoxLayout(this)) {
    column_->setContentsMargins(0, 0, 0, 0);
    column_->setSpacing(Space::medium);
    addText(QStringLiteral("Preview shows two levels. Hidden files are excluded."));
    waiting_ = addText(QString());
    facts_ = buildFacts();
    column_->addWidget(facts_);
    kindsTitle_ = addText(QStringLiteral("Scanned Contents by Kind"), "heading");
    kinds_ = new KindBar(this);
    column_->addWidget(kinds_);
    tree_ = new QTreeWidget(this);
    tree_->setObjectName(QStringLiteral("glance"));
    tree_->setAccessibleName(QStringLiteral("Two levels of the folder"));
    tree_->setHeaderHidden(true);
    tree_->setUniformRowHeights(true);
    tree_->setTextElideMode(Qt::ElideMiddle);
    tree_->setIconSize({rowPicture, rowPicture});
    column_->addWidget(tree_, 1);
    shown_ = addText(QString());
    coverage_ = addText(QString());
    clear();
}

QLabel* FolderGlance::addText(const QString& text, const char* role) {
    auto* label = new QLabel(text, this);
    label->setObjectName(QLatin1String(role));
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    column_->addWidget(label);
    return label;
}

QWidget* FolderGlance::buildFacts() {
    auto* row = new QWidget(this);
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(Space::small);
    count_ = addFact(row, "Visible direct items", "glanceCount");
    size_ = addFact(row, "Scanned local size", "glanceSize");
    return row;
}

QLabel* FolderGlance::addFact(QWidget* row, const char* title, const char* name) {
    auto* fact = new QFrame(row);
    fact->setObjectName(QStringLiteral("lookPreview"));
    auto* column = new QVBoxLayout(fact);
    column->setContentsMargins(Space::medium, Space::small, Space::medium, Space::small);
    column->setSpacing(2);
    auto* value = new QLabel(fact);
    value->setObjectName(QLatin1String(name));
    value->setFont(Type::title(value->font()));
    column->addWidget(value);
    auto* caption = new QLabel(QLatin1String(title), fact);
    caption->setObjectName(QStringLiteral("secondary"));
    column->addWidget(caption);
    row->layout()->addWidget(fact);
    return value;
}

void FolderGlance::setFolder(const FileEntry& folder) {
    clear();
    waiting_->setText(QStringLiteral("Calculating scoped contents…"));
    waiting_->show();
    wish_ = app_.services().insights.request(folder, [this](const FolderInsight& insight) { fill(insight); });
}

void FolderGlance::clear() {
    wish_.reset();
    tree_->clear();
    coverage_->clear();
    for (auto* widget : std::initializer_list<QWidget*>{waiting_, facts_, kindsTitle_, kinds_, shown_})
        widget->hide();
}

void FolderGlance::fill(const FolderInsight& insight) {
    waiting_->setVisible(insight.error.has_value());
    if (insight.error) {
        waiting_->setText(shown(*insight.error));
        return;
    }
    facts_->show();
    count_->setText(QString::number(insight.directCount) + QLatin1String(insight.complete ? "" : "+"));
    size_->setText(ours(insight.sizeLabel()));
    kinds_->setInsight(insight);
    kindsTitle_->setVisible(!insight.counts.empty());
    kinds_->setVisible(!insight.counts.empty());
    fillTree(insight);
    const auto peeked = static_cast<std::int64_t>(insight.peek.size());
    shown_->setVisible(peeked < insight.directCount);
    shown_->setText(QStringLiteral("Showing %1 of %2. Open the folder to see everything.")
                        .arg(peeked)
                        .arg(insight.directCount));
    coverage_->setText(ours(insight.coverage()));
}

void FolderGlance::fillTree(const FolderInsight& insight) {
    IconCache icons;
    FolderArt folders;
    const auto add = [&](QTreeWidgetItem* parent, const FileEntry& entry) {
        auto* item = new QTreeWidgetItem(parent, {shown(entry.name)});
        item->setSizeHint(0, QSize(0, rowHeight));
        item->setIcon(0, entry.isNavigable()
                             ? folders.folder(app_.services().appearances.appearance(entry.url()), rowPicture,
                                              devicePixelRatioF())
                             : icons.file(entry, rowPicture, devicePixelRatioF()));
        return item;
    };
    for (const auto& node : insight.peek) {
        auto* item = add(tree_->invisibleRootItem(), node.entry);
        for (const auto& child : node.children)
            add(item, child);
    }
    tree_->expandAll();
}

} // namespace morv
