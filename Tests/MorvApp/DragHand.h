// The events of a drag from another program, as the window system sends them.
#pragma once

#include "MorvApp/Model/FileDrag.h"

#include <QApplication>
#include <QDragEnterEvent>
#include <QMimeData>
#include <QPointer>
#include <QWidget>
#include <vector>

namespace morv::test {

class DragHand {
public:
    explicit DragHand(const std::vector<FileURL>& files,
                      Qt::DropActions offered = Qt::CopyAction | Qt::MoveAction | Qt::LinkAction)
        : DragHand(QByteArray::fromStdString(FileDrag::contents(files).front().second), offered) {}
    explicit DragHand(const QByteArray& uriList,
                      Qt::DropActions offered = Qt::CopyAction | Qt::MoveAction | Qt::LinkAction)
        : offered_(offered) {
        data_.setData(QStringLiteral("text/uri-list"), uriList);
    }

    void enter(QWidget& widget, QPoint point, Qt::KeyboardModifiers keys = Qt::NoModifier) {
        target_ = &widget;
        point_ = point;
        QDragEnterEvent event(point, offered_, &data_, Qt::LeftButton, keys);
        send(event);
        if (isTaken)
            move(point, keys);
    }
    void move(QPoint point, Qt::KeyboardModifiers keys = Qt::NoModifier) {
        point_ = point;
        keys_ = keys;
        QDragMoveEvent event(point, offered_, &data_, Qt::LeftButton, keys);
        send(event);
        if (!event.isAccepted())
            action = Qt::IgnoreAction;
    }
    void leave() {
        QDragLeaveEvent event;
        QApplication::sendEvent(target_, &event);
    }
    void drop() {
        QDropEvent event(point_, offered_, &data_, Qt::LeftButton, keys_);
        send(event);
    }

    bool isTaken = false;                     ///< the last event was accepted
    Qt::DropAction action = Qt::IgnoreAction; ///< what the target has answered

private:
    void send(QDropEvent& event) {
        event.ignore();
        QApplication::sendEvent(target_, &event);
        isTaken = event.isAccepted();
        action = event.dropAction();
    }

    QMimeData data_;
    Qt::DropActions offered_;
    QPointer<QWidget> target_;
    QPoint point_;
    Qt::KeyboardModifiers keys_;
};

} // namespace morv::test
