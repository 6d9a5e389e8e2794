#include "MorvApp/Views/Collection/CollectionFocusContinuity.h"

#include <QTimer>
#include <chrono>
#include <utility>

namespace morv {

CollectionFocusContinuity& CollectionFocusContinuity::shared() {
    static CollectionFocusContinuity continuity([] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
    });
    return continuity;
}

void CollectionFocusContinuity::add(QWidget& collection, Candidate candidate) {
    std::erase_if(known_,
                  [&](const Known& known) { return !known.collection || known.collection == &collection; });
    known_.push_back({&collection, std::move(candidate)});
    schedule(*collection.window());
}

void CollectionFocusContinuity::preserve(QWidget& collection, QWidget& window) {
    std::erase_if(intents_, [](const auto& intent) { return !intent.second.window; });
    intents_[&window] = {&window, &collection, uptime_()};
    schedule(window);
}

void CollectionFocusContinuity::schedule(QWidget& window) {
    if (!intents_.contains(&window) || !scheduled_.insert(&window).second)
        return;
    QTimer::singleShot(0, this, [this, key = &window, alive = QPointer<QWidget>(&window)] {
        scheduled_.erase(key);
        if (alive)
            restore(*alive);
        else
            intents_.erase(key);
    });
}

void CollectionFocusContinuity::restore(QWidget& window) {
    const auto found = intents_.find(&window);
    if (found == intents_.end())
        return;
    const auto& [intended, previous, createdAt] = found->second;
    const auto* focused = window.focusWidget();
    const bool hasMovedOn = focused && focused != &window && focused != previous.data();
    if (intended.data() != &window || uptime_() - createdAt >= patience || hasMovedOn) {
        intents_.erase(found);
        return;
    }
    std::erase_if(known_, [](const Known& known) { return !known.collection; });
    for (auto each = known_.rbegin(); each != known_.rend(); ++each) {
        const auto& known = *each;
        if (known.collection->window() != &window)
            continue;
        if (!known.candidate.mayHaveKeyboard)
            return;
        if (!known.candidate.mayHaveKeyboard())
            continue;
        const auto target = known;
        intents_.erase(found);
        if (!target.collection->hasFocus())
            target.candidate.takeKeyboard();
        return;
    }
}

} // namespace morv
