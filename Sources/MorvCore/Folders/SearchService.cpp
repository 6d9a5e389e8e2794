#include "MorvCore/Folders/SearchService.h"

#include "MorvCore/Folders/FolderReadingCrew.h"
#include "MorvCore/Folders/SearchReading.h"
#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/JSONCoding.h"
#include "MorvCore/Foundation/TextSearch.h"

#include <algorithm>
#include <cerrno>
#include <deque>
#include <exception>
#include <fcntl.h>

namespace morv {

namespace {

std::shared_ptr<const CreativePinnedDirectory> openRoot(const FileURL& url) {
    const auto pinned = CreativePinnedDirectory::open(url);
    const auto entry = DirectoryService::entry(url);
    if (pinned->identity().volume != entry.volume || pinned->identity().inode != entry.inode)
        throw FileOperationError::changed("This folder changed before it could be opened.");
    return pinned;
}

bool isUnknown(const FileURL& url) {
    try {
        static_cast<void>(statItem(url));
        return false;
    } catch (const PosixError& error) {
        return error.code() == EACCES;
    }
}

class Walk {
public:
    Walk(const SearchRequest& request, const SearchService::FolderObserver& observer,
         const std::stop_token& stop)
        : limit_(static_cast<std::size_t>(request.limit)), stop_(stop), root_(openRoot(request.root)),
          reader_(root_, request, observer, stop) {
        queue_.push_back({std::make_shared<const FileURL>(request.root.asFolder()), "."});
    }

    SearchResult run() {
        while (!queue_.empty() && !result_.truncated) {
            checkCancelled(stop_);
            const auto count = std::min(queue_.size(), turn_);
            const auto foundBefore = result_.entries.size();
            std::vector<SearchFolder> folders(
                std::make_move_iterator(queue_.begin()),
                std::make_move_iterator(queue_.begin() + static_cast<std::ptrdiff_t>(count)));
            queue_.erase(queue_.begin(), queue_.begin() + static_cast<std::ptrdiff_t>(count));
            auto readings = read(folders);
            for (std::size_t i = 0; i < count && !result_.truncated; ++i)
                take(folders[i], readings[i]);
            // What a turn reads ahead is wasted when the limit stops the walk within it, and at the end of
            // each turn the threads wait for one another: turns are long while finds are rare.
            const auto found = result_.entries.size() - foundBefore;
            const auto room = limit_ - result_.entries.size();
            turn_ = found * (longTurn / count + 1) <= room ? longTurn : shortTurn;
        }
        checkCancelled(stop_);
        DirectoryService::sortByName(result_.entries, stop_);
        return std::move(result_);
    }

private:
    static constexpr std::size_t shortTurn = 128; ///< folders
    static constexpr std::size_t longTurn = 1024;

    std::vector<SearchReading> read(const std::vector<SearchFolder>& folders) {
        std::vector<SearchReading> readings(folders.size());
        const auto room = limit_ - result_.entries.size();
        const auto work = [&](std::size_t i) { readings[i] = reader_.read(folders[i], room); };
        constexpr std::size_t worthACrew = 32;
        if (folders.size() < worthACrew) {
            for (std::size_t i = 0; i < folders.size(); ++i)
                work(i);
        } else {
            if (!crew_)
                crew_ = std::make_unique<FolderReadingCrew>(root_->descriptor());
            crew_->run(folders.size(), work);
        }
        return readings;
    }

    void take(const SearchFolder& folder, SearchReading& reading) {
        checkCancelled(stop_);
        if (!reading.failure && result_.entries.size() + reading.matches.size() >= limit_ &&
            !reading.matches.empty()) {
            try {
                takeInOrder(folder, reading);
                return;
            } catch (const CancellationError&) {
                throw;
            } catch (const std::exception&) {
                reading.failure = std::current_exception();
            }
        }
        if (reading.failure) {
            skip(folder, reading.failure);
            return;
        }
        result_.scannedCount += static_cast<std::int64_t>(reading.items.size()) - reading.vanished;
        for (auto& match : reading.matches) {
            if (match.entry)
                result_.entries.push_back(std::move(*match.entry));
        }
        descend(folder, reading);
    }

