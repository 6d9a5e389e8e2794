#include "MorvCore/Operations/OperationPlanning.h"

#include "MorvCore/Folders/FileTagMetadata.h"
#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Operations/OperationFiles.h"
#include "MorvCore/Operations/RenamePreview.h"
#include "MorvCore/Operations/SafeArchiveService.h"
#include "MorvCore/Operations/TreePass.h"
#include "MorvCore/Platform/VolumeNumber.h"

#include <algorithm>
#include <fcntl.h>
#include <fmt/format.h>
#include <unordered_map>
#include <unordered_set>

namespace morv {

namespace {

std::string shownName(const FileURL& url) {
    return displayText(url.lastComponent());
}

bool hasZIPExtension(const FileURL& url) {
    std::string extension(url.extension());
    std::ranges::transform(extension, extension.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension == "zip";
}

class Planner {
public:
    Planner(const OperationRequest& request, ContentDigestCache* cache, const std::stop_token& stop,
            const ProgressMeter::Observer& progress)
        : request_(request), cache_(cache), stop_(stop), id_(UUID::random()),
          progress_(id_, ProgressMeter::Items::found, progress) {}

    FileOperationPlan plan();

private:
    void normalizeSources();
    void checkKind() const;
    void checkNesting() const;
    FileOperationItem makeNewFolder();
    FileOperationItem makeItem(const FileURL& source, std::size_t number);
    std::optional<FileURL> destinationFor(const FileURL& source, std::size_t number) const;
    std::string resolvedName(const FileURL& source, std::size_t number) const;
    void checkPlacement(const FileURL& source, const FileURL& destination,
                        const FileFingerprint& fingerprint) const;
    void resolveCollision(FileOperationItem& item);
    bool isOccupied(const FileOperationItem& item) const;
    std::string parentIdentity(const FileURL& destination);
    void warnOfTheWhole(const std::vector<FileOperationItem>& items);

    const OperationRequest& request_;
    ContentDigestCache* cache_;
    const std::stop_token& stop_;
    const UUID id_;
    ProgressMeter progress_;
    std::vector<FileURL> sources_;
    std::optional<FileURL> folder_;
    std::set<std::string> reserved_;
    OperationFiles::NumberedNames numberedNames_;
    std::vector<std::string> warnings_;
    std::unordered_map<FileURL, std::string> parentIdentities_;
};

FileOperationPlan Planner::plan() {
    normalizeSources();
    checkKind();
    checkNesting();
    if (request_.destination)
        folder_ = OperationFiles::directory(*request_.destination);

    FileOperationPlan plan;
    plan.id = id_;
    plan.kind = request_.kind;
    plan.collision = request_.collision;
    plan.items.reserve(std::max<std::size_t>(1, sources_.size()));
    if (request_.kind == OperationKind::newFolder) {
        plan.items.push_back(makeNewFolder());
    } else {
        for (std::size_t i = 0; i < sources_.size(); ++i)
            plan.items.push_back(makeItem(sources_[i], i + 1));
    }
    warnOfTheWhole(plan.items);

    plan.createdAt = Date::now();
    plan.warnings = std::move(warnings_);
    plan.tags = request_.tags;
    std::ranges::sort(plan.tags, canonicallyLess);
    plan.tags.erase(std::unique(plan.tags.begin(), plan.tags.end()), plan.tags.end());
    progress_.setPhase(OperationPhase::finished);
    progress_.report();
    return plan;
}

void Planner::normalizeSources() {
    std::unordered_set<std::string> seen;
    bool isTwice = false;
    for (const auto& source : request_.sources) {
        sources_.push_back(OperationFiles::normalized(source));
        isTwice |= !seen.insert(sources_.back().path()).second;
    }
    if (isTwice)
        throw FileOperationError::invalid("A file was selected more than once.");
}

void Planner::checkKind() const {
    if (request_.kind == OperationKind::newFolder) {
        if (!sources_.empty())
            throw FileOperationError::invalid("New Folder does not accept source files.");
        return;
    }
    if (sources_.empty())
        throw FileOperationError::invalid("Select at least one file.");
    if (request_.kind == OperationKind::extractZIP && !std::ranges::all_of(sources_, hasZIPExtension))
        throw FileOperationError::unsupported("Only ZIP archives can be extracted.");
    if (request_.kind == OperationKind::rename && !request_.newName)
        throw FileOperationError::invalid("Enter a new name.");
}

void Planner::checkNesting() const {
    std::unordered_set<std::string_view> paths;
    for (const auto& source : sources_)
        paths.insert(source.path());
    for (const auto& source : sources_) {
        const std::string_view path = source.path();
        for (auto slash = path.rfind('/'); slash != 0 && slash != std::string_view::npos;
             slash = path.rfind('/', slash - 1))
            if (paths.contains(path.substr(0, slash)))
                throw FileOperationError::invalid(
                    "Select a folder or its contents, rather than both in the same operation.");
    }
}

FileOperationItem Planner::makeNewFolder() {
    if (!folder_)
        throw FileOperationError::invalid("Choose a location for the new folder.");
    const auto name = request_.newName.value_or("Untitled Folder");
    OperationFiles::validateName(name);
    FileOperationItem item;
    item.id = UUID::random();
    item.destination = folder_->child(name).asFolder();
    resolveCollision(item);
    item.destinationParentIdentity = parentIdentity(*item.destination);
    return item;
}

FileOperationItem Planner::makeItem(const FileURL& source, std::size_t number) {
    checkCancelled(stop_);
    progress_.setName(shownName(source));
    FileOperationItem item;
    item.id = UUID::random();
    item.source = source;
    // Before every byte of it is read.
    if (request_.kind == OperationKind::compressZIP)
        SafeArchiveService::checkCanPack(source, stop_);
    item.fingerprint = readFingerprint(source, {stop_, cache_, &progress_});
    item.destination = destinationFor(source, number);
    if (request_.kind == OperationKind::extractZIP)
        SafeArchiveService::validate(source, stop_);
    if (item.destination) {
        checkPlacement(source, *item.destination, *item.fingerprint);
        resolveCollision(item);
        item.destinationParentIdentity = parentIdentity(*item.destination);
    }
    if (request_.kind == OperationKind::tags)
        item.originalTags = FileTagMetadata::names(source);
    return item;
}

std::string Planner::resolvedName(const FileURL& source, std::size_t number) const {
    auto name = sources_.size() > 1 ? nameFromPattern(*request_.newName, source, number) : *request_.newName;
    OperationFiles::validateName(name);
    return name;
}

std::optional<FileURL> Planner::destinationFor(const FileURL& source, std::size_t number) const {
    const auto folder = folder_.value_or(source.parent());
    const std::string name(source.lastComponent());
    switch (request_.kind) {
    case OperationKind::copy:
    case OperationKind::move:
        if (!folder_)
            throw FileOperationError::invalid("Choose a destination folder.");
        return folder.child(name);
    case OperationKind::duplicate:
        return folder.child(name);
    case OperationKind::rename:
        return source.parent().child(resolvedName(source, number));
    case OperationKind::alias:
        return folder.child(name + " alias");
    case OperationKind::compressZIP:
        return folder.child(name + ".zip");
    case OperationKind::extractZIP:
        return folder.child(source.stem()).asFolder();
    case OperationKind::trash:
    case OperationKind::tags:
    case OperationKind::newFolder:
        break;
    }
    return std::nullopt;
}

void Planner::checkPlacement(const FileURL& source, const FileURL& destination,
                             const FileFingerprint& fingerprint) const {
    const bool mayCollideWithItself =
        request_.kind == OperationKind::copy || request_.kind == OperationKind::duplicate;
    if (!mayCollideWithItself && source == destination)
        throw FileOperationError::invalid(shownName(source) + " is already at that location.");
    if (fingerprint.kind == "directory" && !(mayCollideWithItself && source == destination) &&
        destination.isWithin(source))
        throw FileOperationError::invalid(
            "A folder cannot be placed inside itself, including through a symbolic link.");
}

bool Planner::isOccupied(const FileOperationItem& item) const {
    const auto key = pathKey(item.destination->path());
    const auto onDisk = statIfPresent(*item.destination);
    const bool isCaseOnly = request_.kind == OperationKind::rename && item.source &&
                            *item.source != *item.destination && pathKey(item.source->path()) == key;
    const bool isItself = isCaseOnly && onDisk && onDisk->identity() == item.fingerprint->identity;
    return (onDisk && !isItself) || reserved_.contains(key);
}

void Planner::resolveCollision(FileOperationItem& item) {
    if (isOccupied(item)) {
        const auto occupied = shownName(*item.destination);
        switch (request_.collision) {
        case CollisionPolicy::keepBoth:
            item.destination = numberedNames_.next(*item.destination, reserved_);
            warnings_.push_back(
                fmt::format("Keep both: {} will be saved as {}.", occupied, shownName(*item.destination)));
            break;
        case CollisionPolicy::skip:
            item.skipReason = fmt::format("A file named {} already exists.", occupied);
            break;
        case CollisionPolicy::fail:
            throw FileOperationError::collision(occupied + " already exists. Choose Keep Both or Skip.");
        }
    }
    reserved_.insert(pathKey(item.destination->path()));
}

std::string Planner::parentIdentity(const FileURL& destination) {
    auto& identity = parentIdentities_[destination.parent()];
    if (identity.empty())
        identity = OperationFiles::identity(destination.parent());
    return identity;
}

void Planner::warnOfTheWhole(const std::vector<FileOperationItem>& items) {
    if (request_.kind == OperationKind::compressZIP && sources_.size() >= 2)
        warnings_.emplace_back("Each selected item will be saved in its own ZIP archive.");
    const bool moves = request_.kind == OperationKind::move;
    const bool copies = request_.kind == OperationKind::copy || request_.kind == OperationKind::duplicate;
    if (!moves && !copies)
        return;

    bool crosses = false, losesMetadata = false;
    std::unordered_map<FileURL, std::optional<FileStat>> parents;
    for (const auto& item : items) {
        if (!item.source || !item.destination)
            continue;
        const auto [parent, isNew] = parents.try_emplace(item.destination->parent());
        if (isNew)
            parent->second = statIfPresent(parent->first);
        const auto& there = parent->second;
        bool leavesItsVolume = false;
        if (moves) {
            const auto here = statIfPresent(*item.source);
            leavesItsVolume = here.has_value() != there.has_value() ||
                              (here && OperationFiles::crossesVolumes(*here, *there));
        }
        crosses |= leavesItsVolume;
        if ((copies || leavesItsVolume) && there)
            losesMetadata |=
                !volumeTraits(there->device, AT_FDCWD, parent->first.path().c_str()).keepsMetadata;
        if ((crosses || copies) && losesMetadata)
            break;
    }
    if (crosses)
        warnings_.emplace_back("This move crosses volumes. After verification, originals will be kept in the "
                               "system Trash for recovery.");
    if (losesMetadata)
        warnings_.emplace_back(
            "The destination volume keeps names and contents, but not every date, permission or "
            "tag. Contents will be verified; the rest may change.");
}

} // namespace

FileOperationPlan planOperation(const OperationRequest& request, ContentDigestCache* cache,
                                const std::stop_token& stop, const ProgressMeter::Observer& progress) {
    return Planner(request, cache, stop, progress).plan();
}

} // namespace morv
