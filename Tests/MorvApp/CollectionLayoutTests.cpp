#include "MorvApp/Views/Collection/CollectionLayout.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <set>

namespace morv {
namespace {

TEST(CollectionLayout, everyItemIsFoundWhereItStandsAndNowhereElse) {
    for (const std::int64_t count : {0, 1, 3, 7, 500, 1'000'000})
        for (const auto& layout : {CollectionLayout::grid(count, {900, 600}, 120, 17),
                                   CollectionLayout::grid(count, {60, 600}, 160, 17),
                                   CollectionLayout::list(count, {900, 600}, 17)}) {
            SCOPED_TRACE(testing::Message() << count << " in " << layout.columns() << " columns");
            for (std::int64_t index = 0; index < count; index += std::max<std::int64_t>(1, count / 211)) {
                const auto rect = layout.rect(index);
                ASSERT_EQ(layout.indexAt(rect.center()), index);
                ASSERT_GE(rect.top(), 0);
                ASSERT_LE(rect.bottom(), layout.contentHeight());
                ASSERT_FALSE(index + 1 < count && rect.intersects(layout.rect(index + 1)));
                bool met = false;
                layout.forEachIn(QRect(rect.center(), QSize(1, 1)),
                                 [&](std::int64_t each) { met = each == index; });
                ASSERT_TRUE(met);
            }
            EXPECT_FALSE(layout.indexAt({300, layout.contentHeight() + 1}));
            EXPECT_FALSE(layout.indexAt({-1, 20}));
            int visited = 0;
            layout.forEachIn(QRect(0, 0, 900, 600), [&](std::int64_t) { ++visited; });
            EXPECT_LT(visited, 100) << "only what is visible is visited";
        }
}

TEST(CollectionLayout, keysStayInTheRange) {
    const auto grid = CollectionLayout::grid(10, {4 * 128 + 24, 600}, 120, 17);
    ASSERT_EQ(grid.columns(), 4);
    struct Row {
        std::int64_t from;
        MoveKey key;
        std::int64_t to;
    };
    for (const auto& row :
         {Row{0, MoveKey::left, 0}, Row{3, MoveKey::right, 4}, Row{1, MoveKey::down, 5},
          Row{7, MoveKey::down, 9}, Row{8, MoveKey::down, 8}, Row{2, MoveKey::up, 2}, Row{6, MoveKey::up, 2},
          Row{9, MoveKey::right, 9}, Row{5, MoveKey::home, 0}, Row{5, MoveKey::end, 9},
          Row{9, MoveKey::pageUp, 1}, Row{1, MoveKey::pageDown, 9}})
        EXPECT_EQ(grid.moved(row.from, row.key, 600), row.to)
            << row.from << " by " << static_cast<int>(row.key);
    const auto list = CollectionLayout::list(10, {600, 600}, 17);
    EXPECT_EQ(list.moved(4, MoveKey::right, 600), 4);
    EXPECT_EQ(list.moved(4, MoveKey::down, 600), 5);
}

} // namespace
} // namespace morv
