#include "MorvApp/Views/Inspector/InspectorFacts.h"

#include "MorvApp/Views/Theme/Text.h"
#include "MorvCore/Foundation/ByteCount.h"

#include <QLocale>
#include <QStringList>

namespace morv {

namespace {

using Tone = ValueText::Tone;

const QString separator = QStringLiteral(" · ");

QString exactBytes(std::int64_t bytes) {
    return QLocale().toString(static_cast<qlonglong>(bytes)) + QLatin1String(bytes == 1 ? " byte" : " bytes");
}

Fact sizeOf(const ItemInformation& information, const std::optional<FolderInsight>& insight) {
    const auto& entry = information.entry;
    if (!entry.isNavigable()) {
        auto text = ours(formatByteCount(entry.size));
        if (entry.size >= 1000)
            text += QStringLiteral(" (%1)").arg(exactBytes(entry.size));
        // Holes and compression are worth a word; the rest of the last block is not.
        if (information.isRegular && information.allocated < entry.size - entry.size / 8)
            text += QStringLiteral(", %1 on the volume").arg(ours(formatByteCount(information.allocated)));
        return {QStringLiteral("Size"), text};
    }
    if (!insight)
        return {QStringLiteral("Size"), QStringLiteral("Calculating…"), Tone::secondary};
    if (insight->error)
        return {QStringLiteral("Size"), QStringLiteral("Unavailable"), Tone::secondary};
    return {QStringLiteral("Size"), ours(insight->sizeLabel()) + separator + ours(insight->countLabel())};
}

} // namespace

QString kindLine(const ItemInformation& information, const std::optional<FolderInsight>& insight) {
    const auto& entry = information.entry;
    if (!entry.isNavigable())
        return shownKind(entry) + separator + ours(formatByteCount(entry.size));
    return insight && !insight->error ? QStringLiteral("Folder") + separator + ours(insight->countLabel())
                                      : QStringLiteral("Folder");
}

std::vector<Fact> generalFacts(const ItemInformation& information,
                               const std::optional<FolderInsight>& insight) {
    const auto& entry = information.entry;
    std::vector<Fact> facts{sizeOf(information, insight)};
    // The size of a folder never reads as more certain than it is.
    if (insight && !insight->error)
        facts.push_back({QStringLiteral("Counted"), ours(insight->coverage()), Tone::secondary});
    facts.push_back({QStringLiteral("Where"), shownPath(entry.url().parent())});
    if (entry.addedAt)
        facts.push_back({QStringLiteral("Created"), shownDate(*entry.addedAt)});
    if (entry.modifiedAt)
        facts.push_back({QStringLiteral("Modified"), shownDate(*entry.modifiedAt)});
    facts.push_back({QStringLiteral("Accessed"), shownDate(information.accessed)});
    return facts;
}

std::vector<Fact> permissionFacts(const ItemInformation& information) {
    const auto& permissions = information.permissions;
    std::vector<Fact> facts;
    if (information.linkTarget) {
        facts.push_back({QStringLiteral("Access"), QStringLiteral("A link has the permissions of its target"),
                         Tone::secondary});
    } else {
        facts.push_back({QStringLiteral("Access"), shown(permissionSentence(permissions))});
        facts.push_back({QStringLiteral("Mode"), ours(permissionSymbols(permissions.mode)) +
                                                     QLatin1Char(' ') +
                                                     ours(permissionNumber(permissions.mode))});
    }
    facts.push_back({QStringLiteral("Owner"), shown(permissions.owner) + separator +
                                                  QStringLiteral("group ") + shown(permissions.group)});
    return facts;
}

std::vector<Fact> furtherFacts(const ItemInformation& information) {
    std::vector<Fact> facts;
    if (information.linkTarget)
        facts.push_back({QStringLiteral("Leads to"), shown(*information.linkTarget),
                         information.leadsNowhere ? Tone::warning : Tone::plain});
    if (information.isRegular && information.links > 1)
        facts.push_back({QStringLiteral("Names"), shownCount(information.links, "name of this file",
                                                             "names of this file on the volume")});
    if (information.origin)
        facts.push_back({QStringLiteral("From"), shown(*information.origin)});
    if (information.referrer && information.referrer != information.origin)
        facts.push_back({QStringLiteral("Found on"), shown(*information.referrer)});
    if (const auto& mount = information.mount) {
        auto text = mount->root.isRoot() ? QStringLiteral("System volume") : shownPath(mount->root);
        text += separator + shown(mount->type);
        if (!mount->source.empty())
            text += separator + shown(mount->source);
        if (mount->isReadOnly)
            text += separator + QStringLiteral("read-only");
        facts.push_back({QStringLiteral("Volume"), text});
    }
    facts.push_back(
        {QStringLiteral("Identity"), ours(information.entry.resourceIdentity()), Tone::secondary});
    return facts;
}

QString noteLine(const ItemInformation& information) {
    QStringList notes;
    if (information.isHidden)
        notes << QStringLiteral("Hidden");
    if (information.entry.availability == FileAvailability::notDownloaded)
        notes << QStringLiteral("Stored in the cloud, not on this computer");
    if (information.leadsNowhere)
        notes << QStringLiteral("Its target does not exist");
    return notes.join(separator);
}

QString countLine(const SelectionSummary& summary) {
    const auto files = summary.count - summary.folders;
    if (summary.folders == 0 || files == 0)
        return shownCount(summary.count, files ? "file" : "folder", files ? "files" : "folders");
    return shownCount(summary.folders, "folder", "folders") + QStringLiteral(" and ") +
           shownCount(files, "file", "files");
}

std::vector<Fact> summaryFacts(const SelectionSummary& summary) {
    auto size = ours(formatByteCount(summary.bytes));
    if (summary.folders > 0)
        size += QStringLiteral(", without what the folders hold");
    std::vector<Fact> facts{{QStringLiteral("Size"), size}};
    for (const auto& [kind, count] : summary.kinds)
        facts.push_back({ours(title(kind)), QLocale().toString(static_cast<qulonglong>(count))});
    return facts;
}

} // namespace morv
