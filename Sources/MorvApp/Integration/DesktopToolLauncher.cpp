#include "MorvApp/Integration/DesktopToolLauncher.h"

#include "MorvApp/Integration/DesktopSchemas.h"
#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Platform/UserFolders.h"

#include <algorithm>
#include <cstdlib>
#include <gio/gdesktopappinfo.h>
#include <map>
#include <unistd.h>

namespace morv {

namespace {

using Tool = DeveloperPathIntent::Tool;
using Folder = DeveloperTool::Folder;

constexpr const char* notStarted = "The application could not be started.";

struct Names {
    std::vector<const char*> desktopIDs;
    const char* command;
};

Names namesOf(DeveloperEditor editor) {
    switch (editor) {
    case DeveloperEditor::visualStudioCode:
        return {{"code.desktop", "com.visualstudio.code.desktop", "codium.desktop"}, "code"};
    case DeveloperEditor::cursor:
        return {{"cursor.desktop"}, "cursor"};
    case DeveloperEditor::xcode:
        return {{"xed.desktop"}, "xed"};
    case DeveloperEditor::zed:
        return {{"dev.zed.Zed.desktop"}, "zed"};
    }
    return {{}, ""};
}

/// A text as a shell would split it; nothing when its first word is no program.
std::optional<DeveloperTool> program(const std::string& line, Folder folder) {
    int count = 0;
    char** words = nullptr;
    if (g_shell_parse_argv(line.c_str(), &count, &words, nullptr) == FALSE)
        return std::nullopt;
    const std::vector<std::string> arguments(words + 1, words + count);
    const GText path(g_find_program_in_path(words[0]));
    g_strfreev(words);
    if (!path)
        return std::nullopt;
    return DeveloperTool{FileURL::fromArgument(path.get()), arguments, folder};
}

std::optional<DeveloperTool> installed(const Names& names, Folder folder) {
    for (const auto* id : names.desktopIDs) {
        const GHandle<GDesktopAppInfo> entry(g_desktop_app_info_new(id));
        if (const char* file = entry ? g_desktop_app_info_get_filename(entry.get()) : nullptr)
            return DeveloperTool{FileURL::fromPath(file), {}, folder};
    }
    return program(names.command, folder);
}

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

/// The value of a key of one of the desktop's schemas, if that is installed.
std::string setting(const char* schema, const char* key) {
    const auto settings = desktopSettings(schema, key);
    if (!settings)
        return {};
    const GText value(g_settings_get_string(settings.get(), key));
    return value.get();
}

std::string entryOfFile(const FileURL& file, const char* group, const char* key) {
    GKeyFile* keys = g_key_file_new();
    std::string result;
    if (g_key_file_load_from_file(keys, file.path().c_str(), G_KEY_FILE_NONE, nullptr) == TRUE) {
        const GText value(g_key_file_get_string(keys, group, key, nullptr));
        result = value ? value.get() : "";
    }
    g_key_file_free(keys);
    return result;
}

/// What the settings of the desktop that runs say, or its own terminal.
std::string terminalOfDesktop() {
    const auto desktop = environment("XDG_CURRENT_DESKTOP");
    const auto runs = [&desktop](const char* name) { return desktop.find(name) != std::string::npos; };
    if (runs("Cinnamon"))
        return setting("org.cinnamon.desktop.default-applications.terminal", "exec");
    if (runs("MATE"))
        return setting("org.mate.applications-terminal", "exec");
    if (runs("KDE")) {
        const auto chosen =
            entryOfFile(configurationHome().child("kdeglobals"), "General", "TerminalApplication");
        return chosen.empty() ? "konsole" : chosen;
    }
    if (runs("XFCE"))
        return "xfce4-terminal";
    if (runs("LXQt"))
        return "qterminal";
    if (runs("GNOME"))
        return setting("org.gnome.desktop.default-applications.terminal", "exec");
    return {};
}

std::optional<DeveloperTool> terminalThatIsThere() {
    std::vector<std::string> candidates{environment("TERMINAL"), "xdg-terminal-exec", terminalOfDesktop()};
    for (const auto* known :
         {"gnome-terminal", "kgx", "konsole", "xfce4-terminal", "mate-terminal", "lxterminal", "qterminal",
          "tilix", "terminator", "kitty", "alacritty", "foot", "x-terminal-emulator", "xterm"})
        candidates.emplace_back(known);
    for (const auto& candidate : candidates)
        if (auto found = program(candidate, Folder::workingFolder))
            return found;
    return std::nullopt;
}

/// Between fork and exec: system calls only. A session of its own outlives ours and hears no key of our
/// terminal.
void beginIn(gpointer folder) {
    ::setsid();
    if (folder && ::chdir(static_cast<const char*>(folder)) != 0)
        ::_exit(127);
}

constexpr auto quietly =
    static_cast<GSpawnFlags>(G_SPAWN_SEARCH_PATH | G_SPAWN_STDOUT_TO_DEV_NULL | G_SPAWN_STDERR_TO_DEV_NULL);

void openEntry(const DeveloperTool& tool, const FileURL& folder) {
    const GHandle<GDesktopAppInfo> entry(
        g_desktop_app_info_new_from_filename(tool.application.path().c_str()));
    if (!entry)
        throw FileOperationError::unavailable(notStarted);
    auto path = folder.path();
    auto uri = folder.asFolder().absoluteString();
    GList uris{uri.data(), nullptr, nullptr};
    GFailure failure;
    if (g_desktop_app_info_launch_uris_as_manager(
            entry.get(), tool.folder == Folder::argument ? &uris : nullptr, nullptr, quietly, beginIn,
            path.data(), nullptr, nullptr, failure) == FALSE)
        throw FileOperationError::unavailable(failure.sentence(notStarted));
}

void openProgram(const DeveloperTool& tool, const FileURL& folder) {
    std::vector<std::string> words{tool.application.path()};
    words.insert(words.end(), tool.arguments.begin(), tool.arguments.end());
    if (tool.folder == Folder::argument)
        words.push_back(folder.path());
    std::vector<char*> arguments;
    for (auto& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    GFailure failure;
    if (g_spawn_async(folder.path().c_str(), arguments.data(), nullptr, quietly, beginIn, nullptr, nullptr,
                      failure) == FALSE)
        throw FileOperationError::unavailable(failure.sentence(notStarted));
}

void addEditors(std::map<std::string, InstalledApplication>& found, const char* type) {
    GList* all = g_app_info_get_all_for_type(type);
    for (const auto* link = all; link; link = link->next) {
        auto* application = G_APP_INFO(link->data);
        const char* file = G_IS_DESKTOP_APP_INFO(application)
                               ? g_desktop_app_info_get_filename(G_DESKTOP_APP_INFO(application))
                               : nullptr;
        const char* id = g_app_info_get_id(application);
        if (!file || !id || std::string_view(id) == "org.morv.Morv.desktop" ||
            g_app_info_should_show(application) == FALSE)
            continue;
        auto* icon = g_app_info_get_icon(application);
        const GText iconName(icon ? g_icon_to_string(icon) : nullptr);
        found[id] = {FileURL::fromPath(file), g_app_info_get_display_name(application),
                     iconName ? iconName.get() : ""};
    }
    g_list_free_full(all, g_object_unref);
}

} // namespace

std::optional<DeveloperTool> DesktopToolLauncher::find(const DeveloperPathIntent& intent) const {
    if (intent.editor)
        return installed(namesOf(*intent.editor), Folder::argument);
    if (intent.tool == Tool::warp)
        return installed({{"dev.warp.Warp.desktop"}, "warp-terminal"}, Folder::workingFolder);
    return terminalThatIsThere();
}

std::optional<DeveloperTool> DesktopToolLauncher::terminal(const std::string& line) const {
    return program(line, Folder::workingFolder);
}

void DesktopToolLauncher::open(const DeveloperTool& tool, const FileURL& folder) const {
    if (tool.application.extension() == "desktop")
        openEntry(tool, folder);
    else
        openProgram(tool, folder);
}

std::vector<InstalledApplication> DesktopToolLauncher::editors() const {
    std::map<std::string, InstalledApplication> found;
    addEditors(found, "text/plain");
    addEditors(found, "inode/directory");
    std::vector<InstalledApplication> result;
    for (auto& [id, application] : found)
        result.push_back(std::move(application));
    std::ranges::sort(
        result, [](const auto& a, const auto& b) { return NameCollation::compare(a.name, b.name) < 0; });
    return result;
}

} // namespace morv
