#include "MorvApp/Views/Preview/ArchiveListView.h"

#include "MorvApp/Views/Sheets/RowDelegate.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvCore/Foundation/ByteCount.h"

#include <QHeaderView>
#include <QIcon>
#include <QLabel>
#include <QTreeView>
#include <QVBoxLayout>
#include <algorithm>
#include <limits>

namespace morv {

namespace {

constexpr int sizeWidth = 112;

QString shownBytes(std::uint64_t bytes) {
    constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    return ours(formatByteCount(static_cast<std::int64_t>(std::min(bytes, most))));
}

} // namespace

void ArchiveMembersModel::setArchive(PreviewArchive archive) {
    beginResetModel();
    archive_ = std::move(archive);
    endResetModel();
}

int ArchiveMembersModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(archive_.members.size());
}

int ArchiveMembersModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : 2;
}

QVariant ArchiveMembersModel::data(const QModelIndex& index, int role) const {
    const auto& member = archive_.members[static_cast<std::size_t>(index.row())];
    if (role == Qt::TextAlignmentRole && index.column() == size)
        return static_cast<int>(Qt::AlignRight | Qt::AlignVCenter);
    if (role == Qt::DecorationRole && index.column() == name)
        return QIcon::fromTheme(member.isDirectory ? QStringLiteral("folder")
                                                   : QStringLiteral("text-x-generic"));
    if (role != Qt::DisplayRole && role != Qt::ToolTipRole)
        return {};
    if (index.column() == name)
        return shown(member.name);
    return member.isDirectory ? QString(QStringLiteral("—")) : shownBytes(member.size);
}

QVariant ArchiveMembersModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal)
        return {};
    if (role == Qt::TextAlignmentRole)
        return static_cast<int>((section == size ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter);
    if (role == Qt::DisplayRole)
        return section == name ? QStringLiteral("Name") : QStringLiteral("Size");
    return {};
}

QString summaryOf(const PreviewArchive& archive) {
    auto text = shownCount(archive.files, "file", "files");
    if (archive.folders > 0)
        text += QStringLiteral(" in ") + shownCount(archive.folders, "folder", "folders");
    text += QStringLiteral(" · ") + shownBytes(archive.bytes) + QStringLiteral(" when extracted");
    if (!archive.isWhole())
        text += QStringLiteral(" · The first ") + shownCount(archive.members.size(), "is", "are") +
                QStringLiteral(" shown.");
    return text;
}

ArchiveListView::ArchiveListView(QWidget* parent)
    : QWidget(parent), model_(new ArchiveMembersModel(this)), list_(new QTreeView(this)),
      summary_(new QLabel(this)) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(Space::large, Space::large, Space::large, Space::medium);
    column->setSpacing(Space::small);
    list_->setObjectName(QStringLiteral("archiveMembers"));
    list_->setAccessibleName(QStringLiteral("Contents of the archive"));
    list_->setModel(model_);
    list_->setItemDelegate(new RowDelegate(list_));
    list_->setUniformRowHeights(true);
    list_->setRootIsDecorated(false);
    list_->setTextElideMode(Qt::ElideMiddle);
    list_->setSelectionMode(QAbstractItemView::SingleSelection);
    list_->header()->setStretchLastSection(false);
    list_->header()->setSectionResizeMode(ArchiveMembersModel::name, QHeaderView::Stretch);
    list_->header()->resizeSection(ArchiveMembersModel::size, sizeWidth);
    column->addWidget(list_, 1);
    summary_->setObjectName(QStringLiteral("secondary"));
    summary_->setTextFormat(Qt::PlainText);
    summary_->setWordWrap(true);
    column->addWidget(summary_);
}

void ArchiveListView::setArchive(PreviewArchive archive) {
    summary_->setText(summaryOf(archive));
    model_->setArchive(std::move(archive));
    list_->scrollToTop();
}

} // namespace morv
