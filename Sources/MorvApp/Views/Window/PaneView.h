// One pane on the screen: its files in the view that the folder's preferences say, and above them what they
// are a search for, and why they may be out of date. Main thread.
#pragma once

#include "MorvApp/Model/AppModel.h"

#include <QFrame>

class QLabel;
class QToolButton;

namespace morv {

class ColumnsView;
class GalleryView;
class MorvCollectionView;
class ReadingLine;
class WindowActions;
struct BrowserSizes;

class PaneView : public QFrame {
    Q_OBJECT

public:
    /// The pane and the sizes must not go before this view.
    PaneView(AppModel& app, PaneModel& pane, WindowActions& actions, BrowserSizes& sizes,
             QWidget* parent = nullptr);

    PaneModel& pane() const { return pane_; }
    /// The one that the keyboard is for: of columns the focused one's. Another view has another.
    MorvCollectionView& collection() const;
    /// Null in the other views.
    ColumnsView* columns() const { return columns_; }
    GalleryView* gallery() const { return gallery_; }
    /// To the column that shows the folder, else there with the whole pane.
    void goTo(const FileURL& folder);
    /// In a split the pane names its folder, and the active one is marked.
    void setSplit(bool split, bool active);

private:
    enum class Browser : std::uint8_t { collection, columns, gallery };

    QWidget* buildSearchLine();
    /// Makes the view that is wanted, and gives back the one before.
    void followView();
    void followReading();
    void updateTitle();
    void updateSearchLine();

    AppModel& app_;
    PaneModel& pane_;
    WindowActions& actions_;
    BrowserSizes& sizes_;
    Browser browser_ = Browser::collection;
    QWidget* files_ = nullptr; ///< one of the next three
    MorvCollectionView* collection_ = nullptr;
    ColumnsView* columns_ = nullptr;
    GalleryView* gallery_ = nullptr;
    QLabel* title_;
    QFrame* searchLine_ = nullptr;
    QLabel* searchText_ = nullptr;
    QToolButton* saveSearch_ = nullptr;
    ReadingLine* readingLine_;
    bool isSplit_ = false;
};

} // namespace morv
