// What a workspace shows of its references: whether each can be reached just now, in which section it stands,
// and where the original lives. A reference is never removed because it cannot be reached.
//
// Invariants  I1  cards() belong to loadedWorkspaceID(); a check that was superseded publishes nothing
// Threading   WorkspaceDetail is confined to the main thread, references are read on a worker; the functions
//             are stateless
#pragma once

#include "MorvApp/Model/Environment.h"
#include "MorvApp/Model/TaskScope.h"
#include "MorvCore/Folders/FileEntry.h"
#include "MorvCore/Workspaces/WorkspaceRepository.h"

#include <QObject>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace morv {

/// One reference as it was found: the item, or the sentence that says why not.
struct WorkspaceCardReference {
    FileURL url;
    std::optional<FileEntry> entry;
    std::optional<std::string> error;

    friend bool operator==(const WorkspaceCardReference&, const WorkspaceCardReference&) = default;
};

struct ReferenceStatus {
    std::string_view status;
    std::string_view statusSymbol;

    friend bool operator==(const ReferenceStatus&, const ReferenceStatus&) = default;
};

struct WorkspaceSection {
    std::string_view title;
    std::vector<WorkspaceCardReference> cards;
};

class WorkspaceDetail : public QObject {
    Q_OBJECT

public:
    /// `environment` tells the home directory, the user and the run-time directory.
    WorkspaceDetail(TaskPools& pools, const Environment& environment, QObject* parent = nullptr);

    const std::vector<WorkspaceCardReference>& cards() const { return cards_; }
    const std::optional<UUID>& loadedWorkspaceID() const { return loadedWorkspaceID_; }
    bool checkingReferences() const { return checkingReferences_; }

    /// Reads every reference anew; an earlier check that still runs is dropped.
    void check(const Workspace& workspace);

    ReferenceStatus status(const WorkspaceCardReference& card) const;
    /// "3 on this computer · 1 cloud only · 2 unavailable"
    std::string summary() const;
    /// Cards whose path contains `query` in any case; all of them when it is empty.
    std::vector<WorkspaceCardReference> filtered(std::string_view query) const;
    /// Those sections that have cards.
    std::vector<WorkspaceSection> sections(std::string_view query) const;
    /// The folder of the original in words ("Nextcloud › Work").
    std::string sourceLabel(const FileURL& reference) const;

Q_SIGNALS:
    void changed();

private:
    const std::string home_; ///< without a "/" at its end
    const std::vector<std::string> volumePlaces_;
    const std::string networkPlace_;
    std::vector<WorkspaceCardReference> cards_;
    std::optional<UUID> loadedWorkspaceID_;
    bool checkingReferences_ = false;
    TaskHandle check_;
    TaskScope tasks_;
};

} // namespace morv
