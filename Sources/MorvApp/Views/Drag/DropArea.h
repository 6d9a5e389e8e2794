// A widget onto which files can be dropped: follows the pointer of a drag, tells the place under it and what
// will happen there, opens what it rests on, scrolls at the edges, and hands the drop to the model.
//
// Invariants  I1  what is done is what was shown: the label beside the pointer and the drop ask the same
//             I2  a program that dragged files here is never told that they were moved: whoever is told so may
//                 delete them, while ours is a plan that may still wait for a confirmation
// Threading   confined to the main thread
#pragma once

#include "MorvApp/Model/DragVisit.h"

#include <QBasicTimer>
#include <QObject>
#include <QPoint>
#include <QPointer>
#include <functional>
#include <optional>
#include <vector>

class QAbstractScrollArea;
class QDropEvent;
class QScrollBar;
class QWidget;

namespace morv {

class DropArea : public QObject {
    Q_OBJECT

public:
    /// Where a drop at a point of the surface would go; nothing: nowhere.
    using PlaceAt = std::function<std::optional<DropPlace>(QPoint)>;

    /// `surface` owns this; drags over its children that take no drops of their own come here, too. For a
    /// scrolling list the surface is its viewport, and `scrolled` the list.
    DropArea(AppModel& app, QWidget& surface, PlaceAt placeAt, QAbstractScrollArea* scrolled = nullptr);
    ~DropArea() override;

    /// What the pointer is on, while a drop would do something there.
    const std::optional<DropPlace>& target() const { return target_; }
    /// The list under the pointer has changed.
    void refresh();
    /// How long a drag rests before what is under it opens: milliseconds.
    static void setPatience(int patience);

Q_SIGNALS:
    void targetChanged();
    /// The drag has rested there.
    void rested(QPoint point);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    void enter(QDropEvent& event);
    void move(QDropEvent& event);
    void drop(QDropEvent& event);
    void leave();
    void show();
    void rest();
    void scroll();
    /// What the pointer pulls at, near an edge: a scroll bar, and how far.
    struct Pull {
        QScrollBar* bar;
        int by;
    };
    std::vector<Pull> pulls() const;
    void setTarget(std::optional<DropPlace> target);

    AppModel& app_;
    QWidget& surface_;
    PlaceAt placeAt_;
    QAbstractScrollArea* scrolled_;
    bool isUnder_ = false; ///< a drag is over this
    QPoint point_;
    DragWish wish_ = DragWish::byVolume;
    std::optional<DropPlace> place_; ///< under the pointer, whether or not it takes the files
    std::optional<DropPlace> target_;
    DropAct act_ = DropAct::none;
    QBasicTimer resting_;
    QBasicTimer scrolling_;
};

} // namespace morv
