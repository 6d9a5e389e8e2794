// All durable state: one SQLite file with one table of key/value records.
//
// On disk     "records(key TEXT PRIMARY KEY NOT NULL, value BLOB NOT NULL, updated_at REAL NOT NULL)",
//             version 1; values are JSON (JSONCoding.h), updated_at is seconds since 1970 and never read
// Invariants  I1  save() returned => the record survives a power cut (WAL, synchronous FULL)
//             I2  a record is replaced whole or not at all; records are independent of each other
//             I3  a damaged record is refused, never repaired or removed
//             I4  one process at a time has the file open for the engine (DataDirectoryLock)
// Threading   safe to share; one call at a time runs, and a read sees every earlier write of this process
//
// Every call throws PersistenceError with a sentence (SQLite's own words for its own failures);
// a failed call changes nothing.
#pragma once

#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Foundation/FileURL.h"
#include "MorvCore/Foundation/Mutex.h"

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace morv {

class SQLiteConnection;

class SQLiteStore {
public:
    /// Opens or creates the database; its folder is created with mode 0700, the file gets 0600.
    /// Throws "This Morv database was created by a newer app version." and leaves such a file untouched.
    explicit SQLiteStore(const FileURL& file);
    ~SQLiteStore();
    SQLiteStore(const SQLiteStore&) = delete;
    SQLiteStore& operator=(const SQLiteStore&) = delete;

    /// Inserts or replaces. T has a toJSON beside it.
    template <class T>
    void save(const T& value, const std::string& key) {
        saveBytes(toJSON(value), key);
    }
    /// Absent when the key has no record. T has a fromJSON beside it, whose DecodingError passes through.
    template <class T>
    std::optional<T> load(const std::string& key) {
        const auto bytes = loadBytes(key);
        if (!bytes)
            return std::nullopt;
        T value;
        fromJSON(*bytes, value);
        return value;
    }
    /// Every key that begins with `prefix`, ascending by bytes.
    std::vector<std::string> keys(const std::string& prefix);
    /// An absent key is no error.
    void remove(const std::string& key);
    /// Removes many with one flush. Not all or nothing: after a failure some may be gone.
    void removeAll(std::span<const std::string> keys);

    void saveBytes(std::string_view value, const std::string& key);
    std::optional<std::string> loadBytes(const std::string& key);

private:
    Mutex mutex_;
    std::unique_ptr<SQLiteConnection> connection_ MORV_GUARDED_BY(mutex_);
};

/// Held while an engine works on a data directory: a lock file beside the database.
/// Throws PersistenceError "Morv is already running with this data directory." when another process holds it.
/// The kernel releases it with the process, however that ends.
class DataDirectoryLock {
public:
    explicit DataDirectoryLock(const FileURL& directory);
    ~DataDirectoryLock();
    DataDirectoryLock(const DataDirectoryLock&) = delete;
    DataDirectoryLock& operator=(const DataDirectoryLock&) = delete;

private:
    int descriptor_ = -1;
};

} // namespace morv
