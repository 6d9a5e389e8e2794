#include "MorvApp/Views/Drag/DropArea.h"

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Model/FileClipboard.h"
#include "MorvApp/Views/Drag/DropLabel.h"
#include "MorvApp/Views/Theme/Text.h"

#include <QAbstractScrollArea>
#include <QDragEnterEvent>
#include <QMimeData>
#include <QScrollBar>
#include <QTimer>
#include <QTimerEvent>
#include <QWidget>
#include <algorithm>

namespace morv {

namespace {

constexpr int usualPatience = 700;
constexpr int edge = 32;
constexpr int scrollInterval = 30;

int& patience() {
    static int milliseconds = usualPatience;
    return milliseconds;
}

/// The area that the one drag of this process's display is over.
QPointer<DropArea>& areaUnderDrag() {
    static QPointer<DropArea> area;
    return area;
}

DragWish wishOf(Qt::KeyboardModifiers keys) {
    const bool control = keys.testFlag(Qt::ControlModifier);
    const bool shift = keys.testFlag(Qt::ShiftModifier);
    if (control && shift)
        return DragWish::link;
    return control ? DragWish::copy : shift ? DragWish::move : DragWish::byVolume;
}

Qt::DropAction actionOf(DropAct act) {
    switch (act) {
    case DropAct::none:
        return Qt::IgnoreAction;
    case DropAct::move:
    case DropAct::trash:
        return Qt::MoveAction;
    case DropAct::link:
    case DropAct::reference:
    case DropAct::favourite:
        return Qt::LinkAction;
    case DropAct::copy:
        break;
    }
    return Qt::CopyAction;
}

} // namespace

DropArea::DropArea(AppModel& app, QWidget& surface, PlaceAt placeAt, QAbstractScrollArea* scrolled)
    : QObject(&surface), app_(app), surface_(surface), placeAt_(std::move(placeAt)), scrolled_(scrolled) {
    surface.setAcceptDrops(true);
    surface.installEventFilter(this);
    connect(&app_.drag(), &DragVisit::changed, this, &DropArea::refresh);
}

DropArea::~DropArea() {
    // The part of the window that the drag was over goes: unless another takes its place, the drag is gone.
    if (isUnder_)
        QMetaObject::invokeMethod(
            &app_.drag(),
            [&visit = app_.drag()] {
                if (!areaUnderDrag())
                    visit.leave();
            },
            Qt::QueuedConnection);
}

void DropArea::setPatience(int milliseconds) {
    patience() = milliseconds;
}

bool DropArea::eventFilter(QObject* watched, QEvent* event) {
    if (watched != &surface_)
        return false;
    switch (event->type()) {
    case QEvent::DragEnter:
        enter(*static_cast<QDropEvent*>(event));
        break;
    case QEvent::DragMove:
        if (isUnder_)
            move(*static_cast<QDropEvent*>(event));
        break;
    case QEvent::DragLeave:
        if (!isUnder_)
            return false;
        leave();
        return true;
    case QEvent::Drop:
        if (!isUnder_)
            return false;
        drop(*static_cast<QDropEvent*>(event));
        return true;
    default:
        return false;
    }
    // What holds no files is the widget's own affair.
    return isUnder_;
}

void DropArea::enter(QDropEvent& event) {
    const auto type = QLatin1String(FileClipboard::uriListType);
    const auto* data = event.mimeData();
    auto files = data && data->hasFormat(type) ? FileDrag::filesIn(data->data(type).toStdString())
                                               : std::vector<FileURL>();
    if (files.empty())
        return event.ignore();
    isUnder_ = true;
    areaUnderDrag() = this;
    const auto actions = event.possibleActions();
    app_.drag().enter(std::move(files), {actions.testFlag(Qt::CopyAction), actions.testFlag(Qt::MoveAction),
                                         actions.testFlag(Qt::LinkAction)});
    move(event);
    // Also where nothing can be dropped: what is not accepted on entering hears nothing of the moves.
    event.accept();
}

void DropArea::move(QDropEvent& event) {
    point_ = event.position().toPoint();
    wish_ = wishOf(event.modifiers());
    show();
    if (!scrolling_.isActive() && !pulls().empty())
        scrolling_.start(scrollInterval, this);
    event.setDropAction(actionOf(act_));
    event.setAccepted(act_ != DropAct::none);
}

void DropArea::show() {
    // What has been scrolled away from under the pointer is not meant.
    auto place = isUnder_ && surface_.rect().contains(point_) ? placeAt_(point_) : std::nullopt;
    if (place != place_) {
        place_ = place;
        resting_.stop();
        if (place_)
            resting_.start(patience(), this);
    }
    act_ = place_ ? app_.drag().hover(*place_, wish_) : DropAct::none;
    setTarget(act_ == DropAct::none ? std::nullopt : place_);
    DropLabel::show(surface_, point_, place_ ? ours(app_.drag().sentence(*place_, act_)) : QString());
}

void DropArea::refresh() {
    if (isUnder_)
        show();
}

void DropArea::setTarget(std::optional<DropPlace> target) {
    if (target == target_)
        return;
    target_ = std::move(target);
    Q_EMIT targetChanged();
}

void DropArea::drop(QDropEvent& event) {
    move(event);
    const auto place = target_;
    const auto act = act_;
    leave();
    areaUnderDrag().clear();
    if (!place) {
        app_.drag().leave();
        return event.ignore();
    }
    auto told = actionOf(act);
    if (told == Qt::MoveAction && !event.source())
        told = event.possibleActions().testFlag(Qt::CopyAction) ? Qt::CopyAction : Qt::IgnoreAction;
    event.setDropAction(told);
    event.accept();
    app_.drag().drop(*place, wish_);
}

void DropArea::leave() {
    isUnder_ = false;
    resting_.stop();
    scrolling_.stop();
    place_.reset();
    act_ = DropAct::none;
    setTarget(std::nullopt);
    DropLabel::hide(surface_);
    if (areaUnderDrag() != this)
        return;
    areaUnderDrag().clear();
    // The next part of the window is entered before this comes up; else the drag is gone.
    QTimer::singleShot(0, &app_.drag(), [&visit = app_.drag(), &window = *surface_.window()] {
        const auto& area = areaUnderDrag();
        if (!area || area->surface_.window() != &window)
            visit.leave();
    });
}

void DropArea::timerEvent(QTimerEvent* event) {
    if (event->timerId() == resting_.timerId())
        rest();
    else if (event->timerId() == scrolling_.timerId())
        scroll();
    else
        QObject::timerEvent(event);
}

void DropArea::rest() {
    resting_.stop();
    // A folder does not open under itself.
    if (place_ && !(place_->kind == DropPlace::Kind::folder && app_.drag().holds(place_->folder)))
        Q_EMIT rested(point_);
    refresh();
}

std::vector<DropArea::Pull> DropArea::pulls() const {
    std::vector<Pull> result;
    const auto at = [&](QScrollBar* bar, int point, int length) {
        const int before = std::max(0, edge - point);
        const int behind = std::max(0, point - (length - edge) + 1);
        if (bar->minimum() < bar->maximum() && before != behind)
            result.push_back({bar, (behind - before) / 2});
    };
    if (scrolled_)
        at(scrolled_->verticalScrollBar(), point_.y(), surface_.height());
    // A list may stand in a row of them that is wider than what can be seen of it.
    for (QWidget* each = &surface_; each && !each->isWindow(); each = each->parentWidget()) {
        auto* area = qobject_cast<QAbstractScrollArea*>(each);
        if (!area || !scrolled_ || area->horizontalScrollBarPolicy() == Qt::ScrollBarAlwaysOff)
            continue;
        const auto& seen = *area->viewport();
        const auto point = seen.mapFromGlobal(surface_.mapToGlobal(point_));
        // The scroll bar of what is mirrored counts from the right.
        const auto* bar = area->horizontalScrollBar();
        at(area->horizontalScrollBar(), bar->isRightToLeft() ? seen.width() - 1 - point.x() : point.x(),
           seen.width());
    }
    return result;
}

void DropArea::scroll() {
    // A list that stands in what scrolls moves away from under the pointer, which stays where it is.
    const auto pointer = surface_.mapToGlobal(point_);
    bool moved = false;
    for (const auto& [bar, by] : pulls()) {
        const int before = bar->value();
        bar->setValue(before + by);
        moved |= bar->value() != before;
    }
    point_ = surface_.mapFromGlobal(pointer);
    if (moved)
        refresh();
    else
        scrolling_.stop();
}

} // namespace morv
