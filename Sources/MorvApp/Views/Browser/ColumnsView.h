// A pane as columns side by side, and behind them the preview of the one file that is selected. What opens
// and goes is ColumnsModel's; this shows it, and moves the keyboard.
//
// Keys        Left and Right (mirrored where text is) move between the columns; opening a folder goes into it,
//             the enclosing folder is the column before
// Scrolling   the focused column is always in sight, and with it as much of what follows as there is room for.
//             While a selection still rests nothing scrolls away
// Threading   confined to the main thread
#pragma once

#include "MorvApp/Model/ColumnsModel.h"
#include "MorvApp/Views/Browser/BrowserSizes.h"

#include <QScrollArea>
#include <vector>

namespace morv {

class ColumnEdge;
class MorvCollectionView;
class PreviewPane;
class WindowActions;

class ColumnsView : public QScrollArea {
    Q_OBJECT

public:
    /// None of them goes before this view.
    ColumnsView(AppModel& app, PaneModel& pane, const WindowActions& actions, BrowserSizes& sizes,
                QWidget* parent = nullptr);
    ~ColumnsView() override;

    ColumnsModel& model() { return model_; }
    MorvCollectionView& collection(std::size_t index) const { return *columns_[index].files; }
    /// The focused column's.
    MorvCollectionView& collection() const { return collection(model_.focused()); }
    /// Null while no file is selected.
    PreviewPane* preview() const;

protected:
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Column {
        MorvCollectionView* files;
        ColumnEdge* edge;
    };

    void addColumn();
    void dropColumns(std::size_t first);
    void followFocus();
    void showPreview();
    void carryOut(FileCommand command);
    void moveBetween(int key);
    void widen(std::size_t index, int edge);
    /// Lays the columns out and brings the focused one into sight.
    void place();
    void scrollToFocused();

    AppModel& app_;
    PaneModel& pane_;
    const WindowActions& actions_;
    BrowserSizes& sizes_;
    QWidget* content_;
    std::vector<Column> columns_;
    PreviewPane* preview_ = nullptr; ///< made for the first file
    ColumnsModel model_;             ///< last: it goes first, and tells nothing to what has gone
};

} // namespace morv