    /// The folder that may reach the limit is examined item by item in the order that a listing has.
    void takeInOrder(const SearchFolder& folder, SearchReading& reading) {
        const auto before = result_.entries.size();
        const auto scannedBefore = result_.scannedCount;
        try {
            std::vector<const SearchReading::Match*> matchOf(reading.items.size(), nullptr);
            for (const auto& match : reading.matches)
                matchOf[match.item] = &match;
            for (const auto item : reader_.inOrder(reading, SearchReader::Of::everything)) {
                checkCancelled(stop_);
                const auto* match = matchOf[item];
                const auto entry = !match               ? std::nullopt
                                   : reading.hasEntries ? match->entry
                                                        : reader_.entry(folder, reading, item);
                const bool vanished = match && !entry && !reading.rejected(*match);
                if (!vanished)
                    ++result_.scannedCount;
                if (!entry || !reader_.hasTags(*entry))
                    continue;
                result_.entries.push_back(*entry);
                if (result_.entries.size() == limit_) {
                    reader_.validate(folder, reading);
                    result_.truncated = true;
                    return;
                }
            }
            reader_.validate(folder, reading);
        } catch (...) {
            result_.entries.resize(before);
            result_.scannedCount = scannedBefore;
            throw;
        }
        descend(folder, reading);
    }

    void skip(const SearchFolder& folder, const std::exception_ptr& failure) {
        if (folder.relative == ".")
            std::rethrow_exception(failure);
        try {
            std::rethrow_exception(failure);
        } catch (const CancellationError&) {
            throw;
        } catch (const PosixError& error) {
            // Below a folder that may be listed but not passed nothing is known of an item, not even that it
            // is a folder: it was counted as an item that cannot be read.
            if (error.code() == EACCES && isUnknown(*folder.url))
                return;
            result_.issues.push_back({*folder.url, PosixError(error.code(), folder.url->path()).what()});
        } catch (const std::exception& error) {
            result_.issues.push_back({*folder.url, error.what()});
        }
        ++result_.skippedCount;
    }

    void descend(const SearchFolder& folder, const SearchReading& reading) {
        const auto prefix = folder.relative == "." ? std::string() : folder.relative + '/';
        for (const auto item : reading.folders) {
            const auto name = reading.name(item);
            queue_.push_back({std::make_shared<const FileURL>(folder.url->child(name).asFolder()),
                              prefix + std::string(name)});
        }
    }

    const std::size_t limit_;
    const std::stop_token& stop_;
    std::shared_ptr<const CreativePinnedDirectory> root_;
    SearchReader reader_;
    std::unique_ptr<FolderReadingCrew> crew_;
    std::deque<SearchFolder> queue_;
    std::size_t turn_ = shortTurn;
    SearchResult result_;
};

} // namespace

SearchResult SearchService::search(const SearchRequest& request, const std::stop_token& stop) const {
    checkCancelled(stop);
    // An automount point is an empty folder until somebody opens it.
    const Descriptor passed(
        ::open(request.root.path().c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    const auto root = DirectoryService::entry(request.root);
    if (!root.isNavigable() || root.isSymbolicLink)
        throw FileOperationError::unsupported("Choose a physical folder as the search location.");
    if (request.limit < 1) {
        SearchResult nothing;
        nothing.truncated = true;
        return nothing;
    }
    if (root.availability != FileAvailability::local || root.isDownloading)
        throw FileOperationError::unavailable("Download this folder before viewing its contents.");
    auto trimmedRequest = request;
    trimmedRequest.query = trimmed(request.query);
    return Walk(trimmedRequest, observer_, stop).run();
}

std::string toJSON(const SearchResult& result) {
    auto entries = json::Value::array();
    for (const auto& entry : result.entries)
        entries.push_back(json::parse(toJSON(entry)));
    auto issues = json::Value::array();
    for (const auto& issue : result.issues)
        issues.push_back(json::parse(toJSON(issue)));
    auto object = json::Value::object();
    object["entries"] = std::move(entries);
    object["issues"] = std::move(issues);
    json::put(object, "scannedCount", result.scannedCount);
    json::put(object, "skippedCount", result.skippedCount);
    json::put(object, "truncated", result.truncated);
    return json::dump(object);
}

std::string toJSON(const SavedSearch& search) {
    auto object = json::Value::object();
    json::put(object, "id", search.id);
    json::put(object, "name", search.name);
    json::put(object, "root", search.root);
    json::put(object, "query", search.query);
    json::put(object, "tags", search.tags);
    json::put(object, "showHidden", search.showHidden);
    return json::dump(object);
}

void fromJSON(std::string_view text, SavedSearch& search) {
    const auto object = json::parse(text);
    SavedSearch read;
    json::take(object, "id", read.id);
    json::take(object, "name", read.name);
    json::take(object, "root", read.root);
    json::take(object, "query", read.query);
    json::take(object, "tags", read.tags);
    json::take(object, "showHidden", read.showHidden);
    search = std::move(read);
}

} // namespace morv
