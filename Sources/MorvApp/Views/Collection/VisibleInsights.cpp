#include "MorvApp/Views/Collection/VisibleInsights.h"

#include <utility>

namespace morv {

namespace {

using namespace std::chrono_literals;
constexpr auto atRest = 120ms;
/// Cards that fill one by one would flicker, and each would cost a drawing of all of them.
constexpr auto together = 60ms;

} // namespace

VisibleInsights::VisibleInsights(FolderInsightCache& cache,
                                 std::function<std::vector<const FileEntry*>()> inSight, QObject* parent)
    : QObject(parent), cache_(cache), inSight_(std::move(inSight)) {
    rest_.setSingleShot(true);
    rest_.setInterval(atRest);
    telling_.setSingleShot(true);
    telling_.setInterval(together);
    connect(&rest_, &QTimer::timeout, this, &VisibleInsights::ask);
    connect(&telling_, &QTimer::timeout, this, &VisibleInsights::arrived);
}

void VisibleInsights::changed() {
    rest_.start();
}

void VisibleInsights::grown() {
    if (!rest_.isActive())
        rest_.start();
}

void VisibleInsights::ask() {
    // The new wishes before the old ones go: what stays in sight keeps its place in the queue.
    std::vector<FolderInsightWish> wishes;
    for (const auto* entry : inSight_()) {
        if (wishes.size() == FolderInsightCache::capacity)
            break;
        auto wish = cache_.request(*entry, [this](const FolderInsight&) {
            if (!telling_.isActive())
                telling_.start();
        });
        if (wish)
            wishes.push_back(std::move(wish));
    }
    wishes_ = std::move(wishes);
}

} // namespace morv
