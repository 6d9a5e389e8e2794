// Durable commits of small records, against a prepared statement on the same disk (TMPDIR, or /tmp).
#include "MorvCore/Records/SQLiteStore.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <filesystem>
#include <sqlite3.h>
#include <stdexcept>
#include <string>

namespace {

using namespace morv;

const std::string value(700, 'v');

class StoreFolder {
public:
    StoreFolder() {
        const char* base = std::getenv("TMPDIR");
        path_ = std::string(base ? base : "/tmp") + "/MorvStoreXXXXXX";
        if (!::mkdtemp(path_.data()))
            throw std::runtime_error("no folder for the benchmark");
    }
    ~StoreFolder() { std::filesystem::remove_all(path_); }
    std::string file() const { return path_ + "/Morv.sqlite"; }

private:
    std::string path_;
};

std::string key(std::int64_t turn) {
    return "operations/" + std::to_string(turn % 1000);
}

void storeSave(benchmark::State& state) {
    const StoreFolder folder;
    SQLiteStore store(FileURL::fromPath(folder.file()));
    std::int64_t turn = 0;
    for (auto _ : state)
        store.saveBytes(value, key(turn++));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(storeSave)->MinTime(2)->UseRealTime()->Unit(benchmark::kMicrosecond);

void bareUpsert(benchmark::State& state) {
    const StoreFolder folder;
    sqlite3* database = nullptr;
    sqlite3_stmt* upsert = nullptr;
    sqlite3_open(folder.file().c_str(), &database);
    sqlite3_exec(
        database,
        "PRAGMA journal_mode=WAL;PRAGMA synchronous=FULL;CREATE TABLE records(key TEXT PRIMARY KEY NOT "
        "NULL,value BLOB NOT NULL,updated_at REAL NOT NULL) WITHOUT ROWID",
        nullptr, nullptr, nullptr);
    sqlite3_prepare_v2(
        database,
        "INSERT INTO records(key,value,updated_at) VALUES(?,?,?) ON CONFLICT(key) DO UPDATE SET "
        "value=excluded.value,updated_at=excluded.updated_at",
        -1, &upsert, nullptr);
    std::int64_t turn = 0;
    for (auto _ : state) {
        const auto text = key(turn++);
        sqlite3_bind_text(upsert, 1, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
        sqlite3_bind_blob(upsert, 2, value.data(), static_cast<int>(value.size()), SQLITE_STATIC);
        // A row that does not change is not written at all.
        sqlite3_bind_double(upsert, 3, static_cast<double>(turn));
        if (sqlite3_step(upsert) != SQLITE_DONE)
            state.SkipWithError("the commit failed");
        sqlite3_reset(upsert);
    }
    state.SetItemsProcessed(state.iterations());
    sqlite3_finalize(upsert);
    sqlite3_close(database);
}
BENCHMARK(bareUpsert)->MinTime(2)->UseRealTime()->Unit(benchmark::kMicrosecond);

} // namespace
