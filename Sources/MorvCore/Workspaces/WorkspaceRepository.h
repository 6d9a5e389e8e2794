// Named, coloured lists of references to files and folders anywhere on the computer.
//
// On disk     each workspace is one record at "workspace/" and its id, in the store
// Invariants  I1  a reference is a place and nothing more: adding or removing one never touches the original,
//                 and no reference goes by itself, whatever became of its file
//             I2  the references keep the user's order, and none stands in the list twice
// Threading   workspaces are values; the repository is safe to share, its state is in the store alone. Of two
//             saves of one workspace at the same time the later one holds
//
// Errors      PersistenceError and DecodingError of the store; a failed call changes nothing
#pragma once

#include "MorvCore/Foundation/Date.h"
#include "MorvCore/Foundation/FileURL.h"
#include "MorvCore/Foundation/UUID.h"

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace morv {

class SQLiteStore;

struct Workspace {
    /// The colours that a folder can have too. A record may name another one, which is then kept.
    static constexpr std::array<std::string_view, 6> colors = {"teal",  "saffron", "sapphire",
                                                               "coral", "plum",    "graphite"};

    UUID id;
    std::string name;
    std::vector<FileURL> references;
    std::string color;
    Date createdAt;

    /// With those of `urls` that are not yet among the references at the end, in their order.
    Workspace adding(const std::vector<FileURL>& urls) const;
    Workspace removing(const std::vector<FileURL>& urls) const;

    friend bool operator==(const Workspace&, const Workspace&) = default;
};

std::string toJSON(const Workspace& workspace);
/// Throws DecodingError; every key is required.
void fromJSON(std::string_view text, Workspace& workspace);

class WorkspaceRepository {
public:
    /// `store` outlives this.
    explicit WorkspaceRepository(SQLiteStore& store) : store_(store) {}

    /// All workspaces, the oldest first, those of one moment by their ids. One damaged record fails the list.
    std::vector<Workspace> list() const;
    /// Saves a new workspace, its name without white space at the ends, and returns it.
    Workspace create(std::string_view name, const std::vector<FileURL>& references, std::string_view color);
    /// Saves the record as it stands. Throws PersistenceError "Give this workspace a name." for a blank name.
    void save(const Workspace& workspace);
    /// An unknown id is no error.
    void remove(const UUID& id);

private:
    SQLiteStore& store_;
};

} // namespace morv
