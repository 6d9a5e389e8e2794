// The preview of a rename by a pattern says what the plan then does, and exchanging names destroys nothing.
#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Operations/RenamePreview.h"
#include "Tests/MorvCore/Operations/EngineFixture.h"

#include <algorithm>
#include <gmock/gmock.h>

namespace morv {
namespace {

using Problem = RenamePreview::Problem;
using testing::ElementsAre;

class RenamePreviewTest : public test::EngineFixture {
protected:
    RenamePreviewTest() { makeFolder("work"); }

    static std::vector<Problem> problems(const std::vector<RenamePreview>& previews) {
        std::vector<Problem> found;
        for (const auto& preview : previews)
            found.push_back(preview.problem);
        return found;
    }
};

TEST_F(RenamePreviewTest, agreesWithThePlanOfTheSamePattern) {
    struct Row {
        const char* name;
        const char* pattern;
        std::vector<std::string> names;
        std::vector<Problem> problems;
    };
    const std::vector<Row> rows = {
        {"tokens",
         "{n} {name}.{ext}",
         {"1 a.txt", "2 b.txt", "3 c.d"},
         {Problem::none, Problem::none, Problem::none}},
        {"one name for all", "x", {"x", "x", "x"}, {Problem::none, Problem::taken, Problem::taken}},
        {"case makes no difference",
         "X{name}",
         {"Xa", "Xb", "Xc"},
         {Problem::taken, Problem::none, Problem::none}},
        {"a name of its own",
         "{name}.{ext}",
         {"a.txt", "b.txt", "c.d"},
         {Problem::unchanged, Problem::unchanged, Problem::unchanged}},
        {"a slash",
         "{name}/{n}",
         {"a/1", "b/2", "c/3"},
         {Problem::forbidden, Problem::forbidden, Problem::forbidden}},
        {"nothing", "", {"", "", ""}, {Problem::forbidden, Problem::forbidden, Problem::forbidden}},
    };
    const std::vector<FileURL> sources = {write("work/a.txt", "A"), write("work/b.txt", "B"),
                                          write("work/c.d", "C")};
    write("work/Xa", "taken");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto previews = previewRename(sources, row.pattern, {});
        std::vector<std::string> names;
        for (const auto& preview : previews)
            names.push_back(preview.name);
        EXPECT_EQ(names, row.names);
        EXPECT_EQ(problems(previews), row.problems);

        const OperationRequest request{
            .kind = OperationKind::rename, .sources = sources, .newName = row.pattern};
        const bool isRefused = std::ranges::any_of(previews, &RenamePreview::refusesPlan);
        if (isRefused) {
            EXPECT_THROW(plan(request), FileOperationError);
            continue;
        }
        const auto made = plan(request);
        for (std::size_t i = 0; i < sources.size(); ++i)
            EXPECT_EQ(made.items[i].destination->lastComponent() == previews[i].name,
                      previews[i].problem == Problem::none);
    }
}

TEST_F(RenamePreviewTest, exchangedNamesGetNumbersAndNothingIsLost) {
    const auto one = write("work/1", "one");
    const auto two = write("work/2", "two");
    // By the pattern the first takes the second's name and the second the first's.
    EXPECT_THAT(problems(previewRename({two, one}, "{n}", {})), ElementsAre(Problem::taken, Problem::taken));
    const auto receipt = run({.kind = OperationKind::rename, .sources = {two, one}, .newName = "{n}"});
    EXPECT_EQ(receipt.status, OperationStatus::completed);
    EXPECT_EQ(read(at("work/1 2")), "two");
    EXPECT_EQ(read(at("work/2 2")), "one");

    // Even a plan that says so exactly replaces nothing.
    auto swap =
        plan({.kind = OperationKind::rename, .sources = {at("work/1 2"), at("work/2 2")}, .newName = "{n}"});
    swap.items[0].destination = at("work/2 2");
    swap.items[1].destination = at("work/1 2");
    EXPECT_EQ(engine().execute(swap, {}).status, OperationStatus::failed);
    EXPECT_EQ(read(at("work/1 2")), "two");
    EXPECT_EQ(read(at("work/2 2")), "one");
}

TEST_F(RenamePreviewTest, stopsWhenItIsNoLongerWanted) {
    std::stop_source stop;
    stop.request_stop();
    EXPECT_THROW(previewRename({write("work/a", "")}, "b", stop.get_token()), CancellationError);
}

} // namespace
} // namespace morv
