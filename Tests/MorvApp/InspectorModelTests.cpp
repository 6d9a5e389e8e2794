// What the inspector tells, tags of several items, and the tokens of a search: without a window.
#include "MorvApp/Model/InspectorModel.h"
#include "MorvApp/Model/SearchTokens.h"
#include "MorvCore/Folders/FileTagMetadata.h"
#include "MorvCore/Foundation/Cancellation.h"
#include "Tests/MorvApp/Support.h"

#include <algorithm>
#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>

namespace morv {
namespace {

using test::eventually;
using testing::ElementsAre;
using testing::UnorderedElementsAre;
using State = InspectorModel::State;
using Names = std::vector<std::string>;

class InspectorModelTest : public test::ModelTest {
protected:
    void start() {
        services = std::make_unique<MorvServices>(environment());
        app = std::make_unique<AppModel>(*services, board, work);
        ASSERT_TRUE(idle(*app));
        inspector = std::make_unique<InspectorModel>(*app);
    }
    bool tells(const FileURL& item) {
        return eventually([&] { return inspector->item() == item && inspector->state() == State::ready; });
    }

    std::unique_ptr<MorvServices> services;
    std::unique_ptr<AppModel> app;
    std::unique_ptr<InspectorModel> inspector;
};

TEST_F(InspectorModelTest, tellsOfTheSelectionWhileItIsSeen) {
    const auto a = file("a.txt", "12345");
    file("b.png", "123");
    const auto sub = folder("work/sub");
    start();
    EXPECT_FALSE(inspector->item()) << "hidden, it reads nothing";
    inspector->setActive(true);
    ASSERT_TRUE(tells(work)) << "nothing is selected: the folder itself";
    select(*app, {"a.txt"});
    ASSERT_TRUE(tells(a));
    EXPECT_EQ(inspector->information()->entry.size, 5);

    select(*app, {"sub"});
    ASSERT_TRUE(tells(sub));
    ASSERT_TRUE(eventually([&] { return inspector->insight().has_value(); }));
    EXPECT_EQ(inspector->insight()->directCount, 0);

    select(*app, {"a.txt", "b.png", "sub"});
    ASSERT_TRUE(eventually([&] { return inspector->summary().has_value(); }));
    EXPECT_FALSE(inspector->item());
    EXPECT_EQ(inspector->summary()->count, 3U);
    EXPECT_EQ(inspector->summary()->folders, 1U);
    EXPECT_EQ(inspector->summary()->bytes, 8);

    // The other road away from an item: it goes itself, and is told of as gone and not as it was.
    select(*app, {"a.txt"});
    ASSERT_TRUE(tells(a));
    std::filesystem::remove(a.path());
    ASSERT_TRUE(eventually([&] { return inspector->item() == work || inspector->state() == State::failed; }));
    EXPECT_TRUE(!inspector->information() || inspector->information()->entry.url() != a);
    ASSERT_TRUE(idle(*app));
}

TEST_F(InspectorModelTest, theLastItemIsToldHoweverManyWereLeftUnanswered) {
    const std::vector<std::string> items{"a", "b", "c", "d", "e", "f", "g"};
    for (const auto& name : items)
        file(name);
    start();
    for (const auto& name : items) {
        select(*app, {name});
        inspector->setActive(true);
        ASSERT_EQ(inspector->item(), work.child(name));
        inspector->setActive(false);
    }
    inspector->setActive(true);
    EXPECT_TRUE(tells(work.child("g")));
    ASSERT_TRUE(idle(*app));
}

TEST_F(InspectorModelTest, aChecksumBelongsToItsItemAndIsCancelled) {
    const auto a = file("a.txt", "abc");
    file("b.txt");
    const auto large = file("large", std::string(64U << 20, 'x'));
    start();
    inspector->setActive(true);
    select(*app, {"a.txt"});
    ASSERT_TRUE(tells(a));
    using Phase = InspectorModel::Checksum::Phase;
    inspector->computeChecksum();
    ASSERT_TRUE(eventually([&] { return inspector->checksum().phase == Phase::done; }));
    EXPECT_EQ(inspector->checksum().text.substr(0, 8), "ba7816bf");
    file("a.txt", "abcd");
    EXPECT_TRUE(eventually([&] { return inspector->checksum().phase == Phase::none; }))
        << "of what the file was before";
    select(*app, {"large"});
    ASSERT_TRUE(tells(large));
    inspector->computeChecksum();
    EXPECT_EQ(inspector->checksum().phase, Phase::running);
    inspector->cancelChecksum();
    EXPECT_EQ(inspector->checksum().phase, Phase::none);
    inspector->computeChecksum();
    select(*app, {"b.txt"});
    ASSERT_TRUE(
        eventually([&] { return inspector->item() && inspector->item()->lastComponent() == "b.txt"; }));
    EXPECT_EQ(inspector->checksum().phase, Phase::none) << "it does not follow to the next item";
    ASSERT_TRUE(idle(*app));
}

/// The first picture is not ready before it is given up.
class SlowDecoder : public MediaDecoder {
public:
    DecodedMedia decode(const MediaRequest&, const std::stop_token& stop) const override {
        std::unique_lock lock(mutex_);
        ++begun_;
        next_.wait(lock, stop, [this] { return begun_ > 1; });
        checkCancelled(stop);
        DecodedMedia media;
        media.facts = {{"Size", "1 × 1"}};
        return media;
    }
    bool understands(const FileURL&) const override { return true; }
    int begun() const {
        const std::lock_guard lock(mutex_);
        return begun_;
    }

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable_any next_;
    mutable int begun_ = 0;
};

TEST_F(InspectorModelTest, aPictureThatWasGivenUpIsDecodedWhenItIsSeenAgain) {
    const auto a = file("a.png", "x");
    start();
    const auto decoder = std::make_shared<SlowDecoder>();
    services->mediaDecoder = decoder;
    inspector->setActive(true);
    select(*app, {"a.png"});
    ASSERT_TRUE(tells(a));
    ASSERT_TRUE(eventually([&] { return decoder->begun() == 1; }));
    inspector->setActive(false);
    inspector->setActive(true);
    EXPECT_TRUE(eventually([&] { return inspector->media().has_value(); }));
    ASSERT_TRUE(idle(*app));
}

TEST_F(InspectorModelTest, tagsChangeWithoutTouchingTheOthers) {
    const auto a = file("a");
    const auto b = file("b");
    const auto c = file("c");
    FileTagMetadata::setNames(a, {"Red", "Old"});
    FileTagMetadata::setNames(b, {"Old"});
    start();
    select(*app, {"a", "b", "c"});
    inspector->setActive(true);
    ASSERT_TRUE(eventually([&] { return inspector->summary().has_value(); }));
    EXPECT_THAT(inspector->summary()->tags, ElementsAre(SharedTag{"Old", 2}, SharedTag{"Red", 1}));
    // What stands on the disk by now counts, and not what was listed.
    FileTagMetadata::setNames(c, {"Late"});
    inspector->changeTags({.add = {"New"}, .remove = {"Old"}});
    const auto are = [](const FileURL& item, const Names& tags) {
        return FileTagMetadata::names(item) == tags;
    };
    ASSERT_TRUE(eventually([&] {
        return are(a, {"New", "Red"}) && are(b, {"New"}) && are(c, {"Late", "New"});
    }));
    ASSERT_TRUE(ended(*app, 3)) << "three results, three operations";
    for (int undone = 1; undone <= 3; ++undone) {
        app->undo();
        ASSERT_TRUE(eventually([&] {
            // The engine may still be giving back the turn of the operation before: "busy" is asked again.
            if (app->errorMessage()) {
                app->setErrorMessage(std::nullopt);
                app->undo();
            }
            return !app->isUndoing() && undone == std::ranges::count(app->receipts(), OperationStatus::undone,
                                                                     &OperationReceipt::status);
        }));
    }
    EXPECT_TRUE(eventually([&] { return are(a, {"Red", "Old"}) && are(b, {"Old"}) && are(c, {"Late"}); }));
    ASSERT_TRUE(idle(*app));

    app->changeTags({a}, {{"Red"}, {"Missing"}});
    ASSERT_TRUE(idle(*app));
    const auto groups = tagGroups({a, b}, {{"Red"}, {"Missing"}}, {});
    ASSERT_EQ(groups.size(), 1U) << "what has what it shall have is left alone";
    EXPECT_THAT(groups.front().items, ElementsAre(b));
    EXPECT_THAT(knownTags(*app), testing::Contains("Late"));
}

TEST(SearchTokens, areTakenOutOfWhatIsTyped) {
    struct Row {
        const char* name;
        const char* typed;
        TokenEnding ending;
        SearchTokens expected;
    };
    constexpr auto typing = TokenEnding::typing;
    constexpr auto meant = TokenEnding::meant;
    const Row rows[] = {
        {"a name", "two words ", typing, {{}, {}, "two words ", ""}},
        {"a tag that is still typed", "plan tag:re", typing, {{}, {}, "plan ", "tag:re"}},
        {"and is meant", "plan tag:re", meant, {"re", {}, "plan ", ""}},
        {"a tag before the name", "tag:red plan", typing, {"red", {}, "plan", ""}},
        {"a tag with blanks", "tag:\"to do\"plan", typing, {"to do", {}, "plan", ""}},
        {"its quotes are open", "tag:\"to do", typing, {{}, {}, "", "tag:\"to do"}},
        {"a kind", "KIND:Images x", typing, {{}, FileKind::image, "x", ""}},
        {"a kind by its record's word", "kind:image ", typing, {{}, FileKind::image, "", ""}},
        {"no kind", "kind:blue x", typing, {{}, {}, "kind:blue x", ""}},
        {"no tag", "tag: x", typing, {{}, {}, "tag: x", ""}},
        {"both", "tag:a kind:audio ", typing, {"a", FileKind::audio, "", ""}},
        {"inside a word", "my-tag:red ", typing, {{}, {}, "my-tag:red ", ""}},
        {"a quote within quotes", R"(tag:"say \"hi\"" x)", typing, {R"(say "hi")", {}, "x", ""}},
        {"is no end while it is typed", R"(tag:"say \")", typing, {{}, {}, "", R"(tag:"say \")"}},
        {"a backslash of its own", R"(tag:"a\b" )", typing, {R"(a\b)", {}, "", ""}},
        {"no letters", "", meant, {{}, {}, "", ""}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto tokens = searchTokens(row.typed, row.ending);
        EXPECT_EQ(tokens.tag, row.expected.tag);
        EXPECT_EQ(tokens.kind, row.expected.kind);
        EXPECT_EQ(tokens.text, row.expected.text);
        EXPECT_EQ(tokens.open, row.expected.open);
    }
}

TEST(SearchTokens, readWhatTheyWrite) {
    for (const std::string tag : {R"(")", R"(\)", R"(\")", R"("\)", R"(a\\"b\)", R"(" kind:images tag:"x)",
                                  "to do", "  ", "tag:", "a\nb\tc", "Müll “rot”"})
        for (const auto ending : {TokenEnding::typing, TokenEnding::meant}) {
            SCOPED_TRACE(tag);
            const auto token = "tag:" + quotedValue(tag);
            EXPECT_EQ(searchTokens("before " + token + " behind", ending),
                      (SearchTokens{tag, {}, "before behind", ""}));
            EXPECT_EQ(tokenValue(token), tag);
        }
}

} // namespace
} // namespace morv
