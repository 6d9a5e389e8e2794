// What every window of the process shares, or the reason why there is none.
//
// Protocol    the first MorvRuntime::shared() opens everything; there is no shutdown beyond the order of
//             destruction, because every owner makes its own state durable when it writes
// Threading   made and used on the main thread; the store and the engine are safe to share
#pragma once

#include "MorvApp/Model/ApplicationCatalogue.h"
#include "MorvApp/Model/DeveloperToolsUI.h"
#include "MorvApp/Model/Environment.h"
#include "MorvApp/Model/FileLibrary.h"
#include "MorvApp/Model/FileWindows.h"
#include "MorvApp/Model/FinderTrashController.h"
#include "MorvApp/Model/FolderAppearanceStore.h"
#include "MorvApp/Model/FolderHandlerModel.h"
#include "MorvApp/Model/FolderInsightCache.h"
#include "MorvApp/Model/ItemSender.h"
#include "MorvApp/Model/KeyBindings.h"
#include "MorvApp/Model/LookPreferences.h"
#include "MorvApp/Model/MediaDecoder.h"
#include "MorvApp/Model/SplitLayout.h"
#include "MorvApp/Model/TagsInUse.h"
#include "MorvApp/Model/TaskScope.h"
#include "MorvApp/Model/TextHighlighter.h"
#include "MorvApp/Model/ThumbnailCache.h"
#include "MorvApp/Model/UserDefaults.h"
#include "MorvApp/Model/VolumeSpaces.h"
#include "MorvCore/Operations/FileOperationEngine.h"
#include "MorvCore/Records/SQLiteStore.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace morv {

/// Opens an item with the desktop's default application. Called on a worker; throws with a sentence.
using ItemOpener = std::function<void(const FileURL&)>;

class ServerConnector;

class MorvServices {
public:
    /// Opens the record store in the data directory and starts reading the engine's history, which repairs
    /// what an interrupted process left. Throws PersistenceError or PosixError; nothing stands then.
    explicit MorvServices(Environment environment, ItemOpener opener = {}, EngineObservers observers = {});
    MorvServices(const MorvServices&) = delete;
    MorvServices& operator=(const MorvServices&) = delete;

    /// MORV_DATA_DIRECTORY as it is given (a relative one from the working directory, as in morvctl), else
    /// "Morv" in the user's data folder. Throws PosixError when the working directory is needed and gone.
    static FileURL dataDirectory(const Environment& environment);
    /// "Morv.conf" in the user's configuration folder.
    static FileURL defaultsFile();
    /// Where a new window begins: MORV_START_DIRECTORY, what the user has chosen (at first the last folder),
    /// Downloads, home. Not looked up.
    FileURL firstFolder() const;
    /// With a start folder from the environment the remembered one is left alone.
    bool remembersLocation() const { return !value(environment, "MORV_START_DIRECTORY"); }

    void emptyTrash() { trash.requestEmptyTrash(TrashHandoff::of(engine)); }
    /// Asks the engine for a handoff that an earlier process left and shows it in `trash`.
    void presentPendingHandoff();

    const Environment environment;
    const FileURL directory; ///< of the records
    UserDefaults defaults;
    LookPreferences look;

private:
    DataDirectoryLock lock_;

public:
    SQLiteStore store;
    FileOperationEngine engine;
    /// Null where nothing can be sent.
    std::shared_ptr<const ItemSender> itemSender;
    ItemOpener opener;
    /// Of windows that are made from now on; null where nothing can be started.
    std::shared_ptr<const DeveloperToolLauncher> toolLauncher;
    /// Null where no application can be started.
    std::shared_ptr<const ApplicationCatalogue> applications;
    /// Null where the desktop has no such choice.
    std::shared_ptr<const FolderHandler> folderHandler;
    /// Null where no server can be reached.
    ServerConnector* servers = nullptr;
    /// Of windows that are made from now on. Null: files are shown by the icon of their type.
    std::shared_ptr<const MediaDecoder> mediaDecoder;
    /// Null: texts are not coloured.
    std::shared_ptr<const TextHighlighter> textHighlighter;
    TaskPools pools;
    SplitLayoutRegistry layout;
    KeyBindings keys;
    FileLibrary library;
    TagsInUse tags;
    VolumeSpaces spaces;
    FolderInsightCache insights;
    ThumbnailCache thumbnails;
    FolderAppearanceStore appearances;
    FileWindows windows;
    FinderTrashController trash;

private:
    TaskScope tasks_;
};

class MorvRuntime {
public:
    /// Made on the first call, from the process environment.
    static MorvRuntime& shared();
    explicit MorvRuntime(Environment environment, ItemOpener opener = {});

    /// Exactly one of the two is present.
    MorvServices* services() { return services_.get(); }
    const std::optional<std::string>& startupError() const { return startupError_; }

    /// How shared() opens items; set before its first call.
    static void setSharedOpener(ItemOpener opener);

private:
    std::unique_ptr<MorvServices> services_;
    std::optional<std::string> startupError_;
};

} // namespace morv
