// What a drag of files carries, and the rule by which it ends: values and pure functions, nothing is looked up.
//
// The rule    Within a volume a drop moves, to another volume it copies, so that nobody loses an original by
//             carrying it to a stick. Ctrl copies, Shift moves, Ctrl+Shift links. While it is not known which
//             volume is which, a drop copies: that is the answer that can only cost space.
// Outside     What another program drags is bytes from a stranger. It is taken only as a list of local files,
//             and nothing is done with them that their program does not offer.
#pragma once

#include "MorvCore/Foundation/FileURL.h"
#include "MorvCore/Foundation/UUID.h"
#include "MorvCore/Operations/OperationPlanning.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace morv {

enum class DropAct : std::uint8_t { none, copy, move, link, trash, reference, favourite };
/// What the keys under the hand ask for.
enum class DragWish : std::uint8_t { byVolume, copy, move, link };
enum class VolumeRelation : std::uint8_t { unknown, same, other };

/// What the program that drags lets happen to its files.
struct DragPermit {
    bool copy = true;
    bool move = true;
    bool link = true;

    friend bool operator==(const DragPermit&, const DragPermit&) = default;
};

/// Where a drop would go.
struct DropPlace {
    enum class Kind : std::uint8_t { folder, trash, workspace, favourites };

    static DropPlace into(const FileURL& folder) { return {Kind::folder, folder.asFolder(), {}, 0}; }
    static DropPlace intoTrash() { return {Kind::trash, {}, {}, 0}; }
    static DropPlace intoWorkspace(const UUID& id) { return {Kind::workspace, {}, id, 0}; }
    /// Before the favourite of this index, or behind the last.
    static DropPlace amongFavourites(std::size_t index) { return {Kind::favourites, {}, {}, index}; }

    Kind kind = Kind::folder;
    FileURL folder;
    UUID workspace;
    std::size_t index = 0;

    friend bool operator==(const DropPlace&, const DropPlace&) = default;
};

namespace FileDrag {

/// MIME types and bytes. Paths are escaped from their bytes, so that every name survives.
std::vector<std::pair<std::string, std::string>> contents(const std::vector<FileURL>& files);
/// The local files of a "text/uri-list", each once, in its order. The root of all is none of them.
std::vector<FileURL> filesIn(std::string_view uriList);

/// Of the drag of `files` into `folder`; none when it would do nothing, or put a folder into itself.
DropAct actInto(const FileURL& folder, const std::vector<FileURL>& files, DragWish wish, DragPermit permit,
                VolumeRelation relation);
/// The operation for an act of actInto(), trash included.
OperationRequest request(DropAct act, std::vector<FileURL> files, const FileURL& folder);

} // namespace FileDrag

} // namespace morv
