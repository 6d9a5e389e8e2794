// The editors and terminals of one window: what a typed command or a menu opens a folder in.
//
// Invariants  I1  nothing is started on the main thread, and nothing through a shell
//             I2  the chosen editor stays chosen, also when it has gone, until another one is chosen
// Threading   confined to the main thread; a launcher is safe to share and its calls block
#pragma once

#include "MorvApp/Model/TaskScope.h"
#include "MorvApp/Model/UserDefaults.h"
#include "MorvCore/Inspection/DeveloperTools.h"

#include <QObject>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace morv {

/// What can be started: a program, or a desktop entry, which says itself how.
struct DeveloperTool {
    /// Whether the folder is handed over, or is only where the program begins.
    enum class Folder : std::uint8_t { argument, workingFolder };

    FileURL application;
    std::vector<std::string> arguments = {}; ///< of a program
    Folder folder = Folder::argument;

    friend bool operator==(const DeveloperTool&, const DeveloperTool&) = default;
};

struct InstalledApplication {
    FileURL file; ///< its desktop entry
    std::string name;
    std::string icon; ///< of the icon theme, or a path; may be empty
};

/// The desktop's side of it.
class DeveloperToolLauncher {
public:
    DeveloperToolLauncher() = default;
    virtual ~DeveloperToolLauncher() = default;
    DeveloperToolLauncher(const DeveloperToolLauncher&) = delete;
    DeveloperToolLauncher& operator=(const DeveloperToolLauncher&) = delete;

    /// Nothing when no such application is installed.
    virtual std::optional<DeveloperTool> find(const DeveloperPathIntent& intent) const = 0;
    /// The program that a line names, with its further words as arguments: split as a shell would, and run by
    /// none. It begins in the folder. Nothing when there is no such program.
    virtual std::optional<DeveloperTool> terminal(const std::string& line) const = 0;
    /// Throws FileOperationError::unavailable with the system's sentence when it does not start.
    virtual void open(const DeveloperTool& tool, const FileURL& folder) const = 0;
    /// Those that open folders or text, by name.
    virtual std::vector<InstalledApplication> editors() const = 0;
};

class DeveloperToolsUI : public QObject {
    Q_OBJECT

public:
    /// Without a launcher nothing is installed.
    DeveloperToolsUI(TaskPools& pools, UserDefaults& defaults,
                     std::shared_ptr<const DeveloperToolLauncher> launcher);

    std::optional<FileURL> editorURL() const { return defaults_.editorApplication(); }
    /// Whether the input was a command; it is being carried out for the folder `at` then.
    bool executePathInput(std::string_view input, const FileURL& at);
    /// What openTerminal() would start now; nothing when it is not there.
    void findTerminal(std::function<void(const std::optional<DeveloperTool>&)> done);
    /// The terminal of the settings, else one that is found. `at` may be a file: its folder is opened.
    void openTerminal(const FileURL& at);
    /// Asks for an editor first when none was ever chosen.
    void openEditor(const FileURL& at);
    /// Remembers the editor, and opens in it what openEditor() was asked for.
    void chooseEditor(const FileURL& application);
    /// openEditor() was not meant after all.
    void cancelChoice() { waiting_.reset(); }
    void listEditors(std::function<void(const std::vector<InstalledApplication>&)> done);

Q_SIGNALS:
    void editorChoiceRequested();
    void failed(const std::string& sentence);

private:
    void launch(const DeveloperPathIntent& intent, const std::string& name, const FileURL& at);
    void launch(const DeveloperTool& tool, const FileURL& at);
    /// Runs on a worker; the sentence of what is in the way, or nothing.
    void start(std::function<std::optional<std::string>()> work);

    UserDefaults& defaults_;
    std::shared_ptr<const DeveloperToolLauncher> launcher_;
    std::optional<FileURL> waiting_; ///< for an editor to be chosen
    TaskScope tasks_;
};

} // namespace morv
