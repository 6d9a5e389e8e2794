// The files of a pane as a grid or a list, in sections, or as one column or one row of them.
//
// Nothing exists for an item that is not visible: positions are arithmetic (CollectionLayout), texts and
// pictures are made when a cell is painted. The order of the items is that of PaneDisplay; the view keeps
// only which item has the keyboard (by identity, so that it survives a new reading) and where it is scrolled.
// Confined to the main thread.
#pragma once

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Model/FileDrag.h"
#include "MorvApp/Model/PaneDisplay.h"
#include "MorvApp/Views/Collection/CollectionLayout.h"
#include "MorvApp/Views/Collection/CollectionNotice.h"
#include "MorvApp/Views/Collection/CollectionPainter.h"
#include "MorvApp/Views/Theme/FolderArt.h"
#include "MorvApp/Views/Theme/IconCache.h"

#include <QAbstractScrollArea>
#include <QBasicTimer>
#include <QElapsedTimer>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

class QHeaderView;
class QLineEdit;
class QMenu;

namespace morv {

class DropArea;
class VisibleInsights;
class VisibleThumbnails;
class WindowActions;

/// What makes a collection another one than the pane's own preferences would.
struct CollectionOptions {
    std::optional<CollectionMode> mode = {};
    std::optional<int> iconSize = {};
    /// These in place of the pane's.
    std::optional<EntryList> overrideEntries = {};
    /// The user has selected this item alone, or (null) none or several. What the model selects is not told.
    std::function<void(const FileEntry*)> onSelect = {};
    /// Takes the commands in place of the window's model.
    std::function<void(FileCommand)> onCommand = {};
    PaneDisplay::Clock now = Date::now;
    /// A folder that is not read within this time may never be: a server that has gone answers nothing.
    std::chrono::milliseconds answerPatience = std::chrono::seconds(10);
};

class MorvCollectionView : public QAbstractScrollArea {
    Q_OBJECT

public:
    /// `pane` is one of the model's and must not go before this view.
    MorvCollectionView(AppModel& app, PaneModel& pane, const WindowActions& actions,
                       CollectionOptions options, QWidget* parent = nullptr);
    ~MorvCollectionView() override;

