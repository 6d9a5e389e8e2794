// Searching a tree of folders by name and tags, straight from the disk: no index, no cache.
//
// Order       folders are visited breadth first, the items of each in DirectoryService::nameOrder
// Invariants  I1  counts, issues, order and the place where a limit stops the walk are those of a walk that
//                 reads one item after the other, however many threads read ahead
//             I2  no link is followed below the root, no package entered, nothing outside this disk asked
//             for
//             I3  a limit that stopped the walk says so
// Threading   safe to share; a search blocks its caller and reads on up to two threads of its own
//
// Errors      FileOperationError::unsupported "Choose a physical folder as the search location.";
//             PosixError or FileOperationError when the root cannot be read; CancellationError, looked for at
//             every name, entry and folder. A folder below the root that cannot be read is an issue and no
//             error.
#pragma once

#include "MorvCore/Folders/DirectoryService.h"
#include "MorvCore/Folders/ScanIssue.h"
#include "MorvCore/Foundation/UUID.h"

#include <cstdint>
#include <functional>
#include <stop_token>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace morv {

struct SearchRequest {
    FileURL root;
    std::string query;             ///< white space at its ends does not count; empty: every name
    std::vector<std::string> tags; ///< an item carries all of them; case makes no difference
    HiddenItems hidden = HiddenItems::skip;
    std::int64_t limit = 10000;
};

struct SearchResult {
    std::vector<FileEntry> entries; ///< in nameOrder
    std::int64_t scannedCount = 0;  ///< items examined
    std::int64_t skippedCount = 0;  ///< folders that could not be read
    std::vector<ScanIssue> issues;  ///< one for each skipped folder, in the order of the walk
    bool truncated = false;         ///< the limit was reached: there may be more
};
std::string toJSON(const SearchResult& result);

/// A search kept by name. All keys are required in JSON.
struct SavedSearch {
    UUID id;
    std::string name;
    FileURL root;
    std::string query;
    std::vector<std::string> tags;
    bool showHidden = false;

    friend bool operator==(const SavedSearch&, const SavedSearch&) = default;
};
std::string toJSON(const SavedSearch& search);
void fromJSON(std::string_view text, SavedSearch& search);

class SearchService {
public:
    /// Called with each folder just before it is read, on the thread that reads it; for observing and
    /// interleaving in tests. What it throws is a failure of that folder.
    using FolderObserver = std::function<void(const FileURL&)>;

    explicit SearchService(FolderObserver observer = {}) : observer_(std::move(observer)) {}

    /// A limit below 1 finds nothing and is truncated at once.
    SearchResult search(const SearchRequest& request, const std::stop_token& stop) const;

private:
    FolderObserver observer_;
};

} // namespace morv
