// The looks that the user gave to folders, for all windows.
//
// On disk     "folder.appearances": one object from the folder's path (a file URL where the path is no UTF-8)
//             to its appearance
// Invariants  I1  a change is there at once and is saved afterwards; one that cannot be saved stays
//             I2  a change that comes before the record was read is made to what is read, and never replaces
//                 it
//             I3  a record that is missing or cannot be read leaves every folder as it comes
// Threading   confined to the main thread; the record is read and written on a worker
#pragma once

#include "MorvApp/Model/FolderAppearance.h"
#include "MorvApp/Model/TaskScope.h"

#include <QObject>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>

namespace morv {

class SQLiteStore;

class FolderAppearanceStore : public QObject {
    Q_OBJECT

public:
    /// Starts reading the record.
    FolderAppearanceStore(SQLiteStore& store, TaskPools& pools, QObject* parent = nullptr);

    /// The folder's own, else what its name suggests; the user's Documents look like documents whatever they
    /// are called.
    FolderAppearance appearance(const FileURL& url) const;
    /// What appearance() gives for a folder without one of its own.
    FolderAppearance standard(const FileURL& url) const;
    /// Nothing gives the folder back what its name suggests.
    void set(std::optional<FolderAppearance> appearance, const FileURL& url);
    /// Rises with every change.
    std::uint64_t revision() const { return revision_; }

Q_SIGNALS:
    void revisionChanged();
    /// A sentence for the window's error line.
    void failed(const std::string& message);

private:
    using Appearances = std::map<std::string, FolderAppearance>; ///< by path

    static Appearances read(SQLiteStore& store);
    void take(Appearances found);
    void endLoading();
    void changed();
    void save();

    SQLiteStore& store_;
    std::unordered_map<std::string, const char*> places_; ///< what the user's own folders are, by path
    Appearances appearances_;
    bool isLoaded_ = false;
    std::map<std::string, std::optional<FolderAppearance>> early_; ///< set before the record was read
    std::uint64_t revision_ = 0;
    TaskScope tasks_;
};

} // namespace morv
