// What Morv remembers of where the user files things, for the settings: the policy, how much is held, and the ways
// to look at it outside Morv and to be rid of it.
//
// Invariants  I1  a change is shown at once and saved afterwards; one that cannot be saved is taken back and told
//             I2  an export is a new file, complete or absent, and replaces nothing
// Threading   confined to the main thread
#pragma once

#include "MorvApp/Model/TaskScope.h"
#include "MorvCore/Review/SuggestionMemoryStore.h"

#include <QObject>
#include <cstddef>
#include <optional>
#include <string>

namespace morv {

class SuggestionMemoryModel : public QObject {
    Q_OBJECT

public:
    /// `store` outlives the tasks of `pools`.
    SuggestionMemoryModel(SQLiteStore& store, TaskPools& pools);

    /// The policy as it is stored; nothing until it was read, and then nothing can be changed either.
    const std::optional<SuggestionMemoryPreferences>& preferences() const { return preferences_; }
    std::size_t recordCount() const { return recordCount_; }
    /// Of the last thing that was asked for: what became of it, or why it failed.
    const std::string& message() const { return message_; }
    bool hasFailed() const { return hasFailed_; }

    void refresh();
    /// Removes what the new policy does not allow to be held.
    void setPreferences(SuggestionMemoryPreferences preferences);
    /// All records, as JSON. Refused when there is already something at `file`.
    void exportTo(const FileURL& file);
    /// Removes every record; the policy stays.
    void clear();

Q_SIGNALS:
    void changed();

private:
    struct Held {
        SuggestionMemoryPreferences preferences;
        std::size_t records = 0;
    };
    static Held read(SQLiteStore& store);
    void show(const Held& held);
    void say(std::string message, bool hasFailed);

    SQLiteStore& store_;
    std::optional<SuggestionMemoryPreferences> preferences_;
    std::size_t recordCount_ = 0;
    std::string message_;
    bool hasFailed_ = false;
    std::uint64_t changes_ = 0; ///< what was read before a later change no longer counts
    TaskScope tasks_;
};

} // namespace morv