    CollectionMode mode() const { return layout_.mode(); }
    std::int64_t count() const { return layout_.count(); }
    const FileEntry& entry(std::int64_t index) const { return display_[static_cast<std::size_t>(index)]; }
    std::span<const FileDisplaySection> sections() const { return display_.sections(); }
    /// The item that has the keyboard; -1: none.
    std::int64_t current() const { return current_; }
    bool isSelected(std::int64_t index) const { return pane_.isSelected(entry(index)); }
    /// In place of the pane's.
    void setIconSize(int size);
    /// The keyboard goes to the one item that the model has selected.
    void takeUpSelection();
    /// The cell of a shown entry, in viewport coordinates.
    QRect visualRect(std::int64_t index) const;
    std::optional<std::int64_t> itemAt(QPoint viewportPoint) const;
    /// Selects the item alone; the other one opens it then.
    void selectItem(std::int64_t index);
    void openItem(std::int64_t index);
    /// The pane becomes the active one and the files get the keyboard, unless a name is being edited in them.
    void focusForFileInteraction();
    /// Before this view is hidden or goes: the one that takes its place gets the keyboard if this has it.
    void preserveKeyboardFocusForReplacement();
    /// What is read out of an item, and of the section that it stands in.
    QString spokenName(std::int64_t index) const;
    QString spokenSection(std::int64_t index) const;
    /// How much a section holds: "1.2 MB in 12 local files and 2 physical folders."
    QString sectionSize(std::size_t section) const;
    /// Edits the name of the one selected item, with the part before its extension selected.
    void beginInlineRename();
    /// The editor of a name, while there is one.
    QLineEdit* nameEditor() const { return editor_; }
    void selectAll();
    void invertSelection();
    /// The item `by` places on from the selected one, in the shown order, is selected alone and in sight.
    /// At the ends nothing happens.
    void selectNeighbour(int by);

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    bool viewportEvent(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Shape {
        CollectionMode mode;
        int iconSize;
        friend bool operator==(const Shape&, const Shape&) = default;
    };
    /// How long the present reading has kept everybody waiting.
    enum class Patience : std::uint8_t { unasked, asked, ended };
    enum class Select : std::uint8_t { only, extend, toggle, none };
    struct RubberBand {
        QPoint origin; ///< in content coordinates
        QPoint corner;
        EntrySelection base;
        bool toggles = false;
    };

    PaneModel& pane() const { return pane_; }
    /// Where the content's corner stands in the viewport.
    QPoint origin() const;
    QPoint toContent(QPoint viewportPoint) const;
    std::optional<std::size_t> headingAt(QPoint viewportPoint) const;
    ListColumns columns() const;
    void buildHeader();
    void placeHeader();
    void sortByColumn(int column);
    CollectionMode wantedMode() const;
    FileGrouping wantedGrouping() const;
    int wantedIconSize() const;
    /// Brings the shown order up to date; afterwards every index means what it says.
    void reload();
    void awaitTomorrow();
    /// Headings that speak of days may have become untrue.
    void followDay();
    void relayout();
    void offerForKeyboard();
    void entriesChanged();
    void locationChanged();
    void preferencesChanged();
    void findCurrent();
    void setCurrent(std::int64_t index);
    void settleCurrent();
    void moveTo(std::int64_t index, Select select);
    /// By the user's hand, unlike what comes from the model.
    void select(EntrySelection selection);
    void selectRange(std::int64_t from, std::int64_t to);
    void scrollTo(std::int64_t index);
    void updateRubberBand(QPoint viewportPoint);
    void typeAhead(const QString& text);
    bool moveKey(QKeyEvent* event);
    void endInlineRename(bool commits);
    void placeEditor();
    /// Whether this item is there and its name is being edited.
    bool isAtEditor(std::int64_t index) const {
        return editor_ && index >= 0 && index < count() && renamedKey_ == entry(index);
    }
    void carryOut(FileCommand command);
    void showContextMenu(QPoint globalPosition);
    void addItemActions(QMenu& menu);
    void acceptDrops();
    /// The hand that pressed an item carries it away; true while it may.
    bool beginsDrag(const QMouseEvent& event);
    void dragSelection();
    std::optional<std::int64_t> folderAt(QPoint viewportPoint) const;
    std::optional<DropPlace> dropPlaceAt(QPoint viewportPoint) const;
    void paintDropTarget(QPainter& painter) const;
    /// Folders of the visible cells.
    std::vector<const FileEntry*> foldersInSight() const;
    void paintCells(QPainter& painter, const QRect& area);
    void paintHeadings(QPainter& painter);
    /// What stands in place of files; absent while there are some, or nothing to say yet.
    std::optional<CollectionNotice> notice() const;
    void updateNotice();
    void paintNotice(QPainter& painter);
    void arrive();
    void awaitReading();
    void losePatience();
    void press(std::int64_t index);
    bool isTyping() const;
    /// Files of the visible cells.
    std::vector<const FileEntry*> filesInSight() const;
    void showThumbnails();
    void perform(FileCommand command);
    /// Out of the press that asks for it: where it leads there may be no such view any more.
    void performLater(FileCommand command);

    AppModel& app_;
    PaneModel& pane_;
    const WindowActions& actions_;
    CollectionOptions options_;
    PaneDisplay display_;
    IconCache icons_;
    FolderArt folders_;
    VisibleInsights* insights_;
    std::optional<Shape> shape_;
    VisibleThumbnails* thumbnails_;
    CollectionLayout layout_;
    QHeaderView* header_ = nullptr;
    std::optional<EntryKey> currentKey_;
    std::int64_t current_ = -1;     ///< index of the item that has the keyboard; -1: none
    std::int64_t lastCurrent_ = -1; ///< where it was, for when the item has gone
    std::int64_t anchor_ = -1;      ///< where a range begins
    std::int64_t column_ = 0;       ///< where up and down keys stay, also past shorter rows
    std::int64_t hovered_ = -1;
    std::optional<FileURL> returnedFrom_; ///< the child folder that was left by going up
    FileURL shownLocation_;
    std::optional<RubberBand> band_;
    std::optional<std::int64_t> pressedSelected_; ///< a press on a selected item narrows only on release
    std::optional<QPoint> dragFrom_;              ///< where an item was pressed
    DropArea* drops_ = nullptr;
    QBasicTimer autoScroll_;
    QBasicTimer slowLoading_;
    QBasicTimer midnight_;
    QBasicTimer pressing_;
    std::int64_t pressed_ = -1; ///< marked for a moment
    Patience patience_ = Patience::unasked;
    NoticeButtons* noticeButtons_ = nullptr;
    std::string typedPrefix_;
    QElapsedTimer lastTyped_;
    QLineEdit* editor_ = nullptr;
    std::optional<EntryKey> renamedKey_;
    FileURL renamedItem_;
    QString originalName_;
};

} // namespace morv
