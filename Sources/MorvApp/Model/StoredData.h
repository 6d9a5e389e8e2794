// What Morv keeps on this computer: where, and how much. It is only looked at.
// Confined to the main thread; looked up on a worker.
#pragma once

#include "MorvApp/Model/TaskScope.h"
#include "MorvCore/Foundation/FileURL.h"

#include <QObject>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace morv {

class SQLiteStore;

class StoredData : public QObject {
    Q_OBJECT

public:
    struct Summary {
        std::int64_t databaseBytes = 0; ///< with what the database has not folded in yet
        std::size_t receipts = 0;
        std::size_t workspaces = 0;
        std::size_t suggestionRecords = 0;

        friend bool operator==(const Summary&, const Summary&) = default;
    };

    /// `store` is the database in `directory` and outlives the tasks of `pools`.
    StoredData(FileURL directory, SQLiteStore& store, TaskPools& pools);

    const FileURL& directory() const { return directory_; }
    /// Nothing until it is known.
    const std::optional<Summary>& summary() const { return summary_; }
    const std::optional<std::string>& failure() const { return failure_; }

    void refresh();

Q_SIGNALS:
    void changed();

private:
    FileURL directory_;
    SQLiteStore& store_;
    std::optional<Summary> summary_;
    std::optional<std::string> failure_;
    TaskScope tasks_;
};

} // namespace morv
