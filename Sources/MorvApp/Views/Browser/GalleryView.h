// A pane as one item at a time: a large preview of the selected item over a film strip of all of them. The
// line between the two can be moved.
//
// What is shown large is what is selected, and so what commands work on: when a folder arrives and nothing of
// it is selected, its first item is. The preview follows the first step at once and further ones when the
// selection has rested, so that passing over a hundred pictures does not decode a hundred.
// Main thread.
#pragma once

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Views/Browser/BrowserSizes.h"

#include <QSplitter>
#include <QTimer>

namespace morv {

class MorvCollectionView;
class PreviewPane;
class WindowActions;

class GalleryView : public QSplitter {
    Q_OBJECT

public:
    /// None of them goes before this view.
    GalleryView(AppModel& app, PaneModel& pane, const WindowActions& actions, BrowserSizes& sizes,
                QWidget* parent = nullptr);

    MorvCollectionView& collection() const { return *strip_; }
    PreviewPane& preview() const { return *preview_; }

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void selectFirst();
    void follow();
    void update();
    void takeHeight();
    void place();

    PaneModel& pane_;
    BrowserSizes& sizes_;
    PreviewPane* preview_;
    MorvCollectionView* strip_;
    FileURL begun_; ///< the folder of which a first item was selected
    QTimer rest_;
};

} // namespace morv
