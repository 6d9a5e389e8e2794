#include "MorvApp/Model/StoredData.h"

#include "MorvCore/Folders/DirectoryService.h"
#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Records/SQLiteStore.h"

#include <cerrno>
#include <utility>

namespace morv {

namespace {

std::int64_t sizeOf(const FileURL& file) {
    try {
        return DirectoryService::entry(file).size;
    } catch (const PosixError& error) {
        if (error.code() == ENOENT)
            return 0;
        throw;
    }
}

StoredData::Summary read(const FileURL& directory, SQLiteStore& store) {
    StoredData::Summary summary;
    for (const auto* name : {"Morv.sqlite", "Morv.sqlite-wal", "Morv.sqlite-shm"})
        summary.databaseBytes += sizeOf(directory.child(name));
    summary.receipts = store.keys("operations/").size();
    summary.workspaces = store.keys("workspace/").size();
    summary.suggestionRecords = store.keys("suggestions/record/").size();
    return summary;
}

} // namespace

StoredData::StoredData(FileURL directory, SQLiteStore& store, TaskPools& pools)
    : directory_(std::move(directory)), store_(store), tasks_(pools) {}

void StoredData::refresh() {
    tasks_.run(
        TaskLane::reading,
        [directory = directory_, &store = store_](const std::stop_token&) { return read(directory, store); },
        [this](const Summary& summary) {
            summary_ = summary;
            failure_.reset();
            Q_EMIT changed();
        },
        [this](const std::exception_ptr& failure) {
            failure_ = sentence(failure);
            Q_EMIT changed();
        });
}

} // namespace morv
