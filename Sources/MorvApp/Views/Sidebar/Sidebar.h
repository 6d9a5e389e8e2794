// Where one can go from anywhere: favourites, workspaces, searches, tags, volumes, network places and Trash. A
// click shows it in the active pane. As a rail it is as narrow as its symbols, and leaves out what only a name
// tells apart. Looks nothing up on a disk. Main thread.
#pragma once

#include "MorvApp/Model/SidebarRows.h"

#include <QTreeWidget>
#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

class QMenu;
class QToolButton;

namespace morv {

class DropArea;

class Sidebar : public QTreeWidget {
    Q_OBJECT

public:
    enum class Form : std::uint8_t { full, rail };
    static constexpr int railWidth = 56;

    explicit Sidebar(AppModel& app, Form form, QWidget* parent = nullptr);

    Form form() const { return form_; }
    /// Null for a heading.
    const SidebarRow* rowOf(const QTreeWidgetItem& item) const;
    bool isClosed(const QTreeWidgetItem& heading) const;
    /// Files that hover over it would go there.
    bool isTarget(const SidebarRow& row) const;
    /// How full the volume of the row is, as far as that is known.
    std::optional<VolumeSpaces::Answer> spaceOf(const SidebarRow& row) const;
    /// What stands behind a volume's name: "84 GB free", "Ejecting…", "Not answering".
    QString noteOf(const SidebarRow& row) const;

Q_SIGNALS:
    /// Something was opened: the keyboard belongs to it.
    void opened();

protected:
    bool event(QEvent* event) override;
    bool viewportEvent(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    /// What the window shows: a folder (a search has none), a workspace, a tag.
    struct Place {
        std::optional<FileURL> folder;
        std::optional<UUID> workspace;
        std::optional<std::string> tag;

        friend bool operator==(const Place&, const Place&) = default;
    };

    void follow();
    void buildEject();
    void acceptFiles();
    void addHeading(std::string_view title);
    void addRow(const SidebarRow& row);
    void fill();
    void showSpaces();
    void askForSpaces();
    void markLocation();
    void open(const QTreeWidgetItem& item);
    void toggle(const QTreeWidgetItem& heading);
    void placeEject();
    void fillMenu(QMenu& menu, const SidebarRow& row);
    void removeWorkspace(const UUID& id);
    void fillPlaceMenu(QMenu& menu, const SidebarRow& row);
    /// Carries the favourite of the row that stands at `place`, until it is let go.
    void reorder(const SidebarRow& row, QRect place);
    /// Between which favourites a point lies; nothing in the middle of a row.
    std::optional<std::size_t> gapAt(QPoint point, int reach) const;
    std::optional<DropPlace> dropPlaceAt(QPoint point) const;
    void showGap(std::optional<std::size_t> gap);

    AppModel& app_;
    const Form form_;
    std::vector<SidebarRow> rows_;
    std::set<std::string> closed_;
    std::optional<Place> marked_;
    DropArea* drops_ = nullptr;
    QToolButton* eject_ = nullptr;
    std::optional<SidebarRow> ejectable_; ///< that the button stands on
    std::optional<std::size_t> gap_;      ///< where a favourite would go that is dragged
    std::optional<QPoint> pressedAt_;     ///< on a favourite
    std::optional<QPoint> hover_;         ///< where the pointer is
};

} // namespace morv
