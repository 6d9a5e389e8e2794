#include "MorvApp/Model/PaneDisplay.h"
#include "Tests/MorvApp/PaneFixture.h"

#include <gmock/gmock.h>

namespace morv::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// 2024-03-31 is the day on which Berlin's clocks go forward at 2:00.
const DayCalendar berlin{"de_DE", "Europe/Berlin"};
const Date noon = Date::fromUnix(1711879200.0);  // 2024-03-31 12:00 in Berlin
const Date today = Date::fromUnix(1711839600.0); // 2024-03-31 00:00 in Berlin

constexpr double second = 1;
constexpr double hour = 3600;
constexpr double day = 24 * hour;

struct Item {
    std::string name;
    std::optional<Date> modifiedAt;
    bool isDirectory = false;
    bool isPackage = false;
};

EntryList listOf(const std::vector<Item>& items) {
    std::vector<FileEntry> batch;
    for (const auto& item : items) {
        FileEntry entry;
        entry.name = item.name;
        entry.modifiedAt = item.modifiedAt;
        entry.isDirectory = item.isDirectory;
        entry.isPackage = item.isPackage;
        entry.kind = classifyName(item.name, item.isDirectory, item.isPackage);
        batch.push_back(std::move(entry));
    }
    EntryList list;
    list.append(std::make_shared<const std::vector<FileEntry>>(std::move(batch)));
    return list;
}

/// "Title: names" for each section of the list in its own order.
std::vector<std::string> sectionsOf(const EntryList& list, FileGrouping grouping) {
    auto order = std::make_shared<std::vector<EntryRef>>();
    for (EntryRef ref = 0; ref < list.size(); ++ref)
        order->push_back(ref);
    const auto grouped = FileDisplaySection::make(list, order, grouping, HeadingDays::around(berlin, noon));
    std::vector<std::string> result;
    std::size_t next = 0;
    for (const auto& section : grouped.sections) {
        EXPECT_EQ(section.first, next) << "sections follow one another";
        next += section.count;
        auto line = std::string(section.title) + ":";
        for (auto i = section.first; i < next; ++i)
            line += " " + list[(*grouped.order)[i]].name;
        result.push_back(std::move(line));
    }
    EXPECT_EQ(next, list.size()) << "every entry is in one section";
    return result;
}

Date before(const Date& date, double seconds) {
    return {date.sinceReference - seconds};
}

TEST(FileDisplaySection, datesFallIntoCalendarDays) {
    struct Row {
        const char* name;
        std::optional<Date> modifiedAt;
        const char* title;
    };
    for (const auto& row : {
             Row{"midnight today", today, "Today"},
             Row{"tomorrow", before(noon, -day), "Today"},
             Row{"a second before midnight", before(today, second), "Yesterday"},
             Row{"midnight yesterday", before(today, day), "Yesterday"},
             Row{"just before yesterday", before(today, day + second), "Previous 7 Days"},
             Row{"seven days ago", before(today, 7 * day), "Previous 7 Days"},
             Row{"just before that", before(today, 7 * day + second), "Previous 30 Days"},
             Row{"thirty days ago", before(today, 30 * day), "Previous 30 Days"},
             Row{"just before those", before(today, 30 * day + second), "Older"},
             Row{"before the epoch", Date::fromUnix(-1e9), "Older"},
             Row{"no date", std::nullopt, "Date Unavailable"},
         }) {
        SCOPED_TRACE(row.name);
        EXPECT_THAT(sectionsOf(listOf({{"a.txt", row.modifiedAt}}), FileGrouping::date),
                    ElementsAre(std::string(row.title) + ": a.txt"));
    }
    // On the day after the change the day that is one day back has 23 hours.
    const auto after = HeadingDays::around(berlin, before(noon, -day));
    EXPECT_EQ(after.today.sinceReference - after.yesterday.sinceReference, 23 * hour);
    EXPECT_EQ(after.yesterday, today);
}

TEST(FileDisplaySection, foldersPackagesAndKindsStandUnderTheirOwnTitlesInTheOrderTheyCame) {
    const auto list = listOf({{"z.txt", noon},
                              {"b", before(noon, 40 * day), true},
                              {"Tool.app", noon, true, true},
                              {"a.png", std::nullopt},
                              {"y.txt", noon},
                              {"a", std::nullopt, true},
                              {"x.qqq", before(noon, day)}});
    EXPECT_THAT(sectionsOf(list, FileGrouping::date),
                ElementsAre("Folders: b a", "Today: z.txt Tool.app y.txt", "Yesterday: x.qqq",
                            "Date Unavailable: a.png"));
    const auto byKind = sectionsOf(list, FileGrouping::kind);
    ASSERT_GE(byKind.size(), 4U);
    EXPECT_EQ(byKind[0], "Folders: b a");
    EXPECT_EQ(byKind[1], "Images: a.png");
    EXPECT_EQ(byKind[2], "Documents: z.txt y.txt");
    EXPECT_THAT(sectionsOf(list, FileGrouping::none), ElementsAre(": z.txt b Tool.app a.png y.txt a x.qqq"));
    EXPECT_THAT(sectionsOf({}, FileGrouping::kind), IsEmpty());
    EXPECT_THAT(sectionsOf({}, FileGrouping::none), ElementsAre(":"));
}

class PaneDisplayTest : public PaneTest {};

TEST_F(PaneDisplayTest, isMadeAnewOnlyWhenSomethingThatItShowsHasChanged) {
    const auto downloads = folder("work/Downloads");
    for (const auto* name : {"a.txt", "b.png", "c.txt"})
        file(std::string("Downloads/") + name);
    PaneModel pane(downloads, services());
    auto now = Date::now();
    PaneDisplay display(pane, [&now] { return now; });
    ASSERT_TRUE(settled(pane));
    ASSERT_TRUE(eventually([&] { return pane.downloadsKindGroups().size() == 2; }));
    const auto shown = [&] {
        std::vector<std::string> names;
        for (std::size_t i = 0; i < display.size(); ++i)
            names.push_back(display[i].name);
        return names;
    };
    EXPECT_TRUE(display.refresh(FileGrouping::kind));
    EXPECT_THAT(shown(), ElementsAre("b.png", "a.txt", "c.txt"));
    EXPECT_FALSE(display.refresh(FileGrouping::kind));
    EXPECT_FALSE(display.validUntil());
    EXPECT_TRUE(display.refresh(FileGrouping::date));
    EXPECT_FALSE(display.refresh(FileGrouping::date));
    ASSERT_TRUE(display.validUntil());
    EXPECT_GT(*display.validUntil(), now);
    now = *display.validUntil();
    EXPECT_TRUE(display.refresh(FileGrouping::date)) << "today is yesterday now";

    pane.setDownloadsGroupID(pane.downloadsKindGroups().back().id);
    EXPECT_TRUE(display.refresh(FileGrouping::none));
    EXPECT_THAT(shown(), ElementsAre("a.txt", "c.txt")) << "only the chosen group";
    display.setOverride(listOf({{"other", std::nullopt}}));
    EXPECT_TRUE(display.refresh(FileGrouping::none));
    EXPECT_THAT(shown(), ElementsAre("other"));
}

} // namespace
} // namespace morv::test
