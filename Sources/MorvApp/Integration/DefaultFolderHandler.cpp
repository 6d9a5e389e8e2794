#include "MorvApp/Integration/DefaultFolderHandler.h"

#include "MorvApp/Integration/GObjects.h"
#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Platform/UserFolders.h"

#include <cerrno>
#include <cstdio>
#include <gio/gdesktopappinfo.h>
#include <optional>
#include <string_view>
#include <utility>

namespace morv {

namespace {

constexpr const char* desktopID = "org.morv.Morv.desktop";
constexpr const char* folderType = "inode/directory";

FileURL serviceFile() {
    return dataHome().child("dbus-1").child("services").child("org.freedesktop.FileManager1.service");
}

std::string contentOf(const FileURL& file) {
    char* bytes = nullptr;
    gsize length = 0;
    if (g_file_get_contents(file.path().c_str(), &bytes, &length, nullptr) == FALSE)
        return {};
    const GText owned(bytes);
    return {bytes, length};
}

std::string currentHandler() {
    const GHandle<GAppInfo> current(g_app_info_get_default_for_type(folderType, FALSE));
    const char* id = current ? g_app_info_get_id(current.get()) : nullptr;
    return id ? id : "";
}

/// Throws with `sentence` for an id that names no application.
void setHandler(const std::string& id, const char* sentence) {
    const GHandle<GDesktopAppInfo> application(g_desktop_app_info_new(id.c_str()));
    GFailure failure;
    if (!application ||
        g_app_info_set_as_default_for_type(G_APP_INFO(application.get()), folderType, failure) == FALSE)
        throw FileOperationError::unavailable(failure.sentence(sentence));
}

void writeService(const std::string& content) {
    const auto file = serviceFile();
    GFailure failure;
    if (g_mkdir_with_parents(file.parent().path().c_str(), 0700) != 0)
        throw FileOperationError::unavailable(PosixError(errno, file.parent().path()).what());
    // Put in place by a rename: the bus never reads half of it.
    if (g_file_set_contents(file.path().c_str(), content.data(), static_cast<gssize>(content.size()),
                            failure) == FALSE)
        throw FileOperationError::unavailable(failure.sentence("The start file could not be written."));
}

} // namespace

std::string DefaultFolderHandler::serviceContent() const {
    const GText quoted(g_shell_quote(program_.path().c_str()));
    return std::string("[D-BUS Service]\nName=org.freedesktop.FileManager1\nExec=") + quoted.get() +
           " --service\n";
}

bool DefaultFolderHandler::isDefault() const {
    return currentHandler() == desktopID;
}

std::string DefaultFolderHandler::currentName() {
    const GHandle<GAppInfo> current(g_app_info_get_default_for_type(folderType, FALSE));
    const char* name = current ? g_app_info_get_display_name(current.get()) : nullptr;
    return name ? name : "";
}

void DefaultFolderHandler::makeDefault() {
    if (!isDefault()) {
        const auto before = currentHandler();
        setHandler(desktopID, "Morv is not installed for this user, so folders cannot be opened with it.");
        defaults_.setReplacedFolderHandler(before);
    }
    const auto wanted = serviceContent();
    if (const auto present = contentOf(serviceFile()); present != wanted) {
        writeService(wanted);
        defaults_.setReplacedFileManagerService(present);
    }
}

void DefaultFolderHandler::restore() {
    if (isDefault()) {
        if (const auto before = defaults_.replacedFolderHandler(); before.empty())
            g_app_info_reset_type_associations(folderType);
        else
            setHandler(before, "What opened folders before is not installed any more.");
    }
    defaults_.setReplacedFolderHandler({});
    if (contentOf(serviceFile()) == serviceContent()) {
        if (const auto before = defaults_.replacedFileManagerService(); !before.empty())
            writeService(before);
        else if (std::remove(serviceFile().path().c_str()) != 0)
            throw FileOperationError::unavailable(PosixError(errno, serviceFile().path()).what());
    }
    defaults_.setReplacedFileManagerService({});
}

FolderHandler::State DesktopFolderHandler::state() const {
    UserDefaults defaults(defaultsFile_);
    return {DefaultFolderHandler(program_, defaults).isDefault(), DefaultFolderHandler::currentName()};
}

void DesktopFolderHandler::makeDefault() const {
    UserDefaults defaults(defaultsFile_);
    DefaultFolderHandler(program_, defaults).makeDefault();
}

void DesktopFolderHandler::restore() const {
    UserDefaults defaults(defaultsFile_);
    DefaultFolderHandler(program_, defaults).restore();
}

} // namespace morv
