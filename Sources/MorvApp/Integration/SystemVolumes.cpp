#include "MorvApp/Integration/SystemVolumes.h"

#include "MorvApp/Integration/GObjects.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Platform/UserFolders.h"

#include <QPointer>
#include <QTimer>
#include <algorithm>
#include <array>
#include <gio/gunixmounts.h>
#include <sys/stat.h>
#include <utility>

namespace morv {

namespace {

constexpr std::array<const char*, 5> syncFolders = {"Dropbox", "Google Drive", "Nextcloud", "OneDrive",
                                                    "ownCloud"};

/// Where people and desktops mount what comes and goes.
bool isVolumePlace(const FileURL& url) {
    return std::ranges::any_of(std::array{"/media", "/run/media", "/mnt"}, [&](const char* place) {
        const auto folder = FileURL::fromPath(place);
        return url.isWithin(folder) && url != folder;
    });
}

/// Blocks: the home folder may be far away.
std::vector<Volume> readSyncFolders() {
    std::vector<Volume> found;
    for (const auto* name : syncFolders) {
        const auto folder = homeFolder().child(name).asFolder();
        struct stat known {};
        if (stat(folder.path().c_str(), &known) == 0 && S_ISDIR(known.st_mode))
            found.push_back({folder, name, true, false});
    }
    return found;
}

bool isRemovable(GMount* mount) {
    const GHandle<GDrive> drive(g_mount_get_drive(mount));
    return drive && (g_drive_is_removable(drive.get()) == TRUE || g_drive_can_eject(drive.get()) == TRUE);
}

struct Ejection {
    QPointer<SystemVolumes> source;
    QPointer<QObject> context;
    VolumeSource::Ejected done;
    decltype(&g_mount_eject_with_operation_finish) finish;
};

void ejectionEnded(GObject* mount, GAsyncResult* result, gpointer data) {
    const std::unique_ptr<Ejection> ejection(static_cast<Ejection*>(data));
    GFailure failure;
    const bool succeeded = ejection->finish(G_MOUNT(mount), result, failure) == TRUE;
    if (succeeded && ejection->source)
        ejection->source->refresh();
    if (ejection->context)
        ejection->done(succeeded ? std::nullopt
                                 : std::optional(failure.sentence("The volume could not be ejected.")));
}

} // namespace

/// GIO's two monitors and the mounts that can be asked to go.
class SystemVolumes::Monitors {
public:
    explicit Monitors(SystemVolumes& owner)
        : volumes_(g_volume_monitor_get()), mountTable_(g_unix_mount_monitor_get()) {
        const auto follow = [&owner](void* monitor, const char* signal, GCallback callback) {
            g_signal_connect_swapped(monitor, signal, callback, &owner);
        };
        const auto tell = +[](SystemVolumes* source) { source->changed(); };
        for (const auto* signal : {"mount-added", "mount-removed", "mount-changed"})
            follow(volumes_.get(), signal, G_CALLBACK(tell));
        follow(mountTable_.get(), "mounts-changed", G_CALLBACK(tell));
        owner_ = &owner;
    }
    ~Monitors() {
        g_signal_handlers_disconnect_by_data(volumes_.get(), owner_);
        g_signal_handlers_disconnect_by_data(mountTable_.get(), owner_);
    }
    Monitors(const Monitors&) = delete;
    Monitors& operator=(const Monitors&) = delete;

    Lists read() {
        mounts_.clear();
        Lists lists;
        lists.mounted.push_back({FileURL::folder("/"), "File System", true, false});
        GList* all = g_volume_monitor_get_mounts(volumes_.get());
        for (GList* item = all; item; item = item->next) {
            GHandle<GMount> mount(static_cast<GMount*>(item->data));
            add(lists, std::move(mount));
        }
        g_list_free(all);
        addFromTable(lists);
        return lists;
    }

    GMount* at(const FileURL& url) const {
        const auto found = mounts_.find(url);
        return found == mounts_.end() ? nullptr : found->second.get();
    }

private:
    void add(Lists& lists, GHandle<GMount> mount) {
        const GHandle<GFile> root(g_mount_get_root(mount.get()));
        const GText path(g_file_get_path(root.get()));
        if (g_mount_is_shadowed(mount.get()) == TRUE || !path)
            return;
        const GText name(g_mount_get_name(mount.get()));
        const auto url = FileURL::folder(path.get());
        const bool isNetwork = g_file_is_native(root.get()) == FALSE;
        Volume volume{url, name ? name.get() : std::string(url.lastComponent()),
                      !isNetwork && !isRemovable(mount.get()) && !isVolumePlace(url),
                      g_mount_can_eject(mount.get()) == TRUE || g_mount_can_unmount(mount.get()) == TRUE};
        (isNetwork ? lists.network : lists.mounted).push_back(std::move(volume));
        mounts_[url] = std::move(mount);
    }

    /// What was mounted by other means than the desktop's.
    void addFromTable(Lists& lists) {
        GList* all = g_unix_mounts_get(nullptr);
        for (GList* item = all; item; item = item->next) {
            auto* entry = static_cast<GUnixMountEntry*>(item->data);
            const auto url = FileURL::folder(g_unix_mount_get_mount_path(entry));
            if (isVolumePlace(url) &&
                std::ranges::find(lists.mounted, url, &Volume::url) == lists.mounted.end())
                lists.mounted.push_back({url, repairedUTF8(url.lastComponent()), false, false});
            g_unix_mount_free(entry);
        }
        g_list_free(all);
    }

    SystemVolumes* owner_ = nullptr;
    GHandle<GVolumeMonitor> volumes_;
    GHandle<GUnixMountMonitor> mountTable_;
    std::map<FileURL, GHandle<GMount>> mounts_;
};

SystemVolumes::SystemVolumes(TaskPools& pools, QObject* parent) : VolumeSource(parent), tasks_(pools) {}

SystemVolumes::~SystemVolumes() = default;

void SystemVolumes::begin() {
    if (monitors_)
        return;
    monitors_ = std::make_unique<Monitors>(*this);
    refresh();
}

void SystemVolumes::changed() {
    Q_EMIT volumesChanged();
    // One mount makes several notices.
    if (!std::exchange(refreshing_, true))
        QTimer::singleShot(0, this, [this] {
            refreshing_ = false;
            refresh();
        });
}

void SystemVolumes::refresh() {
    if (!monitors_)
        return;
    looking_.cancel();
    looking_ = tasks_.run(
        TaskLane::reading, [](const std::stop_token&) { return readSyncFolders(); },
        [this](std::vector<Volume> clouds) {
            auto lists = monitors_->read();
            std::ranges::move(lists.network, std::back_inserter(clouds));
            mounted_ = std::move(lists.mounted);
            cloud_ = std::move(clouds);
            Q_EMIT listsChanged();
        },
        [](const std::exception_ptr&) {});
}

void SystemVolumes::eject(const FileURL& url, QObject* context, Ejected done) {
    auto* mount = monitors_ ? monitors_->at(url) : nullptr;
    if (!mount)
        return done("This volume is not mounted, or only an administrator can unmount it.");
    auto* ejection = new Ejection{this, context, std::move(done), g_mount_eject_with_operation_finish};
    if (g_mount_can_eject(mount) == TRUE)
        return g_mount_eject_with_operation(mount, G_MOUNT_UNMOUNT_NONE, nullptr, nullptr, ejectionEnded,
                                            ejection);
    ejection->finish = g_mount_unmount_with_operation_finish;
    g_mount_unmount_with_operation(mount, G_MOUNT_UNMOUNT_NONE, nullptr, nullptr, ejectionEnded, ejection);
}

} // namespace morv
