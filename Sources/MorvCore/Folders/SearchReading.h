// One folder of a search: its names matched before anything is statted.
//
// Threading   a SearchReader is safe to share between the threads that read; a SearchReading is a value
#pragma once

#include "MorvCore/Folders/CreativePinnedDirectory.h"
#include "MorvCore/Folders/FileEntry.h"
#include "MorvCore/Folders/SearchService.h"
#include "MorvCore/Foundation/Mutex.h"
#include "MorvCore/Foundation/TextSearch.h"

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace morv {

/// A folder that waits for its turn.
struct SearchFolder {
    std::shared_ptr<const FileURL> url;
    std::string relative; ///< below the root, "." for the root itself
};

struct SearchReading {
    enum class Type : std::uint8_t { file, folder, package };
    struct Item {
        std::uint32_t nameStart = 0;
        std::uint16_t nameLength = 0; ///< bytes
        Type type = Type::file;
    };
    /// An item whose name matches.
    struct Match {
        std::size_t item = 0;
        std::optional<FileEntry> entry; ///< none when its tags do not match, or it vanished
        bool vanished = false;
    };

    std::string names;
    std::vector<Item> items;
    std::vector<Match> matches;
    std::vector<std::size_t> folders; ///< indexes of items to enter, in nameOrder
    std::int64_t vanished = 0;        ///< matches that were gone when they were to be read
    bool hasEntries = false;          ///< false: there were more matches than the limit leaves room for
    Descriptor directory;             ///< kept open only when entries are still to be read
    std::exception_ptr failure;       ///< the folder could not be read; the rest means nothing then

    std::string_view name(std::size_t item) const {
        return std::string_view(names).substr(items[item].nameStart, items[item].nameLength);
    }
    bool rejected(const Match& match) const { return hasEntries && !match.vanished; }
};

class SearchReader {
public:
    /// `request.query` is trimmed. `observer` and `stop` outlive the reader's calls.
    SearchReader(std::shared_ptr<const CreativePinnedDirectory> root, const SearchRequest& request,
                 const SearchService::FolderObserver& observer, const std::stop_token& stop);

    /// Entries are read when there are at most `room` matches. What fails stands in the reading, except for
    /// CancellationError, which is thrown.
    SearchReading read(const SearchFolder& folder, std::size_t room);
    /// One item of a reading that has no entries; nothing when it vanished.
    std::optional<FileEntry> entry(const SearchFolder& folder, const SearchReading& reading,
                                   std::size_t item) const;
    bool hasTags(const FileEntry& entry) const;
    /// Throws FileOperationError::changed unless the folder's path still leads to what was read.
    void validate(const SearchFolder& folder, const SearchReading& reading) const;

    enum class Of : std::uint8_t { everything, folders };
    /// Indexes of items in nameOrder.
    std::vector<std::size_t> inOrder(const SearchReading& reading, Of which) const;

private:
    void readNames(const SearchFolder& folder, SearchReading& reading);
    void readEntries(const SearchFolder& folder, SearchReading& reading) const;
    std::unique_ptr<TextSearch> borrowMatcher();
    void giveBack(std::unique_ptr<TextSearch> matcher);

    std::shared_ptr<const CreativePinnedDirectory> root_;
    const std::string query_;
    std::vector<std::string> tagKeys_;
    const HiddenItems hidden_;
    const SearchService::FolderObserver& observer_;
    const std::stop_token& stop_;
    Mutex mutex_;
    std::vector<std::unique_ptr<TextSearch>> matchers_ MORV_GUARDED_BY(mutex_);
};

} // namespace morv
