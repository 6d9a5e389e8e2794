// Keeps the keyboard with the files when a collection goes and another one takes its place: after a change of
// the tab, of the view or of the split. Whoever used keys before goes on using them.
//
// Protocol    preserve() when a collection that has the keyboard is about to go -> add() when one is there,
//             before or after -> a turn of the event loop later the newest that may have the keyboard gets it
// Invariants  I1  a window whose keyboard the user has meanwhile taken elsewhere is left alone
//             I2  what is not restored within `patience` seconds is not restored at all
//             I3  windows do not know of each other
// Threading   confined to the main thread
#pragma once

#include <QObject>
#include <QPointer>
#include <QWidget>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace morv {

class CollectionFocusContinuity : public QObject {
public:
    static constexpr double patience = 5;

    /// Seconds of a clock that only goes forward.
    using Uptime = std::function<double()>;

    /// What a collection answers; without `mayHaveKeyboard` it never gets it and hides those before it.
    struct Candidate {
        std::function<bool()> mayHaveKeyboard;
        std::function<void()> takeKeyboard;
    };

    static CollectionFocusContinuity& shared();
    explicit CollectionFocusContinuity(Uptime uptime) : uptime_(std::move(uptime)) {}

    /// The collection is the newest one now, whether or not it was known.
    void add(QWidget& collection, Candidate candidate);
    void preserve(QWidget& collection, QWidget& window);
    /// The keyboard has arrived in a collection of this window.
    void forget(const QWidget& window) { intents_.erase(&window); }
    /// Restores at once what is to be restored; otherwise that happens by itself.
    void restore(QWidget& window);
    /// The window itself may have gone.
    bool isWaiting(const QWidget* window) const { return intents_.contains(window); }

private:
    struct Known {
        QPointer<QWidget> collection;
        Candidate candidate;
    };
    struct Intent {
        QPointer<QWidget> window;
        QPointer<QWidget> previous;
        double createdAt = 0;
    };

    void schedule(QWidget& window);

    Uptime uptime_;
    std::vector<Known> known_; ///< the newest last
    std::map<const QWidget*, Intent> intents_;
    std::set<const QWidget*> scheduled_;
};

} // namespace morv
