// Everything that an archive of an item will hold, and whether Morv could extract that archive again.
//
// Invariants  I1  made => an archive of it passes SafeArchiveService::validate by its names, kinds and sizes
//             I2  items stand in the order of the archive: depth first, children by canonicalOrder, parents
//                 before children, the item itself first
// Links       every component is opened relative to its parent's descriptor and never through a link
// Memory      a name and a stat record for each of at most 65,534 items; as many descriptors as the tree is
//             deep, at most 128
// Errors      FileOperationError (unsupported, with the item and the reason; changed), PosixError with the whole
//             path, CancellationError. Looks at `stop` before every item
// Threading   a value
#pragma once

#include "MorvCore/Foundation/FileURL.h"
#include "MorvCore/Platform/Descriptor.h"
#include "MorvCore/Platform/FileStat.h"

#include <cstddef>
#include <stop_token>
#include <string>
#include <vector>

namespace morv {

struct SurveyedItem {
    std::string name;       ///< the last component
    std::size_t parent = 0; ///< its place among the items; the first one's is its own
    FileStat info;
    bool hasSidecar = false; ///< carries "user.*" attributes, which get a member of their own
};

class ArchiveSurvey {
public:
    ArchiveSurvey(const FileURL& source, const std::stop_token& stop);

    const std::vector<SurveyedItem>& items() const { return items_; }
    /// The folder in which the source stands.
    int base() const { return base_.get(); }
    /// The name of an item's member, without the trailing "/" of a folder.
    std::string memberName(std::size_t index) const;
    /// The item's own place, for messages.
    FileURL shown(std::size_t index) const;

private:
    FileURL source_;
    Descriptor base_;
    std::vector<SurveyedItem> items_;
};

/// How every refusal to pack reads. `member` is a member's name.
[[noreturn]] void refusePacking(const std::string& member, const std::string& reason);

} // namespace morv
