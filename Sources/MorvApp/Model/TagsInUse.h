// The tags that were seen on files in the folders that were opened: nothing looks for them anywhere else.
//
// On disk     "sidebar.tags": an array of names, the ones seen last first, a bounded number
// Threading   confined to the main thread; the record is read and written on a worker
#pragma once

#include "MorvApp/Model/EntryList.h"
#include "MorvApp/Model/TaskScope.h"

#include <QObject>
#include <functional>
#include <string>
#include <vector>

namespace morv {

class SQLiteStore;

class TagsInUse : public QObject {
    Q_OBJECT

public:
    /// Starts reading the record.
    TagsInUse(SQLiteStore& store, TaskPools& pools, QObject* parent = nullptr);

    /// By name, so that they keep their places.
    std::vector<std::string> names() const;
    /// Of a folder that has been read.
    void notice(const EntryList& entries);
    /// Until it is seen again.
    void forget(const std::string& name);

    static constexpr std::size_t mostKept = 24;

Q_SIGNALS:
    void changed();

private:
    void add(const std::vector<std::string>& seen);
    void save();

    SQLiteStore& store_;
    std::vector<std::string> recent_;
    bool isLoaded_ = false;
    std::vector<std::string> early_; ///< seen before the record was read
    TaskScope tasks_;
};

} // namespace morv
