// Where one can go from anywhere: favourites, saved searches, volumes and cloud locations. A click shows it
// in the active pane. Looks nothing up on a disk. Main thread.
#pragma once

#include "MorvApp/Model/AppModel.h"

#include <QTreeWidget>
#include <QVariant>
#include <optional>
#include <utility>

namespace morv {

class Sidebar : public QTreeWidget {
    Q_OBJECT

public:
    explicit Sidebar(AppModel& app, QWidget* parent = nullptr);

Q_SIGNALS:
    /// Something was opened: the keyboard belongs to it.
    void opened();

protected:
    bool event(QEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    /// What the window shows: a folder (a search has none) or a workspace.
    using Place = std::pair<std::optional<FileURL>, std::optional<UUID>>;
    enum class Row : std::uint8_t { heading, favourite, workspace, search, volume, trash, cloud };

    QTreeWidgetItem* addHeading(const QString& title);
    QTreeWidgetItem* addRow(Row kind, const QString& title, const QString& icon);
    void addPlace(Row kind, const QString& title, const QString& icon, const FileURL& place);
    void fill();
    void markLocation();
    void open(const QTreeWidgetItem& item);
    static Row kindOf(const QTreeWidgetItem& item);
    static FileURL placeOf(const QTreeWidgetItem& item);
    const Workspace* workspaceOf(const QTreeWidgetItem& item) const;
    const SavedFileSearch* searchOf(const QTreeWidgetItem& item) const;

    AppModel& app_;
    std::optional<Place> marked_;
};

} // namespace morv
