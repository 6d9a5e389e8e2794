#include "MorvApp/Integration/DesktopApplications.h"

#include "MorvApp/Integration/GObjects.h"
#include "MorvCore/Foundation/Errors.h"

#include <algorithm>
#include <gio/gdesktopappinfo.h>
#include <set>
#include <string>

namespace morv {

namespace {

constexpr const char* notStarted = "The application could not be opened.";
constexpr const char* ourselves = "org.morv.Morv.desktop";

std::string typeOf(const FileURL& item) {
    if (item.isFolder())
        return "inode/directory";
    const GText type(g_content_type_guess(std::string(item.lastComponent()).c_str(), nullptr, 0, nullptr));
    return type.get();
}

std::vector<InstalledApplication> applicationsFor(const std::string& type) {
    std::vector<InstalledApplication> found;
    GList* all = g_app_info_get_all_for_type(type.c_str());
    for (const auto* link = all; link; link = link->next) {
        auto* application = G_APP_INFO(link->data);
        const char* file = G_IS_DESKTOP_APP_INFO(application)
                               ? g_desktop_app_info_get_filename(G_DESKTOP_APP_INFO(application))
                               : nullptr;
        const char* id = g_app_info_get_id(application);
        if (!file || !id || std::string_view(id) == ourselves || g_app_info_should_show(application) == FALSE)
            continue;
        auto* icon = g_app_info_get_icon(application);
        const GText iconName(icon ? g_icon_to_string(icon) : nullptr);
        found.push_back({FileURL::fromPath(file), g_app_info_get_display_name(application),
                         iconName ? iconName.get() : ""});
    }
    g_list_free_full(all, g_object_unref);
    return found;
}

} // namespace

std::vector<InstalledApplication> DesktopApplications::thatOpen(const std::vector<FileURL>& items) const {
    std::vector<InstalledApplication> common;
    std::set<std::string> types;
    for (const auto& item : items) {
        if (!types.insert(typeOf(item)).second)
            continue;
        const auto candidates = applicationsFor(typeOf(item));
        if (types.size() == 1)
            common = candidates;
        else
            std::erase_if(common, [&](const InstalledApplication& application) {
                return std::ranges::find(candidates, application.file, &InstalledApplication::file) ==
                       candidates.end();
            });
    }
    return common;
}

void DesktopApplications::open(const InstalledApplication& application,
                               const std::vector<FileURL>& items) const {
    const GHandle<GDesktopAppInfo> entry(
        g_desktop_app_info_new_from_filename(application.file.path().c_str()));
    if (!entry)
        throw FileOperationError::unavailable(notStarted);
    std::vector<std::string> texts;
    for (const auto& item : items)
        texts.push_back(item.absoluteString());
    GList* uris = nullptr;
    for (auto& text : texts)
        uris = g_list_prepend(uris, text.data());
    uris = g_list_reverse(uris);
    GFailure failure;
    const bool isStarted = g_app_info_launch_uris(G_APP_INFO(entry.get()), uris, nullptr, failure) != FALSE;
    g_list_free(uris);
    if (!isStarted)
        throw FileOperationError::unavailable(failure.sentence(notStarted));
}

} // namespace morv
