// One worker's way through a staging folder: from folder to folder, none of them reached by a link.
//
// Every component is made, or opened, relative to its parent's open descriptor. The folders of the last path
// stay open, so that whatever stands beside the last item costs no call, up to a number of descriptors that
// no archive can raise.
//
// Threading   ExtractionBudget is safe to share, ExtractionFolders confined to one thread
#pragma once

#include "MorvCore/Foundation/FileURL.h"
#include "MorvCore/Platform/Descriptor.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace morv {

/// How many items may still be made below one staging folder.
class ExtractionBudget {
public:
    static constexpr const char* exceeded = "The extracted archive exceeded Morv's safety limits.";

    explicit ExtractionBudget(std::int64_t items) : left_(items) {}

    /// Counts one item that is about to be made. Throws FileOperationError::unsupported when it is one too
    /// many.
    void take();
    /// The item was there already.
    void giveBack() { ++left_; }

private:
    std::atomic<std::int64_t> left_;
};

class ExtractionFolders {
public:
    /// `staging` is open and stays so; `shown` is where it is.
    ExtractionFolders(int staging, const FileURL& shown, ExtractionBudget& budget);

    /// The folder `path` below staging ("a/b"; staging itself when empty), for the time until the next call.
    /// Throws PosixError; ENOTDIR or ELOOP where a link or a file is in the way.
    int open(std::string_view path);
    /// As `open`, and makes what is missing, with the permissions that the process gives to new folders.
    /// Throws FileOperationError::collision when something else is in the way.
    int make(std::string_view path);

    /// Counts a file that is about to be made; throws as ExtractionBudget::take.
    void takeItem() { budget_.take(); }

    /// Tells why the archive's item `name` could not be made, by `code` of errno: FileOperationError::collision
    /// (something that the archive does not have stands there), unsupported (the volume has no such names), or
    /// PosixError.
    [[noreturn]] void refuse(int code, std::string_view name) const;

private:
    enum class Missing : std::uint8_t { make, refuse };
    struct Level {
        std::string name;
        Descriptor folder; ///< closed at depths that nobody usually has
    };

    int reach(std::string_view path, Missing missing);
    Descriptor enter(const std::string& name, std::string_view path, Missing missing);
    int current() const { return levels_.empty() ? staging_ : levels_.back().folder.get(); }

    const int staging_;
    const FileURL& shown_;
    ExtractionBudget& budget_;
    std::vector<Level> levels_;
    std::vector<std::string_view> pieces_; ///< of the path that is being reached
};

} // namespace morv
