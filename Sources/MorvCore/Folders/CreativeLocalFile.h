// A complete, local regular file held by descriptor.
//
// Protocol    open -> pread from descriptor() -> validate() after the last read, before it is believed
// Invariants  I1  the object exists => every check at its opening passed
//             I2  validate() returned => the file and its entry in the folder are those of the opening
// Threading   immutable; safe to share
//
// Errors      PosixError for a failed call, FileOperationError::changed or unavailable with a sentence.
//             A failed opening leaves nothing open.
#pragma once

#include "MorvCore/Folders/CreativePinnedDirectory.h"
#include "MorvCore/Folders/FileEntry.h"

#include <string>

namespace morv {

/// Lower-cased extensions of downloads that are not finished.
bool isIncompleteDownload(const FileURL& url);

class CreativeLocalFile {
public:
    /// Reads the item's entry, refuses what is not a complete, local regular file, and opens it in its pinned
    /// folder (links in the folder's path are resolved).
    explicit CreativeLocalFile(const FileURL& url);
    /// A file found during a pinned walk: `expected` is what metadata() said of `name` in `parent`; `url` is
    /// only for the entry, whose `kind` is `other` and whose tags are not read.
    CreativeLocalFile(const std::string& name, std::shared_ptr<const CreativePinnedDirectory> parent,
                      const FileStat& expected, const FileURL& url);

    /// Proves that the open file and its entry in the folder are still those of the opening, to the
    /// nanosecond of both times. Changes nothing.
    void validate() const;

    int descriptor() const { return descriptor_.get(); }
    /// As taken right after opening.
    const FileStat& before() const { return before_; }
    const FileEntry& entry() const { return entry_; }
    const std::shared_ptr<const CreativePinnedDirectory>& pinnedParent() const { return pinnedParent_; }

private:
    Descriptor descriptor_;
    FileStat before_;
    FileEntry entry_;
    std::shared_ptr<const CreativePinnedDirectory> pinnedParent_;
};

} // namespace morv
