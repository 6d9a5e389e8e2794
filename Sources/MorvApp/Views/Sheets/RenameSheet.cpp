#include "MorvApp/Views/Sheets/RenameSheet.h"

#include "MorvApp/Views/Sheets/RowDelegate.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTreeView>
#include <QVBoxLayout>
#include <algorithm>
#include <array>

namespace morv {

namespace {

using Problem = RenamePreview::Problem;

/// More than any name can hold, with all its tokens.
constexpr int longestPattern = 512;
constexpr int noteWidth = 260;

struct Token {
    const char* text;
    const char* title;
    const char* help;
};
constexpr std::array<Token, 3> tokens{{{"{name}", "Name", "The present name without its extension"},
                                       {"{ext}", "Extension", "The extension without the dot"},
                                       {"{n}", "Number", "1, 2, 3 … in the order of the list"}}};

QString words(Problem problem) {
    switch (problem) {
    case Problem::none:
        return {};
    case Problem::taken:
        return QStringLiteral("The name is taken: a number is added");
    case Problem::unchanged:
        return QStringLiteral("Has this name already");
    case Problem::forbidden:
        return QStringLiteral("No file may have this name");
    }
    return {};
}

} // namespace

RenameModel::RenameModel(std::vector<FileURL> items, QObject* parent)
    : QAbstractTableModel(parent), items_(std::make_shared<const std::vector<FileURL>>(std::move(items))) {}

void RenameModel::setPreviews(std::vector<RenamePreview> previews) {
    previews_ = std::move(previews);
    if (rowCount() > 0)
        Q_EMIT dataChanged(index(0, 0), index(rowCount() - 1, note));
}

std::size_t RenameModel::count(Problem problem) const {
    return static_cast<std::size_t>(std::ranges::count(previews_, problem, &RenamePreview::problem));
}

int RenameModel::firstProblem() const {
    // What stops the rename before what only adds a number.
    auto found = std::ranges::find_if(previews_, &RenamePreview::refusesPlan);
    if (found == previews_.end())
        found = std::ranges::find(previews_, Problem::taken, &RenamePreview::problem);
    return found == previews_.end() ? -1 : static_cast<int>(found - previews_.begin());
}

int RenameModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(items_->size());
}

int RenameModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(columns);
}

QVariant RenameModel::data(const QModelIndex& index, int role) const {
    const auto row = static_cast<std::size_t>(index.row());
    const auto* preview = row < previews_.size() ? &previews_[row] : nullptr;
    const auto& colours = Theme::shared().colours();
    switch (role) {
    case Qt::DisplayRole:
    case Qt::ToolTipRole:
        if (index.column() == before)
            return shownBriefly(role == Qt::ToolTipRole ? std::string_view((*items_)[row].path())
                                                        : (*items_)[row].lastComponent());
        if (!preview)
            return {};
        return index.column() == after ? shownBriefly(preview->name) : words(preview->problem);
    case Qt::ForegroundRole:
        if (index.column() == before)
            return colours.secondaryText;
        if (preview && preview->refusesPlan())
            return colours.failure;
        return preview && preview->problem == Problem::taken ? QVariant(colours.warning) : QVariant();
    default:
        return {};
    }
}

QVariant RenameModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (section) {
    case before:
        return QStringLiteral("Name");
    case after:
        return QStringLiteral("New name");
    default:
        return QStringLiteral("Note");
    }
}

RenameSheet::RenameSheet(AppModel& app, QWidget* window)
    : Sheet(QStringLiteral("Rename ") + shownCount(app.currentPane().selection().size()), {960, 680},
            Height::full, window),
      app_(app), names_(new RenameModel(app.currentPane().selectedURLs(), this)),
      pattern_(new QLineEdit(this)), tasks_(app.services().pools) {
    addText(QStringLiteral(
        "Every item gets the name that the pattern makes of its own. Nothing is renamed before "
        "you have reviewed it."));
    addTokens();
    addTable();
    summary_ = addText(QString());
    addCancel(QStringLiteral("Cancel"));
    review_ = addDefault(QStringLiteral("Review…"));
    review_->setObjectName(QStringLiteral("renameReview"));
    review_->setEnabled(false);
    connect(this, &Sheet::cancelled, &app_, &AppModel::closeSheet);
    connect(review_, &QPushButton::clicked, this, &RenameSheet::review);
    connect(pattern_, &QLineEdit::textChanged, this, &RenameSheet::preview);
    // Among folders a dot would be left over.
    const bool haveExtensions =
        std::ranges::any_of(names_->items(), [](const FileURL& item) { return !item.extension().empty(); });
    pattern_->setText(haveExtensions ? QStringLiteral("{name} {n}.{ext}") : QStringLiteral("{name} {n}"));
    present(pattern_);
    pattern_->setCursorPosition(static_cast<int>(pattern_->text().size()));
}

