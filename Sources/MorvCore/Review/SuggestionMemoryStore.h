// Where the user has filed things, remembered on this computer and only when the user has enabled it, so that
// a later move can offer the same destination. Paths and dates are kept, never content.
//
// On disk     "suggestions/preferences", and each record at "suggestions/record/" and its id, in the store
// Invariants  I1  nothing is recorded or suggested while the memory is not enabled
//             I2  an excluded root beats an allowed one, and links do not lead around either
//             I3  disabling keeps what is remembered; excluding a place removes what was remembered of it
// Threading   safe to share; the memory is in the store alone. Of two changes of the preferences at the same
//             time the later one holds. What compares places resolves their links: it may wait for a disk or a
//             server, of any place that is remembered
//
// Errors      PersistenceError and DecodingError of the store; a refused record is dropped without a word,
//             except by save()
#pragma once

#include "MorvCore/Folders/FileEntry.h"
#include "MorvCore/Foundation/Date.h"
#include "MorvCore/Foundation/FileURL.h"
#include "MorvCore/Foundation/UUID.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace morv {

class SQLiteStore;

struct SuggestionMemoryPreferences {
    bool enabled = false;
    bool suggestionsEnabled = true;
    std::vector<FileURL> allowedRoots; ///< none: everywhere that is not excluded
    std::vector<FileURL> excludedRoots;
    std::int64_t retentionDays = 30; ///< 0 to 365; 0 keeps records for ever

    friend bool operator==(const SuggestionMemoryPreferences&, const SuggestionMemoryPreferences&) = default;
};

/// One thing that was filed.
struct SuggestionMemoryRecord {
    UUID id;
    FileURL source;
    FileURL destination; ///< the item's new place, with its name
    Date createdAt;

    friend bool operator==(const SuggestionMemoryRecord&, const SuggestionMemoryRecord&) = default;
};

struct LearnedSuggestion {
    FileKind kind = FileKind::other;
    FileURL destination; ///< a folder
    std::int64_t evidenceCount = 0;
    Date lastUsed;
    std::string reason; ///< a sentence

    /// The kind's raw value ":" the path.
    std::string id() const;

    friend bool operator==(const LearnedSuggestion&, const LearnedSuggestion&) = default;
};

std::string toJSON(const SuggestionMemoryPreferences& preferences);
std::string toJSON(const SuggestionMemoryRecord& record);
/// For printing: a suggestion is made afresh whenever it is asked for, and never read back.
std::string toJSON(const LearnedSuggestion& suggestion);
/// Each throws DecodingError. `retentionDays` outside its range is taken as the nearer end.
void fromJSON(std::string_view text, SuggestionMemoryPreferences& preferences);
void fromJSON(std::string_view text, SuggestionMemoryRecord& record);

class SuggestionMemoryStore {
public:
    /// What a user's export is called.
    static constexpr std::string_view exportName = "Morv-local-suggestions.json";

    /// `store` outlives this.
    explicit SuggestionMemoryStore(SQLiteStore& store) : store_(store) {}

    /// The saved preferences, or the defaults when there are none.
    SuggestionMemoryPreferences preferences() const;
    /// Saves them with the roots' links resolved and `retentionDays` in its range, then removes what they no
    /// longer allow to be held.
    void configure(SuggestionMemoryPreferences preferences);

    /// Remembers what the preferences permit.
    void record(const SuggestionMemoryRecord& record);
    /// The same; for a record that they do not permit it throws FileOperationError::invalid. One that is
    /// already older than `retentionDays` is not kept here either.
    void save(const SuggestionMemoryRecord& record);
    /// All records, the newest first, after removing those that may no longer be held.
    std::vector<SuggestionMemoryRecord> records();
    /// Where things of the same kind (where the kind is unknown, of the same extension) were filed, the
    /// strongest evidence first; never the folder in which `entry` lies. Nothing while suggestions are off.
    std::vector<LearnedSuggestion> suggestions(const FileEntry& entry);

    /// Excludes a root, which also forgets it.
    void suspend(const FileURL& root);
    /// Removes the records that have either end in `root`.
    void forget(const FileURL& root);
    void remove(const UUID& id);
    /// Removes every record; the preferences stay.
    void clear();

private:
    std::vector<SuggestionMemoryRecord> prunedRecords(const SuggestionMemoryPreferences& policy);

    SQLiteStore& store_;
};

} // namespace morv
