#include "MorvApp/Model/FileDrag.h"

#include "MorvApp/Model/FileClipboard.h"
#include "MorvCore/Foundation/Unicode.h"

#include <algorithm>
#include <unordered_set>

namespace morv {

namespace {

DropAct wanted(DragWish wish, VolumeRelation relation) {
    switch (wish) {
    case DragWish::copy:
        return DropAct::copy;
    case DragWish::move:
        return DropAct::move;
    case DragWish::link:
        return DropAct::link;
    case DragWish::byVolume:
        break;
    }
    return relation == VolumeRelation::same ? DropAct::move : DropAct::copy;
}

/// What is not allowed becomes a copy, or nothing.
DropAct permitted(DropAct act, DragPermit permit) {
    if ((act == DropAct::move && permit.move) || (act == DropAct::link && permit.link))
        return act;
    return permit.copy ? DropAct::copy : DropAct::none;
}

bool isIn(const FileURL& folder, const FileURL& file) {
    return file.parent() == folder;
}

} // namespace

std::vector<std::pair<std::string, std::string>> FileDrag::contents(const std::vector<FileURL>& files) {
    std::string list;
    std::string plain;
    for (const auto& file : files) {
        list += file.absoluteString() + "\r\n";
        if (!plain.empty())
            plain += '\n';
        plain += displayText(file.path());
    }
    return {{FileClipboard::uriListType, std::move(list)}, {FileClipboard::plainTextType, std::move(plain)}};
}

std::vector<FileURL> FileDrag::filesIn(std::string_view uriList) {
    auto files = FileClipboard::urlsIn(uriList);
    std::unordered_set<FileURL> seen;
    std::erase_if(files, [&seen](const FileURL& file) { return file.isRoot() || !seen.insert(file).second; });
    return files;
}

DropAct FileDrag::actInto(const FileURL& folder, const std::vector<FileURL>& files, DragWish wish,
                          DragPermit permit, VolumeRelation relation) {
    const bool isIntoItself =
        std::ranges::any_of(files, [&folder](const FileURL& file) { return folder.isWithin(file); });
    if (files.empty() || isIntoItself)
        return DropAct::none;
    const bool allThere =
        std::ranges::all_of(files, [&folder](const FileURL& file) { return isIn(folder, file); });
    // A hand that slips within a folder means nothing by it; only a key says that it does.
    if (allThere && (wish == DragWish::byVolume || wish == DragWish::move))
        return DropAct::none;
    return permitted(wanted(wish, relation), permit);
}

OperationRequest FileDrag::request(DropAct act, std::vector<FileURL> files, const FileURL& folder) {
    OperationRequest request;
    if (act == DropAct::trash) {
        request.kind = OperationKind::trash;
        request.sources = std::move(files);
        return request;
    }
    request.kind = act == DropAct::move   ? OperationKind::move
                   : act == DropAct::link ? OperationKind::alias
                                          : OperationKind::copy;
    if (act == DropAct::move)
        // Those of a mixed selection that are there already stay.
        std::erase_if(files, [&folder](const FileURL& file) { return isIn(folder, file); });
    else if (act == DropAct::copy &&
             std::ranges::all_of(files, [&folder](const FileURL& file) { return isIn(folder, file); }))
        request.kind = OperationKind::duplicate;
    request.sources = std::move(files);
    request.destination = folder;
    return request;
}

} // namespace morv
