// Files that are dragged over a window: what a drop would do where they hover, and the folders that opened
// under them.
//
// Protocol    enter() when they come, hover() and drop() for each place, leave() when they go or are let go
//             elsewhere; begin again with enter()
// Invariants  I1  no disk is asked on the main thread: on which volumes things lie is found out by a worker,
//                 once for the files and once for each folder, and changed() says when it is known
//             I2  a drop does what hover() told last, or nothing
//             I3  whoever leaves without a drop finds the window where it was
// Threading   confined to the main thread
#pragma once

#include "MorvApp/Model/FileDrag.h"
#include "MorvApp/Model/TaskScope.h"
#include "MorvCore/Foundation/UUID.h"

#include <QObject>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace morv {

class AppModel;
class PaneModel;

/// Where an item lies, and whether it is a folder. Asked on a worker; may block as long as the disk does.
struct DragStanding {
    std::uint64_t device = 0;
    std::uint64_t mount = 0;
    bool isFolder = false;

    bool isBeside(const DragStanding& other) const { return device == other.device && mount == other.mount; }
};
enum class DragLinks : std::uint8_t { asTheyAre, followed };
/// Nothing for what cannot be found out.
using StandingReader = std::function<std::optional<DragStanding>(const FileURL&, DragLinks)>;

class DragVisit : public QObject {
    Q_OBJECT

public:
    /// `app` owns this.
    DragVisit(AppModel& app, TaskPools& pools);
    ~DragVisit() override;

    /// The same files again (they came back from another part of the window) change nothing.
    void enter(std::vector<FileURL> files, DragPermit permit);
    bool isActive() const { return !files_.empty(); }
    const std::vector<FileURL>& files() const { return files_; }
    bool holds(const FileURL& file) const { return fileSet_.contains(file); }
    /// Every one of them is a folder; false until that is known.
    bool areFolders() const { return areFolders_; }

    DropAct hover(const DropPlace& place, DragWish wish);
    /// "Move to “Documents”"; empty for none.
    std::string sentence(const DropPlace& place, DropAct act) const;
    /// Hands what hover() says to the model, and ends the visit.
    DropAct drop(const DropPlace& place, DragWish wish);
    void leave();

    /// Opens what has been hovered over for a while; leave() takes it back.
    void openFolder(PaneModel& pane, const FileURL& folder);
    void openTab(const UUID& tab);

    /// For tests: another way to ask a disk.
    void setReader(StandingReader reader) { reader_ = std::move(reader); }

Q_SIGNALS:
    /// What hover() says may be another now.
    void changed();
    /// The visit is over, by a drop or without one.
    void ended();

private:
    struct Trail;
    struct Hovered {
        DropPlace place;
        DragWish wish;
        DropAct act;
    };

    DropAct actAt(const DropPlace& place, DragWish wish);
    void askAboutFiles();
    VolumeRelation relationOf(const FileURL& folder);
    Trail& trail();
    void goBack();
    PaneModel* paneOf(const UUID& id) const;
    void end();

    AppModel& app_;
    StandingReader reader_;
    std::vector<FileURL> files_;
    std::set<FileURL> fileSet_;
    DragPermit permit_;
    /// Of all files, when they lie on one volume; the outer is absent until known.
    std::optional<std::optional<DragStanding>> standing_;
    bool areFolders_ = false;
    std::map<FileURL, std::optional<DragStanding>> folders_; ///< those that have answered
    std::set<FileURL> asked_;
    std::optional<Hovered> last_; ///< what hover() said
    std::unique_ptr<Trail> trail_;
    std::vector<TaskHandle> questions_; ///< of this visit
    TaskScope tasks_;
};

} // namespace morv
