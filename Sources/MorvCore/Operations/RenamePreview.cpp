#include "MorvCore/Operations/RenamePreview.h"

#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Operations/OperationFiles.h"

#include <fmt/format.h>
#include <unordered_set>

namespace morv {

namespace {

void replaceAll(std::string& text, std::string_view token, std::string_view value) {
    for (std::size_t at = 0; (at = text.find(token, at)) != std::string::npos; at += value.size())
        text.replace(at, token.size(), value);
}

bool isAllowed(std::string_view name) {
    try {
        OperationFiles::validateName(name);
        return true;
    } catch (const FileOperationError&) {
        return false;
    }
}

/// Whether the name on disk is the item's own, in another spelling of its case.
bool isItself(const FileURL& source, const FileURL& destination, const FileStat& found) {
    if (pathKey(source.path()) != pathKey(destination.path()))
        return false;
    const auto own = statIfPresent(source);
    return own && own->identity() == found.identity();
}

} // namespace

std::string nameFromPattern(std::string_view pattern, const FileURL& source, std::size_t number) {
    std::string name(pattern);
    replaceAll(name, "{name}", source.stem());
    replaceAll(name, "{ext}", source.extension());
    replaceAll(name, "{n}", fmt::format("{}", number));
    return name;
}

std::vector<RenamePreview> previewRename(const std::vector<FileURL>& sources, std::string_view pattern,
                                         const std::stop_token& stop) {
    std::vector<RenamePreview> previews;
    previews.reserve(sources.size());
    std::unordered_set<std::string> claimed;
    for (const auto& source : sources) {
        checkCancelled(stop);
        auto& preview = previews.emplace_back();
        preview.name =
            sources.size() > 1 ? nameFromPattern(pattern, source, previews.size()) : std::string(pattern);
        if (!isAllowed(preview.name)) {
            preview.problem = RenamePreview::Problem::forbidden;
            continue;
        }
        if (preview.name == source.lastComponent()) {
            preview.problem = RenamePreview::Problem::unchanged;
            continue;
        }
        const auto destination = source.parent().child(preview.name);
        const bool isClaimed = !claimed.insert(pathKey(destination.path())).second;
        const auto found = statIfPresent(destination);
        if (isClaimed || (found && !isItself(source, destination, *found)))
            preview.problem = RenamePreview::Problem::taken;
    }
    return previews;
}

} // namespace morv
