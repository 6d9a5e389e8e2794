#include "MorvApp/Integration/SystemTrashService.h"

#include "MorvApp/Integration/GObjects.h"
#include "MorvApp/Model/FinderTrashController.h"
#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/Mutex.h"
#include "MorvCore/Foundation/Unicode.h"

#include <exception>
#include <fmt/format.h>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace morv {

namespace {

constexpr const char* trashURI = "trash:///";
constexpr const char* folderType = "inode/directory";
constexpr std::string_view ownDesktopID = "org.morv.Morv.desktop";
/// How long a call that was cancelled may take to come back before it is left to itself.
constexpr std::chrono::milliseconds grace{1'000};

/// The system's words, made a sentence.
std::string reason(const GFailure& failure) {
    auto text = failure.sentence("The Trash service gave no reason.");
    if (!text.ends_with('.'))
        text += '.';
    return text;
}

/// GIO's own code; what another layer reports has none.
int codeOf(const GFailure& failure) {
    const auto* error = failure.get();
    return error && error->domain == G_IO_ERROR ? error->code : G_IO_ERROR_FAILED;
}

/// What the service is asked, on a thread of its own. It ends when it is done or soon after `cancellable` was
/// cancelled.
class Emptying {
public:
    explicit Emptying(GCancellable* cancellable) : cancellable_(cancellable) {}

    void run() {
        const GHandle<GFile> trash(g_file_new_for_uri(trashURI));
        const auto names = children(trash.get());
        for (const auto& name : names)
            remove(trash.get(), name);
        if (refused_ > 0)
            throw FinderTrashFailure(firstCode_,
                                     fmt::format("{} of {} items were refused, first “{}”: {}", refused_,
                                                 names.size(), displayText(firstName_), firstReason_));
    }

private:
    /// All of them before the first is removed: until then nothing has been asked for.
    std::vector<std::string> children(GFile* trash) {
        GFailure failure;
        const GHandle<GFileEnumerator> enumerator(
            g_file_enumerate_children(trash, G_FILE_ATTRIBUTE_STANDARD_NAME,
                                      G_FILE_QUERY_INFO_NOFOLLOW_SYMLINKS, cancellable_, failure));
        std::vector<std::string> names;
        GFileInfo* info = nullptr;
        bool isRead = enumerator != nullptr;
        while (isRead) {
            isRead =
                g_file_enumerator_iterate(enumerator.get(), &info, nullptr, cancellable_, failure) == TRUE;
            if (!info)
                break;
            names.emplace_back(g_file_info_get_name(info));
        }
        checkTime();
        if (!isRead)
            throw FinderTrashFailure(FinderTrashFailure::notReached, reason(failure));
        return names;
    }

    void remove(GFile* trash, const std::string& name) {
        checkTime();
        GFailure failure;
        const GHandle<GFile> item(g_file_get_child(trash, name.c_str()));
        if (g_file_delete(item.get(), cancellable_, failure) == TRUE)
            return;
        checkTime();
        // Gone is what was asked for, whoever did it.
        if (codeOf(failure) == G_IO_ERROR_NOT_FOUND || refused_++ > 0)
            return;
        firstCode_ = codeOf(failure);
        firstName_ = name;
        firstReason_ = reason(failure);
    }

    void checkTime() {
        if (g_cancellable_is_cancelled(cancellable_) == TRUE)
            throw FinderTrashFailure(FinderTrashFailure::timedOut);
    }

    GCancellable* cancellable_;
    std::size_t refused_ = 0;
    int firstCode_ = 0;
    std::string firstName_;
    std::string firstReason_;
};

/// What the caller and the thread share. The thread may outlive the call: the first contact with a bus that
/// does not answer cannot be cancelled.
struct Shared {
    const GHandle<GCancellable> cancellable{g_cancellable_new()};
    Mutex mutex;
    std::condition_variable changed;
    bool isDone MORV_GUARDED_BY(mutex) = false;
    std::exception_ptr failure MORV_GUARDED_BY(mutex);

    /// Until it is done, `until`, or a stop.
    void wait(MutexLock& lock, std::chrono::steady_clock::time_point until, const std::stop_token& stop)
        MORV_REQUIRES(mutex) {
        while (!isDone && !stop.stop_requested())
            if (lock.waitUntil(changed, until) == std::cv_status::timeout)
                return;
    }
};

void work(Shared& shared) {
    std::exception_ptr failure;
    try {
        Emptying(shared.cancellable.get()).run();
    } catch (...) {
        failure = std::current_exception();
    }
    {
        const MutexLock lock(shared.mutex);
        shared.isDone = true;
        shared.failure = std::move(failure);
    }
    shared.changed.notify_all();
}

} // namespace

void emptySystemTrash(std::chrono::milliseconds limit, const std::stop_token& stop) {
    checkCancelled(stop);
    const auto shared = std::make_shared<Shared>();
    const auto deadline = std::chrono::steady_clock::now() + limit;
    std::thread([shared] { work(*shared); }).detach();
    const std::stop_callback wake(stop, [&shared] {
        // Under the lock: it may be just about to wait.
        { const MutexLock lock(shared->mutex); }
        shared->changed.notify_all();
    });
    std::exception_ptr failure;
    bool isDone = false;
    {
        MutexLock lock(shared->mutex);
        shared->wait(lock, deadline, stop);
        if (!shared->isDone) {
            lock.unlock();
            g_cancellable_cancel(shared->cancellable.get());
            lock.lock();
            shared->wait(lock, std::chrono::steady_clock::now() + grace, {});
        }
        isDone = shared->isDone;
        failure = shared->failure;
    }
    if (stop.stop_requested() && (!isDone || failure))
        throw CancellationError();
    if (!isDone)
        throw FinderTrashFailure(FinderTrashFailure::timedOut);
    if (failure)
        std::rethrow_exception(failure);
}

void openSystemTrash() {
    const auto isUsable = [](GAppInfo* application) {
        const char* id = application ? g_app_info_get_id(application) : nullptr;
        return application && (!id || id != ownDesktopID) && g_app_info_supports_uris(application) == TRUE;
    };
    GHandle<GAppInfo> chosen(g_app_info_get_default_for_uri_scheme("trash"));
    if (!isUsable(chosen.get()))
        chosen.reset(g_app_info_get_default_for_type(folderType, TRUE));
    if (!isUsable(chosen.get())) {
        chosen.reset();
        GList* all = g_app_info_get_all_for_type(folderType);
        for (GList* item = all; item; item = item->next) {
            GHandle<GAppInfo> application(G_APP_INFO(item->data));
            if (!chosen && isUsable(application.get()))
                chosen = std::move(application);
        }
        g_list_free(all);
    }
    if (!chosen)
        throw FileOperationError::unavailable("No other file manager that shows Trash is installed.");
    std::string uri = trashURI;
    GList places{uri.data(), nullptr, nullptr};
    GFailure failure;
    if (g_app_info_launch_uris(chosen.get(), &places, nullptr, failure) == FALSE)
        throw FileOperationError::unavailable(failure.sentence("The file manager could not be started."));
}

} // namespace morv