void RenameSheet::addTokens() {
    pattern_->setObjectName(QStringLiteral("renamePattern"));
    pattern_->setAccessibleName(QStringLiteral("Pattern of the new names"));
    pattern_->setMaxLength(longestPattern);
    auto* row = new QHBoxLayout;
    row->setSpacing(Space::small);
    row->addWidget(pattern_, 1);
    for (const auto& token : tokens) {
        auto* button = new QPushButton(QLatin1String(token.title), this);
        button->setObjectName(QStringLiteral("token"));
        button->setToolTip(QStringLiteral("Insert %1: %2").arg(QLatin1String(token.text), ours(token.help)));
        button->setAccessibleName(QStringLiteral("Insert ") + QLatin1String(token.title));
        connect(button, &QPushButton::clicked, this, [this, text = QLatin1String(token.text)] {
            pattern_->insert(text);
            pattern_->setFocus(Qt::OtherFocusReason);
        });
        row->addWidget(button);
    }
    body()->addLayout(row);
    addText(QStringLiteral(
        "{name} is the present name without its extension, {ext} the extension without the dot, "
        "{n} a number that counts from 1."));
}

void RenameSheet::addTable() {
    table_ = new QTreeView(this);
    table_->setObjectName(QStringLiteral("renameNames"));
    table_->setAccessibleName(QStringLiteral("Names"));
    table_->setModel(names_);
    table_->setItemDelegate(new RowDelegate(table_));
    table_->setRootIsDecorated(false);
    table_->setUniformRowHeights(true);
    table_->setTextElideMode(Qt::ElideMiddle);
    table_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    table_->header()->setStretchLastSection(false);
    table_->header()->setSectionResizeMode(RenameModel::before, QHeaderView::Stretch);
    table_->header()->setSectionResizeMode(RenameModel::after, QHeaderView::Stretch);
    table_->header()->resizeSection(RenameModel::note, noteWidth);
    body()->addWidget(table_, 1);
}

void RenameSheet::preview() {
    looking_.cancel();
    review_->setEnabled(false);
    looking_ = tasks_.run(
        TaskLane::reading,
        [items = names_->sharedItems(), pattern = typedBytes(pattern_->text())](const std::stop_token& stop) {
            return previewRename(*items, pattern, stop);
        },
        [this](std::vector<RenamePreview> previews) { showPreviews(std::move(previews)); },
        [this](const std::exception_ptr& failure) { summary_->setText(shown(sentence(failure))); });
}

void RenameSheet::showPreviews(std::vector<RenamePreview> previews) {
    names_->setPreviews(std::move(previews));
    const auto forbidden = names_->count(Problem::forbidden);
    const auto unchanged = names_->count(Problem::unchanged);
    const auto taken = names_->count(Problem::taken);
    QStringList parts{shownCount(names_->items().size())};
    if (forbidden > 0)
        parts << shownCount(forbidden, "forbidden name", "forbidden names");
    if (unchanged > 0)
        parts << shownCount(unchanged, "unchanged name", "unchanged names");
    if (taken > 0)
        parts << shownCount(taken, "taken name", "taken names");
    summary_->setText(parts.join(QStringLiteral(" · ")));
    // The plan would be refused as a whole: the row that is the reason is brought into sight instead.
    const bool isRefused = forbidden + unchanged > 0;
    review_->setEnabled(!isRefused);
    review_->setToolTip(isRefused ? QStringLiteral("Every item needs a new name that a file may have")
                                  : QString());
    if (const int problem = names_->firstProblem(); problem >= 0)
        table_->scrollTo(names_->index(problem, 0));
}

void RenameSheet::review() {
    auto items = names_->items();
    auto pattern = typedBytes(pattern_->text());
    auto& app = app_;
    app.closeSheet();
    app.renameItems(std::move(items), std::move(pattern));
}

} // namespace morv
