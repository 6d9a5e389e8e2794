#include "MorvCore/Records/SQLiteStore.h"
#include "Tests/Support/TemporaryFolder.h"

#include <fstream>
#include <iterator>
#include <map>
#include <sqlite3.h>
#include <thread>

using namespace morv;
using namespace morv::test;

namespace {

enum class LogAtClose { fold, keep };

void runSQL(const FileURL& file, const std::string& sql, LogAtClose log = LogAtClose::fold) {
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(file.path().c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(database);
    if (log == LogAtClose::keep)
        sqlite3_db_config(database, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    sqlite3_close(database);
}

double number(const FileURL& file, const std::string& sql) {
    sqlite3* database = nullptr;
    sqlite3_stmt* query = nullptr;
    sqlite3_open(file.path().c_str(), &database);
    sqlite3_prepare_v2(database, sql.c_str(), -1, &query, nullptr);
    EXPECT_EQ(sqlite3_step(query), SQLITE_ROW) << sqlite3_errmsg(database);
    const double value = sqlite3_column_double(query, 0);
    sqlite3_finalize(query);
    sqlite3_close(database);
    return value;
}

std::string contents(const FileURL& file) {
    std::ifstream stream(file.path(), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

mode_t modeOf(const FileURL& item) {
    struct stat info {};
    EXPECT_EQ(::stat(item.path().c_str(), &info), 0);
    return info.st_mode & 07777;
}

} // namespace

TEST(SQLiteStore, keepsRecordsInAPrivateFileAcrossOpenings) {
    const TemporaryFolder folder;
    const auto file = folder.url("outer/inner/Morv.sqlite");
    ::umask(0);
    {
        SQLiteStore store(file);
        store.saveBytes("{\"a\":1}", "operations/1");
        const auto first = number(file, "SELECT updated_at FROM records");
        store.saveBytes("{\"a\":2}", "operations/1");
        EXPECT_GT(number(file, "SELECT updated_at FROM records"), first);
        EXPECT_EQ(store.loadBytes("never saved"), std::nullopt);
        EXPECT_NO_THROW(store.remove("never saved"));
    }
    ::umask(022);
    EXPECT_EQ(modeOf(file), 0600U);
    EXPECT_EQ(modeOf(file.parent()), 0700U);
    EXPECT_EQ(modeOf(file.parent().parent()), 0700U);
    ::chmod(file.path().c_str(), 0644);
    SQLiteStore store(file);
    EXPECT_EQ(modeOf(file), 0600U);
    EXPECT_EQ(store.loadBytes("operations/1"), "{\"a\":2}");
    EXPECT_EQ(number(file, "PRAGMA user_version"), 1);
    EXPECT_EQ(number(file, "SELECT count(*) FROM pragma_journal_mode WHERE journal_mode='wal'"), 1);
    EXPECT_EQ(number(file, "SELECT count(*) FROM records"), 1);
}

TEST(SQLiteStore, keysAreBytesThatMeanNothing) {
    const TemporaryFolder folder;
    SQLiteStore store(folder.url("Morv.sqlite"));
    const std::vector<std::string> saved = {"a%b", "a%c", "a/\U0001F600 path", "aXb", "a_b", "b"};
    for (const auto& key : saved)
        store.saveBytes("1", key);
    EXPECT_EQ(store.keys(""), saved) << "ascending by bytes";
    EXPECT_EQ(store.keys("a%"), (std::vector<std::string>{"a%b", "a%c"}));
    EXPECT_EQ(store.keys("a_"), std::vector<std::string>{"a_b"});
    EXPECT_EQ(store.keys("a/\U0001F600 path"), std::vector<std::string>{"a/\U0001F600 path"});
    store.removeAll(std::vector<std::string>{"a%b", "absent", "b"});
    EXPECT_EQ(store.keys(""), (std::vector<std::string>{"a%c", "a/\U0001F600 path", "aXb", "a_b"}));
}

TEST(SQLiteStore, refusesAKeyWithNULEverywhere) {
    const TemporaryFolder folder;
    SQLiteStore store(folder.url("Morv.sqlite"));
    store.saveBytes("1", "key");
    const std::string key("key\0more", 8);
    const std::vector<std::string> batch = {"key", key};
    const std::function<void()> calls[] = {[&] { store.saveBytes("2", key); }, [&] { store.loadBytes(key); },
                                           [&] { store.keys(key); }, [&] { store.remove(key); },
                                           [&] { store.removeAll(batch); }};
    for (const auto& call : calls)
        EXPECT_EQ(sentenceOf<PersistenceError>(call), "Invalid database key.");
    EXPECT_EQ(store.loadBytes("key"), "1") << "also what came before the bad key";
}

TEST(SQLiteStore, refusesADamagedRecordAndKeepsIt) {
    const TemporaryFolder folder;
    const auto file = folder.url("Morv.sqlite");
    SQLiteStore store(file);
    store.saveBytes("1", "session.main");
    runSQL(file, "UPDATE records SET value=x''");
    EXPECT_EQ(sentenceOf<PersistenceError>([&] { store.loadBytes("session.main"); }),
              "The saved value for session.main is empty or corrupt.");
    EXPECT_EQ(store.keys(""), std::vector<std::string>{"session.main"});
}

TEST(SQLiteStore, leavesANewerProgramsDatabaseUntouched) {
    struct Row {
        std::string journal;
        bool endsAbruptly;
    };
    for (const auto& row : {Row{"wal", false}, Row{"wal", true}, Row{"delete", false}}) {
        SCOPED_TRACE(row.journal + (row.endsAbruptly ? ", with a log" : ""));
        const TemporaryFolder folder;
        const auto file = folder.url("Morv.sqlite");
        runSQL(file, "PRAGMA journal_mode=" + row.journal + ";CREATE TABLE later(x)");
        runSQL(file, "PRAGMA user_version=2", row.endsAbruptly ? LogAtClose::keep : LogAtClose::fold);
        const auto all = [&] {
            std::map<std::string, std::string> found;
            for (const auto& item : std::filesystem::directory_iterator(folder.path()))
                found[item.path().filename()] = contents(FileURL::fromPath(item.path().native()));
            found.erase("Morv.sqlite-shm"); // an index that is made anew whenever it is needed
            return found;
        };
        const auto before = all();
        EXPECT_EQ(before.size(), row.endsAbruptly ? 2U : 1U);
        EXPECT_EQ(sentenceOf<PersistenceError>([&] { SQLiteStore store(file); }),
                  "This Morv database was created by a newer app version.");
        EXPECT_EQ(all(), before);
    }
}

TEST(SQLiteStore, saysWhyItCannotOpen) {
    const TemporaryFolder folder;
    folder.write("file");
    folder.write("damaged.sqlite", std::string(4096, 'x'));
    folder.makeFolder("directory.sqlite");
    EXPECT_THROW(SQLiteStore(folder.url("file/Morv.sqlite")), PersistenceError);
    EXPECT_THROW(SQLiteStore(folder.url("directory.sqlite")), PersistenceError);
    EXPECT_EQ(sentenceOf<PersistenceError>([&] { SQLiteStore store(folder.url("damaged.sqlite")); }),
              "file is not a database");
    const auto locked = folder.makeFolder("locked");
    ::chmod(folder.path().c_str(), 0755);
    EXPECT_TRUE(passesAsAnotherUser([&] {
        EXPECT_THROW(SQLiteStore(locked.child("Morv.sqlite")), PersistenceError);
        EXPECT_THROW(SQLiteStore(locked.child("new/Morv.sqlite")), PersistenceError);
        EXPECT_THROW(DataDirectoryLock{locked}, PersistenceError);
    }));
    EXPECT_TRUE(std::filesystem::is_empty(locked.path()));
}

TEST(SQLiteStore, waitsForAnotherWriterAndThenGivesUp) {
    const TemporaryFolder folder;
    const auto file = folder.url("Morv.sqlite");
    SQLiteStore store(file);
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(file.path().c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    EXPECT_EQ(sentenceOf<PersistenceError>([&] { store.saveBytes("1", "key"); }), "database is locked");
    EXPECT_EQ(store.loadBytes("key"), std::nullopt) << "readers are not kept out";
    std::thread writer([&] { EXPECT_NO_THROW(store.saveBytes("2", "key")); });
    sqlite3_exec(other, "ROLLBACK", nullptr, nullptr, nullptr);
    writer.join();
    EXPECT_EQ(store.loadBytes("key"), "2");
    sqlite3_close(other);
}

TEST(SQLiteStore, manyThreadsLoseNoRecord) {
    const TemporaryFolder folder(Disk::memory);
    SQLiteStore store(folder.url("Morv.sqlite"));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&store, t] {
            for (int i = 0; i < 50; ++i) {
                const auto key = std::to_string(t) + "/" + std::to_string(i);
                store.saveBytes(key, key);
                EXPECT_EQ(store.loadBytes(key), key);
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(store.keys("").size(), 200U);
}

TEST(DataDirectoryLock, isHeldByOneAndReleasedWithItsProcess) {
    const TemporaryFolder folder;
    {
        const DataDirectoryLock lock(folder.url("data"));
        EXPECT_EQ(sentenceOf<PersistenceError>([&] { DataDirectoryLock second(folder.url("data")); }),
                  "Morv is already running with this data directory.");
    }
    const auto child = ::fork();
    if (child == 0) {
        // Ends without releasing anything itself.
        const DataDirectoryLock lock(folder.url("data"));
        ::_exit(0);
    }
    int status = 1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_NO_THROW(DataDirectoryLock{folder.url("data")});
}
