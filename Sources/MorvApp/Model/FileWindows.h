// The windows of the process, and the way of every request from outside into one of them.
//
// Protocol    a new window is made by the factory; configure() and registerWindow() attach it; becameKey() is
//             told whenever the user turns to it; what comes from outside goes through open()
// Invariants  I1  models and windows are held weakly: a window that closes takes its model with it
//             I2  a request reads before it shows anything, and never on the main thread
//             I3  of two requests for the window that is there the later one wins, however long the earlier
//                 one's volume took to answer; one for a window of its own always gets it
//             I4  a selection or a command is applied only to the folder it was meant for, completely read; a
//                 selection that is not complete any more is shown and never acted on
// Threading   confined to the main thread
#pragma once

#include "MorvApp/Model/FileCommand.h"
#include "MorvApp/Model/FileWindow.h"
#include "MorvApp/Model/OutsideRequest.h"
#include "MorvApp/Model/PaneArrival.h"
#include "MorvApp/Model/TaskScope.h"
#include "MorvCore/Foundation/FileURL.h"

#include <QObject>
#include <QPointer>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace morv {

class AppModel;
class FileOperationEngine;
class UserDefaults;
class VolumeSource;

/// What the process says when it is asked to end.
struct QuitAnswer {
    enum class Verdict : std::uint8_t {
        quit,
        ask,    ///< show `title`, `text` and both buttons; only the last button quits
        refuse, ///< show `title`, `text` and the one button
    };

    Verdict verdict = Verdict::quit;
    std::string title;
    std::string text;
    std::vector<std::string> buttons;
};

class FileWindows : public QObject {
    Q_OBJECT

public:
    /// Makes a window that begins at the folder, else at the services' first one. It is not yet visible.
    using Factory = std::function<FileWindow*(const std::optional<FileURL>&)>;
    enum class Placement : std::uint8_t {
        open,  ///< a folder is shown, anything else is selected in its folder
        reveal ///< everything is selected in its folder
    };
    /// No request opens more windows than this.
    static constexpr std::size_t mostWindowsAtOnce = 12;

    FileWindows(FileOperationEngine& engine, TaskPools& pools, UserDefaults& defaults)
        : engine_(engine), defaults_(defaults), tasks_(pools) {}

    void setFactory(Factory factory) { factory_ = std::move(factory); }
    /// May be null. Outlives this.
    void setVolumes(VolumeSource* volumes) { volumes_ = volumes; }
    VolumeSource* volumes() const { return volumes_; }
    /// Whether something beside the windows wants to be asked before the process ends.
    void setShelvesEnabled(std::function<bool()> enabled) { shelvesEnabled_ = std::move(enabled); }
    /// Something without a window by which the user can reach the process, such as a tray icon.
    void addAnchor(std::function<bool()> isThere) { anchors_.push_back(std::move(isThere)); }
    /// Whether a process without windows can be asked for one.
    void setReachable(bool reachable) { reachable_ = reachable; }
    void setPatience(PaneArrival::Patience patience) { patience_ = patience; }

    /// Makes `model` the active one and answers its wish for another window.
    void configure(AppModel& model);
    void registerWindow(FileWindow& window);
    /// The window has the keyboard now.
    void becameKey(FileWindow& window);
    /// Opens one more window. Null without a factory.
    FileWindow* newWindow(const std::optional<FileURL>& at = {});
    /// The model of the window that a request belongs to: the active one if it can be seen, else any that can
    /// be, else a new one at `at`; brought forward. Null without a factory.
    AppModel* visibleManager(const FileURL& at);
    AppModel* activeModel() const;
    std::size_t visibleCount() const;
    bool anyVisible() const { return visibleCount() > 0; }

    /// What an incoming URL names: a file URL itself, or the "path" of "morv://open?path=…". Anything else is
    /// nothing.
    static std::optional<FileURL> fileURL(std::string_view url);
    /// Shows the item: a folder, or the folder of anything else with the item selected. With a `selection`
    /// (ids of entries) that is selected instead; a `command` then runs on it. A URL that names no file is
    /// ignored.
    void open(std::string_view url, std::set<std::string> selection = {},
              std::optional<CommandCall> command = {});
    /// Shows several items at once, those of one folder in one window: the first folder as open() does, each
    /// further one in a new window.
    void openAll(const std::vector<std::string>& urls, Placement placement,
                 const std::optional<CommandCall>& command = {});
    /// Any request of another program, the desktop or a second start.
    void handle(const OutsideRequest& request);
    void showActivity();
    void chooseFolder();

    /// The window that presents the first-run introduction; null: none.
    AppModel* introductionTarget() const;
    /// Without a model in the window that a request belongs to.
    void showIntroduction(AppModel* model = nullptr);
    /// At the first window of a user who has not seen it.
    void offerIntroduction(AppModel& model);
    /// The sheet of `model` was dismissed.
    void introductionEnded(const AppModel& model);

    const std::string& settingsSelection() const { return settingsSelection_; }
    void setSettingsSelection(std::string selection);
    void setSettingsAction(std::function<void()> action) { settingsAction_ = std::move(action); }
    void openSettings() const;

    QuitAnswer applicationShouldTerminate() const;
    /// False for the last window while files are being processed and nothing could bring a window back.
    bool mayCloseWindow() const;
    /// Whether the process is still of use: a window is visible, a request is being read, files are being
    /// processed, or an anchor holds.
    bool keepsProcess() const;

Q_SIGNALS:
    void introductionTargetChanged();
    void settingsSelectionChanged();

private:
    /// Whether there is anything that an end would interrupt. A handoff that cannot be read only looks so.
    bool isProcessing() const;

    struct ManagerWindow {
        QPointer<AppModel> model;
        std::weak_ptr<FileWindow> window;
    };
    struct Destination {
        FileURL container;
        std::set<std::string> selection;
    };

    static Destination destination(const FileURL& url, Placement placement);
    static std::vector<Destination> destinations(const std::vector<FileURL>& urls, Placement placement);
    /// Where the first of several destinations goes.
    enum class FirstWindow : std::uint8_t { visible, own };

    /// `find` runs on a worker.
    void read(std::function<std::vector<Destination>()> find, FirstWindow first,
              const std::optional<CommandCall>& command);
    void openFiles(const std::vector<std::string>& urls, Placement placement, FirstWindow first,
                   const std::optional<CommandCall>& command);
    void route(const std::vector<Destination>& destinations, FirstWindow first,
               const std::optional<CommandCall>& command);
    void show(AppModel& model, const Destination& destination, const std::optional<CommandCall>& command);
    FileURL activeFolder() const;

    FileOperationEngine& engine_;
    UserDefaults& defaults_;
    Factory factory_;
    VolumeSource* volumes_ = nullptr;
    std::function<bool()> shelvesEnabled_;
    std::vector<std::function<bool()>> anchors_;
    bool reachable_ = false;
    PaneArrival::Patience patience_;
    QPointer<AppModel> activeModel_;
    QPointer<AppModel> introductionTarget_;
    std::string settingsSelection_ = "general";
    std::function<void()> settingsAction_;
    std::vector<ManagerWindow> managers_;
    std::uint64_t requests_ = 0;
    std::uint64_t routed_ = 0; ///< of the requests for the visible window, the last that was shown
    std::uint64_t newest_ = 0; ///< of those, the last that was made
    std::size_t readings_ = 0; ///< requests whose files are being looked up
    TaskScope tasks_;
};

} // namespace morv
