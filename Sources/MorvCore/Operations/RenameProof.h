// Carries what is known of a file's content across a rename of ours.
//
// A rename changes the change time, so a digest kept under the old stat record is lost, and a file that is
// moved would be read again only to learn that it is the same. A read lease held from before the rename on
// proves that nobody has written to it since (ReadLease.h).
//
// Threading   confined to the thread that runs the operation
#pragma once

#include "MorvCore/Operations/TreePass.h"
#include "MorvCore/Platform/Descriptor.h"
#include "MorvCore/Platform/ReadLease.h"

#include <optional>

namespace morv {

class RenameProof {
public:
    /// Made before the reading whose result it is to carry.
    /// `descriptor`: the file, open for reading only, or none; kept for as long as this lives.
    explicit RenameProof(Descriptor descriptor);
    /// Opens `url` itself, never through a link. No file there, or not readable: nothing will be proved.
    static RenameProof of(const FileURL& url);

    /// `known` was read since this was made; the file has been renamed since. What is true of it now, or
    /// nothing when that cannot be proved.
    std::optional<ReadFile> afterRename(const std::optional<ReadFile>& known) const;

    /// Keeps what afterRename() gave for later readings, if it is still proved. Waits, a few milliseconds at
    /// most, until the clock has left the file's new change time, so that any later change must show a later
    /// one; therefore only files whose reading would cost more are kept.
    void keep(const ReadFile& file, ContentDigestCache& cache) const;

private:
    struct Held {
        explicit Held(Descriptor opened);
        Descriptor descriptor;
        bool trusted;
        bool timesShowEveryChange;
        ReadLease lease;
    };
    /// A lease says nothing of attributes, and the rename's new change time hides when they were set.
    bool hasAttributesOf(const CachedFile& file) const;

    std::unique_ptr<Held> held_;
};

} // namespace morv
