#include "MorvCore/Records/SQLiteStore.h"

#include "MorvCore/Platform/Descriptor.h"

#include <cerrno>
#include <chrono>
#include <climits>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace morv {

namespace {

[[noreturn]] void failWithErrno(std::string_view path) {
    throw PersistenceError(PosixError(errno, path).what());
}

/// A folder entry that is not flushed can be gone after a power cut, and every record with it.
void flushFolder(const FileURL& folder) {
    const Descriptor opened(::open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // EINVAL: a file system that keeps its folders without being asked.
    if (!opened || (::fsync(opened.get()) != 0 && errno != EINVAL))
        failWithErrno(folder.path());
}

/// Creates what is missing, private to the user.
void makeFolder(const FileURL& folder) {
    if (::mkdir(folder.path().c_str(), 0700) == 0) {
        flushFolder(folder.parent());
        return;
    }
    if (errno == ENOENT && !folder.isRoot()) {
        makeFolder(folder.parent());
        if (::mkdir(folder.path().c_str(), 0700) == 0) {
            flushFolder(folder.parent());
            return;
        }
    }
    struct stat found {};
    if (errno != EEXIST || ::stat(folder.path().c_str(), &found) != 0)
        failWithErrno(folder.path());
    if (!S_ISDIR(found.st_mode)) {
        errno = ENOTDIR;
        failWithErrno(folder.path());
    }
}

double secondsSince1970() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

constexpr int currentVersion = 1;

constexpr char createTable[] =
    "CREATE TABLE IF NOT EXISTS records(key TEXT PRIMARY KEY NOT NULL,value BLOB NOT "
    "NULL,updated_at REAL NOT NULL) WITHOUT ROWID";
constexpr char insertRecord[] = "INSERT INTO records(key,value,updated_at) VALUES(?,?,?) ON CONFLICT(key) DO "
                                "UPDATE SET value=excluded.value,updated_at=excluded.updated_at";
constexpr char selectRecord[] = "SELECT value FROM records WHERE key=?";
constexpr char selectKeys[] = "SELECT key FROM records WHERE substr(key,1,length(?))=? ORDER BY key";
constexpr char deleteRecord[] = "DELETE FROM records WHERE key=?";

} // namespace

/// The handle and what is common to all statements. Confined to whoever holds the store's lock.
class SQLiteConnection {
public:
    explicit SQLiteConnection(const FileURL& file);
    ~SQLiteConnection() { sqlite3_close(handle_); }
    SQLiteConnection(const SQLiteConnection&) = delete;
    SQLiteConnection& operator=(const SQLiteConnection&) = delete;

    void execute(const char* sql) { check(sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr), SQLITE_OK); }
    /// Runs `body` with a prepared statement, which is finalised on every path.
    template <class Body>
    auto statement(const char* sql, Body body) {
        sqlite3_stmt* prepared = nullptr;
        check(sqlite3_prepare_v2(handle_, sql, -1, &prepared, nullptr), SQLITE_OK);
        if (!prepared)
            throw PersistenceError("Cannot prepare database statement.");
        struct Finalise {
            sqlite3_stmt* statement;
            ~Finalise() { sqlite3_finalize(statement); }
        } const finalise{prepared};
        return body(prepared);
    }
    /// Throws SQLite's words unless `result` is `expected`.
    void check(int result, int expected) {
        if (result != expected)
            throw PersistenceError(handle_ ? sqlite3_errmsg(handle_) : "Database unavailable.");
    }
    /// All of `body` with one flush, rolled back when it throws.
    template <class Body>
    void transaction(Body body) {
        execute("BEGIN IMMEDIATE");
        try {
            body();
            execute("COMMIT");
        } catch (...) {
            sqlite3_exec(handle_, "ROLLBACK", nullptr, nullptr, nullptr);
            throw;
        }
    }
    void bind(const std::string& text, int index, sqlite3_stmt* statement) {
        // SQLite's text functions stop at a NUL: two keys could become one.
        if (text.size() > INT_MAX || text.find('\0') != std::string::npos)
            throw PersistenceError("Invalid database key.");
        check(sqlite3_bind_text(statement, index, text.c_str(), static_cast<int>(text.size()),
                                SQLITE_TRANSIENT),
              SQLITE_OK);
    }

private:
    void configure(const FileURL& file);
    int version();
    void refuseNewer(int found, const FileURL& file);

    sqlite3* handle_ = nullptr;
};

SQLiteConnection::SQLiteConnection(const FileURL& file) {
    const int result =
        sqlite3_open_v2(file.path().c_str(), &handle_,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX, nullptr);
    try {
        if (result != SQLITE_OK)
            throw PersistenceError(handle_ ? sqlite3_errmsg(handle_) : "Cannot open database.");
        configure(file);
    } catch (...) {
        sqlite3_close(handle_);
        throw;
    }
}

