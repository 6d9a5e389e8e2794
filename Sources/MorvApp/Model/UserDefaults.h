// What must be known before the record store opens: an INI file, "Morv.conf" in the configuration folder.
// Confined to the main thread. A file that cannot be read or written is as good as none.
#pragma once

#include "MorvCore/Foundation/FileURL.h"

#include <QSettings>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace morv {

class UserDefaults {
public:
    explicit UserDefaults(const FileURL& file);

    /// The bytes of the path of the last folder browsed.
    std::optional<FileURL> lastLocation() const;
    void setLastLocation(const FileURL& folder);

    /// "light", "dark" or "system".
    std::string appearance() const;

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

    /// The first-run introduction was seen to its end.
    bool introductionCompleted() const;
    void setIntroductionCompleted(bool completed);

private:
    QSettings settings_;
};

} // namespace morv
