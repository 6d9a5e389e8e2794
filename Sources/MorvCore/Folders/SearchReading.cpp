#include "MorvCore/Folders/SearchReading.h"

#include "MorvCore/Folders/ChildReading.h"
#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Platform/FolderPassage.h"

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>

namespace morv {

namespace {

struct Close {
    void operator()(DIR* stream) const { ::closedir(stream); }
};

/// Some volumes do not say in the name's record what the item is.
bool isRealDirectory(int directory, const dirent& item) {
    if (item.d_type != DT_UNKNOWN)
        return item.d_type == DT_DIR;
    try {
        return statAt(directory, item.d_name).isDirectory();
    } catch (const PosixError&) {
        return false;
    }
}

std::optional<FileEntry> readMatch(const OpenFolder& folder, const std::string& name) {
    try {
        return readEntry(folder, statAt(folder.directory, name), name);
    } catch (const PosixError& error) {
        if (error.code() == ENOENT)
            return std::nullopt;
        return unavailableEntry(folder.url, name);
    }
}

} // namespace

SearchReader::SearchReader(std::shared_ptr<const CreativePinnedDirectory> root, const SearchRequest& request,
                           const SearchService::FolderObserver& observer, const std::stop_token& stop)
    : root_(std::move(root)), query_(request.query), hidden_(request.hidden), observer_(observer),
      stop_(stop) {
    for (const auto& tag : request.tags)
        tagKeys_.push_back(pathKey(tag));
}

SearchReading SearchReader::read(const SearchFolder& folder, std::size_t room) {
    SearchReading reading;
    try {
        if (observer_)
            observer_(*folder.url);
        readNames(folder, reading);
        reading.folders = inOrder(reading, Of::folders);
        reading.hasEntries = reading.matches.size() <= room;
        if (!reading.matches.empty() && reading.hasEntries) {
            readEntries(folder, reading);
            validate(folder, reading);
        }
        if (reading.hasEntries)
            reading.directory.reset();
    } catch (const CancellationError&) {
        throw;
    } catch (const std::exception&) {
        reading.failure = std::current_exception();
    }
    return reading;
}

void SearchReader::readNames(const SearchFolder& folder, SearchReading& reading) {
    checkCancelled(stop_);
    reading.directory = openFolderBelow(root_->descriptor(), folder.relative);
    // The stream owns its descriptor and shares nothing with ours but the position, which nobody else uses.
    Descriptor streamed(::fcntl(reading.directory.get(), F_DUPFD_CLOEXEC, 0));
    if (!streamed)
        throw PosixError(errno);
    const std::unique_ptr<DIR, Close> stream(::fdopendir(streamed.get()));
    if (!stream)
        throw PosixError(errno);
    streamed.release();

    auto matcher = borrowMatcher();
    bool hasHiddenList = false;
    for (;;) {
        checkCancelled(stop_);
        errno = 0;
        const auto* item = ::readdir(stream.get());
        if (!item) {
            if (errno != 0)
                throw PosixError(errno);
            break;
        }
        const std::string_view name = item->d_name;
        if (name == "." || name == "..")
            continue;
        if (hidden_ == HiddenItems::skip && name.front() == '.') {
            hasHiddenList = hasHiddenList || name == ".hidden";
            continue;
        }
        auto type = SearchReading::Type::file;
        if (isRealDirectory(reading.directory.get(), *item))
            type = isPackageName(name) ? SearchReading::Type::package : SearchReading::Type::folder;
        if (matcher->isFoundIn(name))
            reading.matches.push_back({reading.items.size(), std::nullopt, false});
        reading.items.push_back({static_cast<std::uint32_t>(reading.names.size()),
                                 static_cast<std::uint16_t>(name.size()), type});
        reading.names += name;
    }
    giveBack(std::move(matcher));

    if (!hasHiddenList)
        return;
    const auto listed = readHiddenNames(reading.directory.get());
    std::vector<SearchReading::Item> shown;
    std::vector<SearchReading::Match> matches;
    auto match = reading.matches.begin();
    for (std::size_t i = 0; i < reading.items.size(); ++i) {
        const bool isMatch = match != reading.matches.end() && match->item == i;
        if (isMatch)
            ++match;
        if (listed.contains(std::string(reading.name(i))))
            continue;
        if (isMatch)
            matches.push_back({shown.size(), std::nullopt, false});
        shown.push_back(reading.items[i]);
    }
    reading.items = std::move(shown);
    reading.matches = std::move(matches);
}

void SearchReader::readEntries(const SearchFolder& folder, SearchReading& reading) const {
    const OpenFolder open(reading.directory.get(), folder.url);
    for (auto& match : reading.matches) {
        checkCancelled(stop_);
        match.entry = readMatch(open, std::string(reading.name(match.item)));
        match.vanished = !match.entry;
        reading.vanished += match.vanished ? 1 : 0;
        if (match.entry && !hasTags(*match.entry))
            match.entry.reset();
    }
}

std::optional<FileEntry> SearchReader::entry(const SearchFolder& folder, const SearchReading& reading,
                                             std::size_t item) const {
    return readMatch(OpenFolder(reading.directory.get(), folder.url), std::string(reading.name(item)));
}

bool SearchReader::hasTags(const FileEntry& entry) const {
    return std::ranges::all_of(tagKeys_, [&](const auto& wanted) {
        return std::ranges::any_of(entry.tags(), [&](const auto& tag) { return pathKey(tag) == wanted; });
    });
}

void SearchReader::validate(const SearchFolder& folder, const SearchReading& reading) const {
    root_->validate();
    const auto now = statDescriptor(openFolderBelow(root_->descriptor(), folder.relative).get());
    if (reading.directory && !now.isSameItem(statDescriptor(reading.directory.get())))
        throw FileOperationError::changed(
            "A containing folder changed or became a symbolic link. Its contents are unverified.");
}

std::vector<std::size_t> SearchReader::inOrder(const SearchReading& reading, Of which) const {
    struct Row {
        std::size_t keyStart;
        std::size_t keyLength;
        std::size_t item;
    };
    // All keys in one piece: the search of a huge folder that is told to stop is not to spend its time on
    // giving back a string for each name.
    std::string keys;
    std::vector<Row> rows;
    for (std::size_t i = 0; i < reading.items.size(); ++i) {
        const bool isFolder = reading.items[i].type == SearchReading::Type::folder;
        if (which == Of::everything || isFolder) {
            checkCancelled(stop_);
            const auto start = keys.size();
            keys += isFolder ? '\0' : '\1';
            keys += NameCollation::sortKey(reading.name(i));
            rows.push_back({start, keys.size() - start, i});
        }
    }
    const auto keyOf = [&keys](const Row& row) {
        return std::string_view(keys).substr(row.keyStart, row.keyLength);
    };
    SparseCheckpoint checkpoint(stop_);
    std::ranges::sort(rows, [&](const Row& a, const Row& b) {
        checkpoint();
        const auto order = keyOf(a) <=> keyOf(b);
        return order != 0 ? order < 0 : reading.name(a.item) < reading.name(b.item);
    });
    std::vector<std::size_t> order;
    order.reserve(rows.size());
    for (const auto& row : rows)
        order.push_back(row.item);
    return order;
}

std::unique_ptr<TextSearch> SearchReader::borrowMatcher() {
    {
        const MutexLock lock(mutex_);
        if (!matchers_.empty()) {
            auto matcher = std::move(matchers_.back());
            matchers_.pop_back();
            return matcher;
        }
    }
    return std::make_unique<TextSearch>(query_);
}

void SearchReader::giveBack(std::unique_ptr<TextSearch> matcher) {
    const MutexLock lock(mutex_);
    matchers_.push_back(std::move(matcher));
}

} // namespace morv