void SQLiteConnection::configure(const FileURL& file) {
    if (::chmod(file.path().c_str(), 0600) != 0)
        failWithErrno(file.path());
    check(sqlite3_busy_timeout(handle_, 5000), SQLITE_OK);
    // Setting the journal's mode can already write, and a newer program's file must not be written to.
    refuseNewer(version(), file);
    execute("PRAGMA journal_mode=WAL");
    execute("PRAGMA synchronous=FULL");
    const int found = version();
    refuseNewer(found, file);
    if (found != 0)
        return;
    // Before the version: a failure here is met again by the next opening.
    flushFolder(file.parent());
    transaction([this] {
        execute(createTable);
        execute("PRAGMA user_version=1");
    });
}

int SQLiteConnection::version() {
    return statement("PRAGMA user_version", [this](sqlite3_stmt* query) {
        check(sqlite3_step(query), SQLITE_ROW);
        return sqlite3_column_int(query, 0);
    });
}

void SQLiteConnection::refuseNewer(int found, const FileURL& file) {
    if (found <= currentVersion)
        return;
    // Closing would otherwise move what the newer program left in its log into the file. An empty log is of
    // this opening's own making, and closing takes it away again.
    struct stat log {};
    if (::stat((file.path() + "-wal").c_str(), &log) == 0 && log.st_size > 0)
        sqlite3_db_config(handle_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    throw PersistenceError("This Morv database was created by a newer app version.");
}

SQLiteStore::SQLiteStore(const FileURL& file) {
    makeFolder(file.parent());
    connection_ = std::make_unique<SQLiteConnection>(file);
}

SQLiteStore::~SQLiteStore() = default;

void SQLiteStore::saveBytes(std::string_view value, const std::string& key) {
    if (value.size() > INT_MAX)
        throw PersistenceError("This saved record is too large.");
    const MutexLock lock(mutex_);
    auto& connection = *connection_;
    connection.statement(insertRecord, [&](sqlite3_stmt* insert) {
        connection.bind(key, 1, insert);
        connection.check(
            sqlite3_bind_blob(insert, 2, value.data(), static_cast<int>(value.size()), SQLITE_TRANSIENT),
            SQLITE_OK);
        connection.check(sqlite3_bind_double(insert, 3, secondsSince1970()), SQLITE_OK);
        connection.check(sqlite3_step(insert), SQLITE_DONE);
    });
}

std::optional<std::string> SQLiteStore::loadBytes(const std::string& key) {
    const MutexLock lock(mutex_);
    auto& connection = *connection_;
    return connection.statement(selectRecord, [&](sqlite3_stmt* query) -> std::optional<std::string> {
        connection.bind(key, 1, query);
        const int result = sqlite3_step(query);
        if (result == SQLITE_DONE)
            return std::nullopt;
        connection.check(result, SQLITE_ROW);
        const auto* bytes = static_cast<const char*>(sqlite3_column_blob(query, 0));
        const int length = sqlite3_column_bytes(query, 0);
        if (!bytes || length < 1)
            throw PersistenceError("The saved value for " + key + " is empty or corrupt.");
        return std::string(bytes, static_cast<std::size_t>(length));
    });
}

std::vector<std::string> SQLiteStore::keys(const std::string& prefix) {
    const MutexLock lock(mutex_);
    auto& connection = *connection_;
    return connection.statement(selectKeys, [&](sqlite3_stmt* query) {
        connection.bind(prefix, 1, query);
        connection.bind(prefix, 2, query);
        std::vector<std::string> keys;
        int result = sqlite3_step(query);
        for (; result == SQLITE_ROW; result = sqlite3_step(query)) {
            if (const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(query, 0)))
                keys.emplace_back(text, static_cast<std::size_t>(sqlite3_column_bytes(query, 0)));
        }
        connection.check(result, SQLITE_DONE);
        return keys;
    });
}

void SQLiteStore::remove(const std::string& key) {
    const MutexLock lock(mutex_);
    auto& connection = *connection_;
    connection.statement(deleteRecord, [&](sqlite3_stmt* removal) {
        connection.bind(key, 1, removal);
        connection.check(sqlite3_step(removal), SQLITE_DONE);
    });
}

void SQLiteStore::removeAll(std::span<const std::string> keys) {
    if (keys.empty())
        return;
    const MutexLock lock(mutex_);
    auto& connection = *connection_;
    connection.transaction([&] {
        connection.statement(deleteRecord, [&](sqlite3_stmt* removal) {
            for (const auto& key : keys) {
                connection.bind(key, 1, removal);
                connection.check(sqlite3_step(removal), SQLITE_DONE);
                connection.check(sqlite3_reset(removal), SQLITE_OK);
            }
        });
    });
}

DataDirectoryLock::DataDirectoryLock(const FileURL& directory) {
    makeFolder(directory);
    const auto file = directory.child("Morv.lock");
    Descriptor opened(::open(file.path().c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!opened)
        failWithErrno(file.path());
    int result = 0;
    do
        result = ::flock(opened.get(), LOCK_EX | LOCK_NB);
    while (result != 0 && errno == EINTR);
    if (result != 0 && errno == EWOULDBLOCK)
        throw PersistenceError("Morv is already running with this data directory.");
    if (result != 0)
        failWithErrno(file.path());
    descriptor_ = opened.release();
}

DataDirectoryLock::~DataDirectoryLock() {
    ::close(descriptor_);
}

} // namespace morv
