// What must be known before the record store opens, and what the user has chosen in the settings: an INI file,
// "Morv.conf" in the configuration folder.
//
// The file is read once, when this is made; what is set counts at once and is written by a thread of its own
// (SettingsWriter). A file that cannot be read or written is as good as none. Confined to one thread.
#pragma once

#include "MorvApp/Model/SettingsWriter.h"
#include "MorvCore/Foundation/FileURL.h"

#include <QHash>
#include <QObject>
#include <QString>
#include <QVariant>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace morv {

/// Where a new window begins when nobody names a folder.
enum class FirstFolder : std::uint8_t {
    last, ///< where the user was last; at first Downloads
    home,
    downloads,
    chosen
};

class UserDefaults : public QObject {
    Q_OBJECT

public:
    explicit UserDefaults(const FileURL& file);
    /// Waits until the file holds what was set, for a bounded time. Whether it does.
    bool save() { return writer_.save(); }

    /// The bytes of the path of the last folder browsed.
    std::optional<FileURL> lastLocation() const;
    void setLastLocation(const FileURL& folder);
    FirstFolder firstFolder() const;
    void setFirstFolder(FirstFolder place);
    /// Of FirstFolder::chosen.
    std::optional<FileURL> chosenFirstFolder() const;
    void setChosenFirstFolder(const FileURL& folder);
    /// In folders that have no view of their own.
    bool showsHiddenFiles() const;
    void setShowsHiddenFiles(bool shown);

    /// "light", "dark" or "system".
    std::string appearance() const;
    void setAppearance(const std::string& choice);
    /// "always" or "system", of high contrast and of reduced motion.
    std::string contrast() const;
    void setContrast(const std::string& wish);
    std::string motion() const;
    void setMotion(const std::string& wish);

    /// Where the last window stood, in the window system's own words; empty when nothing was saved.
    std::string windowFrame() const;
    void setWindowFrame(const std::string& frame);

    bool sidebarIsCompact() const;
    void setSidebarIsCompact(bool compact);

    /// The titles of the sidebar's sections that are closed.
    std::set<std::string> closedSidebarSections() const;
    void setClosedSidebarSections(const std::set<std::string>& titles);

    /// The places of a split's dividers under the record's name; none when nothing was saved.
    std::vector<double> fractions(const std::string& name) const;
    void setFractions(const std::string& name, const std::vector<double>& fractions);
    /// Points.
    std::optional<double> sidebarWidth(const std::string& nameSpace) const;
    void setSidebarWidth(const std::string& nameSpace, double width);

    /// What opened folders before Morv did; empty when nothing did or it is not known.
    std::string replacedFolderHandler() const;
    void setReplacedFolderHandler(const std::string& desktopID);
    /// What the user's own start file of the file manager's bus name held; empty when there was none.
    std::string replacedFileManagerService() const;
    void setReplacedFileManagerService(const std::string& content);

    /// The editor that the user has chosen: the bytes of the path of its desktop entry or program.
    std::optional<FileURL> editorApplication() const;
    void setEditorApplication(const FileURL& application);
    /// The user's own terminal as a line of words; empty: what is found.
    std::string terminalCommand() const;
    void setTerminalCommand(const std::string& line);
    /// Whether the path bar asks Git about the folder.
    bool showsGitStatus() const;
    void setShowsGitStatus(bool shown);

    /// The first-run introduction was seen to its end.
    bool introductionCompleted() const;
    void setIntroductionCompleted(bool completed);

Q_SIGNALS:
    void showsGitStatusChanged();

private:
    QVariant value(const QString& key, const QVariant& otherwise = {}) const;
    void set(const QString& key, const QVariant& value);
    std::string choice(const char* key) const;

    QHash<QString, QVariant> values_;
    SettingsWriter writer_;
};

} // namespace morv
