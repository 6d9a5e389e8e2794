// A folder held by descriptor, with its whole ancestry, so that it can be proved at any time to be still the
// folder that was opened.
//
// Protocol    open() resolves a path once, component by component -> child(), metadata(),
//             CreativeDirectoryCursor work by name below a descriptor, never by a path -> validate() before
//             what was read is believed
// Invariants  I1  nothing below the resolved root follows a symbolic link
//             I2  the chain up to "/" stays open for as long as the leaf lives
// Threading   a CreativePinnedDirectory is immutable and safe to share; a cursor is confined to one thread
//
// Errors      PosixError for a failed call; FileOperationError::changed
//             "A containing folder changed or became a symbolic link. Its contents are unverified."
#pragma once

#include "MorvCore/Foundation/FileURL.h"
#include "MorvCore/Platform/Descriptor.h"
#include "MorvCore/Platform/FileStat.h"

#include <dirent.h>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

namespace morv {

/// Whether a call proves the folder and its ancestors first.
enum class Ancestry : std::uint8_t { trust, validate };

class CreativePinnedDirectory : public std::enable_shared_from_this<CreativePinnedDirectory> {
    struct Key {};

public:
    /// The only entry from a path. Links in `url` are resolved here and never again. An ancestor needs search
    /// permission only; the folder itself must be readable.
    static std::shared_ptr<const CreativePinnedDirectory> open(const FileURL& url);

    /// For open() and child().
    CreativePinnedDirectory(Key, Descriptor descriptor, const FileStat& identity,
                            std::shared_ptr<const CreativePinnedDirectory> parent, std::string name);

    /// Opens one named folder below, after validate(). It must be a real directory, and `expected` when
    /// given.
    std::shared_ptr<const CreativePinnedDirectory> child(const std::string& name,
                                                         const std::optional<FileStat>& expected) const;
    /// What `name` is in this folder; a final link is not followed.
    FileStat metadata(const std::string& name, Ancestry ancestry) const;
    /// Proves, oldest ancestor first, that every name of the chain still leads to the folder that was opened.
    void validate() const;

    int descriptor() const { return descriptor_.get(); }
    /// As taken when the folder was opened.
    const FileStat& identity() const { return identity_; }
    /// Null for the root of the chain.
    const std::shared_ptr<const CreativePinnedDirectory>& parent() const { return parent_; }
    /// The name in the parent; "/" for the root of the chain.
    const std::string& name() const { return name_; }

private:
    std::shared_ptr<const CreativePinnedDirectory> opened(const std::string& name, int flags,
                                                          const std::optional<FileStat>& expected) const;

    Descriptor descriptor_;
    FileStat identity_;
    std::shared_ptr<const CreativePinnedDirectory> parent_;
    std::string name_;
};

/// The names of one pinned folder, each once, without "." and "..", in the order of the file system.
class CreativeDirectoryCursor {
public:
    /// `relativePath` is the caller's own note of where the folder stands in its walk. Throws PosixError.
    CreativeDirectoryCursor(std::shared_ptr<const CreativePinnedDirectory> directory,
                            std::string relativePath);

    /// The next name in bytes; nothing at the end. Throws CancellationError when `stop` was requested.
    std::optional<std::string> next(Ancestry ancestry, const std::stop_token& stop);

    const std::shared_ptr<const CreativePinnedDirectory>& directory() const { return directory_; }
    const std::string& relativePath() const { return relativePath_; }

private:
    struct Close {
        void operator()(DIR* stream) const { ::closedir(stream); }
    };
    std::shared_ptr<const CreativePinnedDirectory> directory_;
    std::string relativePath_;
    std::unique_ptr<DIR, Close> stream_;
};

} // namespace morv
