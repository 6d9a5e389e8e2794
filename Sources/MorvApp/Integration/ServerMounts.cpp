#include "MorvApp/Integration/ServerMounts.h"

#include "MorvApp/Integration/GObjects.h"

#include <stdexcept>
#include <utility>

namespace morv {

namespace {

/// Outlives the attempt until GIO has given its last answer.
struct Mounting {
    GHandle<GFile> file;
    GHandle<GMountOperation> operation;
    GHandle<GCancellable> cancellable;
    ServerConnector::Listener listener;
    std::unique_ptr<TaskScope> tasks;
    bool isAbandoned = false;
    bool isAsking = false; ///< a question waits for its answer
};
using Shared = std::shared_ptr<Mounting>;

std::string text(const char* given) {
    return given ? given : std::string();
}

void ask(Mounting& mounting, const ServerQuestion& question) {
    mounting.isAsking = true;
    mounting.listener.asked(question);
}

void passwordAsked(GMountOperation*, const char* message, const char* user, const char* domain,
                   GAskPasswordFlags flags, gpointer data) {
    const auto has = [flags](GAskPasswordFlags flag) { return (flags & flag) != 0; };
    ServerQuestion question;
    question.message = text(message);
    question.user = text(user);
    question.domain = text(domain);
    question.asksUser = has(G_ASK_PASSWORD_NEED_USERNAME);
    question.asksDomain = has(G_ASK_PASSWORD_NEED_DOMAIN);
    question.asksPassword = has(G_ASK_PASSWORD_NEED_PASSWORD);
    question.allowsGuest = has(G_ASK_PASSWORD_ANONYMOUS_SUPPORTED);
    question.allowsRemembering = has(G_ASK_PASSWORD_SAVING_SUPPORTED);
    ask(**static_cast<Shared*>(data), question);
}

void questionAsked(GMountOperation*, const char* message, const char* const* choices, gpointer data) {
    ServerQuestion question;
    question.message = text(message);
    for (; choices && *choices; ++choices)
        question.choices.emplace_back(*choices);
    ask(**static_cast<Shared*>(data), question);
}

void aborted(GMountOperation*, gpointer data) {
    g_cancellable_cancel((*static_cast<Shared*>(data))->cancellable.get());
}

std::string sentenceOf(const GError& error) {
    if (error.domain == G_IO_ERROR && error.code == G_IO_ERROR_NOT_SUPPORTED)
        return "This computer has no support for addresses of this kind. Its network file systems (GVfs) may "
               "be missing or incomplete.";
    if (error.domain == G_IO_ERROR && error.code == G_IO_ERROR_HOST_NOT_FOUND)
        return "No server of this name was found.";
    return error.message;
}

/// Where the mounted address stands is asked aside: the answer may come from the server.
void tellFolder(const Shared& mounting) {
    mounting->tasks->run(
        TaskLane::reading,
        [file = std::shared_ptr<GFile>(g_file_dup(mounting->file.get()), GObjectRelease())](
            const std::stop_token&) {
            const GText path(g_file_get_path(file.get()));
            if (!path)
                throw std::runtime_error("The server was reached, but the system does not show it as a "
                                         "folder. The part of GVfs that does (gvfs-fuse) may be missing.");
            return FileURL::folder(path.get());
        },
        [mounting = mounting.get()](const FileURL& folder) { mounting->listener.mounted(folder); },
        [mounting = mounting.get()](const std::exception_ptr& failure) {
            mounting->listener.failed(sentence(failure));
        });
}

void mountEnded(GObject* file, GAsyncResult* result, gpointer data) {
    const std::unique_ptr<Shared> held(static_cast<Shared*>(data));
    const auto& mounting = *held;
    GFailure failure;
    const bool succeeded = g_file_mount_enclosing_volume_finish(G_FILE(file), result, failure) == TRUE;
    if (mounting->isAbandoned)
        return;
    const auto* error = failure.get();
    if (succeeded || g_error_matches(error, G_IO_ERROR, G_IO_ERROR_ALREADY_MOUNTED))
        return tellFolder(mounting);
    // What a person gave up, or was told already, needs no sentence.
    const bool isQuiet = g_error_matches(error, G_IO_ERROR, G_IO_ERROR_FAILED_HANDLED) ||
                         g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED);
    mounting->listener.failed(isQuiet ? std::string() : sentenceOf(*error));
}

void release(gpointer data, GClosure*) {
    delete static_cast<Shared*>(data);
}

class Attempt : public ServerAttempt {
public:
    explicit Attempt(Shared mounting) : mounting_(std::move(mounting)) {}
    Attempt(const Attempt&) = delete;
    Attempt& operator=(const Attempt&) = delete;
    ~Attempt() override {
        mounting_->isAbandoned = true;
        mounting_->tasks.reset();
        auto* operation = mounting_->operation.get();
        // They hold what holds them.
        for (const auto callback :
             {G_CALLBACK(passwordAsked), G_CALLBACK(questionAsked), G_CALLBACK(aborted)})
            g_signal_handlers_disconnect_matched(operation, G_SIGNAL_MATCH_FUNC, 0, 0, nullptr,
                                                 reinterpret_cast<gpointer>(callback), nullptr);
        if (std::exchange(mounting_->isAsking, false))
            g_mount_operation_reply(operation, G_MOUNT_OPERATION_ABORTED);
        g_cancellable_cancel(mounting_->cancellable.get());
    }

    void answer(const ServerAnswer& answer) override {
        if (!std::exchange(mounting_->isAsking, false))
            return;
        auto* operation = mounting_->operation.get();
        g_mount_operation_set_username(operation, answer.user.c_str());
        g_mount_operation_set_domain(operation, answer.domain.c_str());
        g_mount_operation_set_password(operation, answer.password.c_str());
        g_mount_operation_set_anonymous(operation, answer.asGuest ? TRUE : FALSE);
        g_mount_operation_set_password_save(operation, answer.remember ? G_PASSWORD_SAVE_FOR_SESSION
                                                                       : G_PASSWORD_SAVE_NEVER);
        g_mount_operation_set_choice(operation, answer.choice);
        g_mount_operation_reply(operation, G_MOUNT_OPERATION_HANDLED);
    }

private:
    Shared mounting_;
};

} // namespace

std::unique_ptr<ServerAttempt> ServerMounts::reach(const std::string& address, Listener listener) {
    auto mounting = std::make_shared<Mounting>();
    mounting->file.reset(g_file_new_for_uri(address.c_str()));
    mounting->operation.reset(g_mount_operation_new());
    mounting->cancellable.reset(g_cancellable_new());
    mounting->listener = std::move(listener);
    mounting->tasks = std::make_unique<TaskScope>(pools_);
    const auto follow = [&mounting](const char* signal, GCallback callback) {
        g_signal_connect_data(mounting->operation.get(), signal, callback, new Shared(mounting), release,
                              GConnectFlags(0));
    };
    follow("ask-password", G_CALLBACK(passwordAsked));
    follow("ask-question", G_CALLBACK(questionAsked));
    follow("aborted", G_CALLBACK(aborted));
    g_file_mount_enclosing_volume(mounting->file.get(), G_MOUNT_MOUNT_NONE, mounting->operation.get(),
                                  mounting->cancellable.get(), mountEnded, new Shared(mounting));
    return std::make_unique<Attempt>(mounting);
}

} // namespace morv
