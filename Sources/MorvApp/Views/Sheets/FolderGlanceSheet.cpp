#include "MorvApp/Views/Sheets/FolderGlanceSheet.h"

#include "MorvApp/Views/Sheets/KindBar.h"
#include "MorvApp/Views/Theme/FolderArt.h"
#include "MorvApp/Views/Theme/IconCache.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvApp/Views/Theme/Type.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <initializer_list>

namespace morv {

namespace {

constexpr QSize card{480, 580};
constexpr int headPicture = 48;
constexpr int rowPicture = 16;
constexpr int rowHeight = 24;

} // namespace

FolderGlanceSheet::FolderGlanceSheet(AppModel& app, const FileEntry& folder, QWidget* window)
    : Sheet(QStringLiteral("Folder at a Glance"), card, Height::full, window), app_(app), folder_(folder) {
    body()->addWidget(buildHead());
    waiting_ = addText(QStringLiteral("Calculating scoped contents…"));
    facts_ = buildFacts();
    body()->addWidget(facts_);
    kindsTitle_ = addText(QStringLiteral("Scanned Contents by Kind"), "heading");
    kinds_ = new KindBar(this);
    body()->addWidget(kinds_);
    tree_ = new QTreeWidget(this);
    tree_->setObjectName(QStringLiteral("glance"));
    tree_->setAccessibleName(QStringLiteral("Two levels of the folder"));
    tree_->setHeaderHidden(true);
    tree_->setUniformRowHeights(true);
    tree_->setTextElideMode(Qt::ElideMiddle);
    tree_->setIconSize({rowPicture, rowPicture});
    body()->addWidget(tree_, 1);
    shown_ = addText(QString());
    coverage_ = addText(QString());
    for (auto* widget : std::initializer_list<QWidget*>{facts_, kindsTitle_, kinds_, shown_})
        widget->hide();
    auto* open = addAction(QStringLiteral("Open Folder"));
    auto* done = addDefault(QStringLiteral("Done"));
    connect(open, &QPushButton::clicked, &app_, [&app, url = folder.url()] {
        app.closeSheet();
        app.showFolder(url);
    });
    connect(done, &QPushButton::clicked, &app_, &AppModel::closeSheet);
    connect(this, &Sheet::cancelled, &app_, &AppModel::closeSheet);
    wish_ =
        app_.services().insights.request(folder_, [this](const FolderInsight& insight) { fill(insight); });
    present(done);
}

QWidget* FolderGlanceSheet::buildHead() {
    auto* head = new QWidget(this);
    auto* row = new QHBoxLayout(head);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(Space::medium);
    auto* picture = new QLabel(head);
    picture->setPixmap(FolderArt::render(app_.services().appearances.appearance(folder_.url()),
                                         Theme::shared().appearance(), headPicture, devicePixelRatioF()));
    row->addWidget(picture);
    auto* words = new QVBoxLayout;
    words->setSpacing(2);
    words->addStretch(1);
    auto* name = new QLabel(head);
    name->setObjectName(QStringLiteral("heading"));
    name->setTextFormat(Qt::PlainText);
    name->setText(name->fontMetrics().elidedText(shown(folder_.name), Qt::ElideMiddle,
                                                 card.width() - headPicture - 5 * Space::huge));
    words->addWidget(name);
    auto* scope = new QLabel(QStringLiteral("Preview shows two levels. Hidden files are excluded."), head);
    scope->setObjectName(QStringLiteral("secondary"));
    words->addWidget(scope);
    words->addStretch(1);
    row->addLayout(words, 1);
    return head;
}

QWidget* FolderGlanceSheet::buildFacts() {
    auto* row = new QWidget(this);
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(Space::small);
    count_ = addFact(row, "Visible direct items", "glanceCount");
    size_ = addFact(row, "Scanned local size", "glanceSize");
    return row;
}

QLabel* FolderGlanceSheet::addFact(QWidget* row, const char* title, const char* name) {
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

void FolderGlanceSheet::fill(const FolderInsight& insight) {
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

void FolderGlanceSheet::fillTree(const FolderInsight& insight) {
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
