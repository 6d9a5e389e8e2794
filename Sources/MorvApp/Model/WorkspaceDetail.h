// What a workspace shows of its references: whether each can be reached just now, in which section it stands,
// and where the original lives. A reference is never removed because it cannot be reached.
//
// Invariants  I1  cards() are the references of loadedWorkspaceID(), in their order, from the moment of check();
//                 a check of another workspace publishes nothing more
//             I2  a reference that does not answer keeps no other from being read: after the patience it is
//                 unavailable, and it is not asked again before the system has let go of it. With `mostAway`
//                 references that hang like this nothing more is asked
//             I3  what was known of a reference stays until there is a newer answer
// Threading   WorkspaceDetail is confined to the main thread, references are read on a worker; the functions
//             are stateless
#pragma once

#include "MorvApp/Model/Environment.h"
#include "MorvApp/Model/TaskScope.h"
#include "MorvCore/Folders/FileEntry.h"
#include "MorvCore/Workspaces/WorkspaceRepository.h"

#include <QObject>
#include <QTimer>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace morv {

/// One reference as it was found: the item, or the sentence that says why not. Neither: it is not read yet.
struct WorkspaceCardReference {
    FileURL url;
    std::optional<FileEntry> entry;
    std::optional<std::string> error;

    bool isUnread() const { return !entry && !error; }

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

    friend bool operator==(const WorkspaceSection&, const WorkspaceSection&) = default;
};

class WorkspaceDetail : public QObject {
    Q_OBJECT

public:
    /// Reads one reference on a worker; throws when that cannot be done.
    using Reader = std::function<FileEntry(const FileURL&)>;
    static constexpr std::size_t mostAway = 16;

    /// `environment` tells the home directory, the user and the run-time directory.
    WorkspaceDetail(TaskPools& pools, const Environment& environment, QObject* parent = nullptr);
    void setReader(Reader reader) { reader_ = std::move(reader); }
    void setPatience(std::chrono::milliseconds patience) { patience_.setInterval(patience); }

    const std::vector<WorkspaceCardReference>& cards() const { return cards_; }
    const std::optional<UUID>& loadedWorkspaceID() const { return loadedWorkspaceID_; }
    bool checkingReferences() const { return checkingReferences_; }

    /// Reads every reference anew: of the same workspace when the check that runs has ended.
    void check(const Workspace& workspace);

    /// Empty for what is not read yet.
    ReferenceStatus status(const WorkspaceCardReference& card) const;
    /// "3 on this computer · 1 cloud only · 2 unavailable"
    std::string summary() const;
    /// Cards whose path contains `query` in any case; all of them when it is empty.
    std::vector<WorkspaceCardReference> filtered(std::string_view query) const;
    /// Those sections that have cards. What is not read yet is listed once that takes long enough to be seen.
    std::vector<WorkspaceSection> sections(std::string_view query) const;
    /// The folder of the original in words ("Nextcloud › Work").
    std::string sourceLabel(const FileURL& reference) const;

Q_SIGNALS:
    void changed();

private:
    void ask(std::vector<FileURL> urls);
    void take(WorkspaceCardReference card);
    void losePatience();
    void finish();
    std::string_view sectionOf(const WorkspaceCardReference& card) const;

    const std::string home_; ///< without a "/" at its end
    const std::vector<std::string> volumePlaces_;
    const std::string networkPlace_;
    std::vector<WorkspaceCardReference> cards_;
    std::optional<UUID> loadedWorkspaceID_;
    bool checkingReferences_ = false;
    bool isDue_ = false;  ///< the references are read again after this check
    bool isSlow_ = false; ///< this check has taken long enough to be seen
    Reader reader_;
    std::vector<FileURL> asked_; ///< of the worker under way
    std::size_t answered_ = 0;   ///< of those
    std::weak_ptr<void> way_;    ///< expired once the worker is back
    std::map<FileURL, std::weak_ptr<void>> away_;
    QTimer patience_;
    QTimer telling_;
    TaskHandle check_;
    TaskScope tasks_;
};

} // namespace morv
