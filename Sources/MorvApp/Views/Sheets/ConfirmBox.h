// Asks before what cannot be taken back. Main thread.
#pragma once

#include <QString>
#include <functional>

class QWidget;

namespace morv {

struct Question {
    const char* name; ///< the object's
    QString title;
    QString text;
    QString stay;
    QString act;
};

/// A box over `parent`'s window, which deletes itself. To stay is the default and Escape; `act` runs when that
/// was chosen, and not after `parent` has gone. `stayed` runs when it was not.
void askBefore(QWidget& parent, const Question& question, std::function<void()> act,
               std::function<void()> stayed = {});

} // namespace morv
