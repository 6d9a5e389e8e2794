#include "MorvApp/Views/Collection/CollectionLayout.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <string>

namespace morv {
namespace {

using Sections = std::vector<FileDisplaySection>;

Sections oneSection(std::size_t count) {
    return {{{}, 0, count}};
}

Sections titled(const std::vector<std::size_t>& counts) {
    Sections sections;
    std::size_t first = 0;
    for (const auto count : counts) {
        sections.push_back({"Title", first, count});
        first += count;
    }
    return sections;
}

struct Case {
    std::string name;
    CollectionMode mode;
    Sections sections;
    QSize viewport{900, 600};
    Qt::LayoutDirection direction = Qt::LeftToRight;
    int iconSize = 120;

    CollectionLayout layout() const { return {mode, sections, {viewport, 17, iconSize, direction}}; }
};

const std::vector<Case>& cases() {
    static const auto all = [] {
        std::vector<Case> rows;
        using enum CollectionMode;
        for (const auto direction : {Qt::LeftToRight, Qt::RightToLeft})
            for (const auto mode : {grid, list, column, strip}) {
                const auto add = [&](const char* name, Sections sections, QSize viewport = {900, 600}) {
                    rows.push_back({name, mode, std::move(sections), viewport, direction});
                };
                add("nothing", oneSection(0));
                add("one", oneSection(1));
                add("a few", oneSection(3));
                add("many", oneSection(500));
                add("narrow", oneSection(40), {60, 600});
                add("sections", titled({5, 1, 17, 40, 6, 7, 12}));
                add("sections of one", titled(std::vector<std::size_t>(300, 1)));
            }
        return rows;
    }();
    return all;
}

/// Item by item, as a person would set them out with a ruler.
std::vector<QRect> setOut(const Case& wanted, const CollectionLayout& layout) {
    std::vector<QRect> rects;
    const bool hasHeadings = wanted.mode == CollectionMode::grid || wanted.mode == CollectionMode::list;
    int y = -1;
    std::int64_t column = 0;
    for (const auto& section : wanted.sections) {
        const bool isTitled = hasHeadings && !section.title.empty();
        if (y < 0)
            y = isTitled ? 0 : 6;
        else if (hasHeadings)
            y += (column > 0 ? layout.cell().height() : 0) + 8;
        if (hasHeadings)
            column = 0;
        y += isTitled ? CollectionLayout::heading : 0;
        for (std::size_t i = 0; i < section.count; ++i) {
            if (column == layout.columns()) {
                column = 0;
                y += layout.cell().height();
            }
            rects.emplace_back(static_cast<int>(column++), y, layout.cell().width(), layout.cell().height());
        }
    }
    return rects;
}

TEST(CollectionLayout, whatFitsDoesNotScroll) {
    for (const auto mode : {CollectionMode::grid, CollectionMode::list, CollectionMode::column}) {
        Case wanted{"", mode, oneSection(12)};
        const int end = wanted.layout().rect(11).bottom() + 1;
        wanted.viewport.setHeight(end);
        EXPECT_EQ(wanted.layout().contentSize().height(), end);
        wanted.viewport.setHeight(end - 1);
        EXPECT_GT(wanted.layout().contentSize().height(), end) << "with room beneath the last row";
    }
}

TEST(CollectionLayout, itemsStandWhereOnePlacedByOneTheyWould) {
    std::mt19937 random(7);
    for (const auto& wanted : cases()) {
        SCOPED_TRACE(testing::Message() << wanted.name << " in mode " << static_cast<int>(wanted.mode)
                                        << (wanted.direction == Qt::RightToLeft ? " mirrored" : ""));
        const auto layout = wanted.layout();
        const auto byHand = setOut(wanted, layout);
        ASSERT_EQ(layout.count(), static_cast<std::int64_t>(byHand.size()));
        const QRect content({}, layout.contentSize());
        std::vector<QRect> rects;
        for (std::int64_t index = 0; index < layout.count(); ++index) {
            const auto rect = layout.rect(index);
            const auto& expected = byHand[static_cast<std::size_t>(index)];
            rects.push_back(rect);
            ASSERT_EQ(rect.top(), expected.top()) << index;
            ASSERT_EQ(rect.size(), expected.size());
            ASSERT_EQ(layout.columnOf(index), expected.left());
            ASSERT_TRUE(content.contains(rect) || wanted.viewport.width() < rect.width()) << index;
            if (index == 0 || layout.columnOf(index) == 0)
                continue;
            const auto& before = rects[rects.size() - 2];
            ASSERT_TRUE(wanted.direction == Qt::RightToLeft ? rect.right() < before.left()
                                                            : rect.left() > before.right());
        }
        const auto within = [&random](int length) {
            return std::uniform_int_distribution<int>(-40, length + 40)(random);
        };
        for (int round = 0; round < 200; ++round) {
            const QPoint point(within(content.width()), within(content.height()));
            const auto hit =
                std::ranges::find_if(rects, [&](const QRect& rect) { return rect.contains(point); });
            ASSERT_EQ(layout.indexAt(point),
                      hit == rects.end() ? std::nullopt : std::optional(hit - rects.begin()));
            const auto area =
                QRect(point, QPoint(within(content.width()), within(content.height()))).normalized();
            std::vector<std::int64_t> expected, visited;
            for (std::size_t i = 0; i < rects.size(); ++i)
                if (rects[i].intersects(area))
                    expected.push_back(static_cast<std::int64_t>(i));
            layout.forEachIn(area, [&](std::int64_t index) { visited.push_back(index); });
            ASSERT_EQ(visited, expected);
        }
    }
}

TEST(CollectionLayout, verticalKeysLeadToTheNextRowAndKeepTheColumn) {
    for (const auto& wanted : cases()) {
        if (wanted.mode == CollectionMode::strip)
            continue;
        SCOPED_TRACE(testing::Message() << wanted.name << " in mode " << static_cast<int>(wanted.mode));
        const auto layout = wanted.layout();
        for (std::int64_t index = 0; index < layout.count(); index += 3)
            for (std::int64_t column = 0; column < layout.columns(); column += 2)
                for (const bool isDown : {true, false}) {
                    // The nearest row that way; in it the column, or what stands last before it.
                    const int from = layout.rect(index).top();
                    std::optional<std::int64_t> expected;
                    for (std::int64_t other = 0; other < layout.count(); ++other) {
                        const int top = layout.rect(other).top();
                        if (isDown ? top <= from : top >= from)
                            continue;
                        if (layout.columnOf(other) > column)
                            continue;
                        const int best = expected ? layout.rect(*expected).top() : 0;
                        if (!expected || (isDown ? top < best : top >= best) ||
                            (top == best && other > *expected))
                            expected = other;
                    }
                    ASSERT_EQ(layout.moved(index, column, isDown ? MoveKey::down : MoveKey::up, {900, 600}),
                              expected.value_or(index))
                        << (isDown ? "down from " : "up from ") << index << " in column " << column;
                }
    }
}

TEST(CollectionLayout, otherKeysStayInTheRange) {
    const Case wanted{"", CollectionMode::grid, oneSection(10), {4 * 128 + 24, 600}};
    const auto grid = wanted.layout();
    ASSERT_EQ(grid.columns(), 4);
    struct Row {
        std::int64_t from;
        MoveKey key;
        std::int64_t to;
    };
    for (const auto& row : {Row{0, MoveKey::left, 0}, Row{3, MoveKey::right, 4}, Row{9, MoveKey::right, 9},
                            Row{5, MoveKey::home, 0}, Row{5, MoveKey::end, 9}, Row{9, MoveKey::pageUp, 1},
                            Row{1, MoveKey::pageDown, 9}})
        EXPECT_EQ(grid.moved(row.from, grid.columnOf(row.from), row.key, {536, 600}), row.to)
            << row.from << " by " << static_cast<int>(row.key);
    auto mirrored = wanted;
    mirrored.direction = Qt::RightToLeft;
    EXPECT_EQ(mirrored.layout().moved(4, 0, MoveKey::left, {536, 600}), 5);
    const auto list = Case{"", CollectionMode::list, titled({3, 30, 3})}.layout();
    EXPECT_EQ(list.moved(4, 0, MoveKey::right, {600, 600}), 4) << "a row has no neighbours";
    EXPECT_EQ(list.moved(2, 0, MoveKey::pageDown, {600, 20}), 3) << "a page lower than a row still moves";
    EXPECT_EQ(list.moved(33, 0, MoveKey::pageUp, {600, 20}), 32);
    const auto strip = Case{"", CollectionMode::strip, oneSection(30)}.layout();
    EXPECT_EQ(strip.moved(4, 4, MoveKey::right, {640, 100}), 5);
    EXPECT_EQ(strip.moved(4, 4, MoveKey::pageDown, {640, 100}), 8);
}

TEST(CollectionLayout, theHeadingOfWhatIsReadStaysUntilTheNextPushesItAway) {
    const auto list = Case{"", CollectionMode::list, titled({10, 10, 10})}.layout();
    const auto visible = [&](int scrolled) {
        std::vector<std::pair<std::size_t, int>> found; ///< the section, and where in the viewport
        list.forEachHeading(scrolled, 600, [&](std::size_t section) {
            found.emplace_back(section, list.headingRect(section, scrolled).top() - scrolled);
        });
        return found;
    };
    using Found = std::vector<std::pair<std::size_t, int>>;
    const int second = list.rect(10).top() - CollectionLayout::heading;
    EXPECT_EQ(visible(0), (Found{{1, second}, {0, 0}}));
    EXPECT_EQ(visible(50), (Found{{1, second - 50}, {0, 0}}));
    EXPECT_EQ(visible(second - 10), (Found{{1, 10}, {2, second + 10}, {0, 10 - CollectionLayout::heading}}));
    EXPECT_EQ(visible(second), (Found{{2, second}, {1, 0}}));
}

TEST(CollectionLayout, aMillionItemsAreArithmetic) {
    const auto layout = Case{"", CollectionMode::grid, titled({400'000, 1, 600'000})}.layout();
    for (std::int64_t index = 0; index < layout.count(); index += 4001)
        ASSERT_EQ(layout.indexAt(layout.rect(index).center()), index);
    int visited = 0;
    layout.forEachIn(QRect(0, 1'000'000, 900, 600), [&](std::int64_t) { ++visited; });
    EXPECT_LT(visited, 100) << "only what is visible is visited";
}

} // namespace
} // namespace morv
