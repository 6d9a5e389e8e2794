#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Records/SQLiteStore.h"
#include "MorvCore/Workspaces/WorkspaceRepository.h"
#include "Tests/Support/TemporaryFolder.h"

#include <nlohmann/json.hpp>

using namespace morv;
using namespace morv::test;

namespace {

class Workspaces : public testing::Test {
protected:
    static Workspace made(std::string_view id, std::string name, double created) {
        return {*UUID::parse(id), std::move(name), {}, "teal", Date{created}};
    }
    std::vector<std::string> listed() {
        std::vector<std::string> names;
        for (const auto& workspace : workspaces.list())
            names.push_back(workspace.name);
        return names;
    }

    using Names = std::vector<std::string>;
    static constexpr std::string_view first = "0A000000-0000-0000-0000-000000000001";
    static constexpr std::string_view second = "9B000000-0000-0000-0000-000000000001";
    static constexpr std::string_view third = "B0000000-0000-0000-0000-000000000001";

    TemporaryFolder folder;
    SQLiteStore store{folder.url("Morv.sqlite")};
    WorkspaceRepository workspaces{store};
};

TEST_F(Workspaces, aRecordKeepsItsFormAndEveryByteOfItsPlaces) {
    const auto created = workspaces.create(
        "\t  Plans\u00a0\n",
        {FileURL::fromPath("/a/./b/../\xff x"), FileURL::folder("/a/dir"), FileURL::fromPath("/a/dir/")},
        "plum");
    EXPECT_EQ(created.name, "Plans");
    const auto key = "workspace/" + created.id.text();
    const auto record = nlohmann::json::parse(store.loadBytes(key).value());
    const nlohmann::json expected = {{"id", created.id.text()},
                                     {"name", "Plans"},
                                     {"references", {"file:///a/%FF%20x", "file:///a/dir/"}},
                                     {"color", "plum"},
                                     {"createdAt", created.createdAt.sinceReference}};
    EXPECT_EQ(record, expected);
    EXPECT_EQ(workspaces.list(), std::vector{created});

    for (const auto* required : {"id", "name", "references", "color", "createdAt"}) {
        SCOPED_TRACE(required);
        auto damaged = expected;
        damaged.erase(required);
        store.saveBytes(damaged.dump(), key);
        EXPECT_THROW(workspaces.list(), DecodingError) << "a damaged workspace is not passed over in silence";
    }
}

TEST_F(Workspaces, theyAreListedByAgeAndThenById) {
    workspaces.save(made(third, "third", 5));
    workspaces.save(made(second, "second", 5));
    workspaces.save(made(first, "last", 6));
    store.saveBytes("{}", "workspaces");
    EXPECT_EQ(listed(), (Names{"second", "third", "last"}));

    auto renamed = made(third, "  renamed  ", 5);
    workspaces.save(renamed);
    EXPECT_EQ(listed(), (Names{"second", "  renamed  ", "last"})) << "saving takes the name as it stands";
    workspaces.remove(renamed.id);
    workspaces.remove(renamed.id);
    EXPECT_EQ(listed(), (Names{"second", "last"}));
}

TEST_F(Workspaces, aBlankNameIsRefusedAndNothingIsWritten) {
    for (const std::string blank : {"", "  \n\t", "\u2003\u00a0"}) {
        EXPECT_EQ(sentenceOf<PersistenceError>([&] { workspaces.create(blank, {}, "teal"); }),
                  "Give this workspace a name.");
        EXPECT_EQ(sentenceOf<PersistenceError>([&] { workspaces.save(made(first, blank, 1)); }),
                  "Give this workspace a name.");
    }
    EXPECT_EQ(listed(), Names{});
}

TEST_F(Workspaces, referencesKeepTheirOrderAndStandOnce) {
    const auto a = FileURL::fromPath("/a"), b = FileURL::fromPath("/b"), c = FileURL::fromPath("/c");
    auto workspace = made(first, "one", 1).adding({b, a});
    EXPECT_EQ(workspace.adding({a.asFolder(), c, c}).references, (std::vector{b, a, c}));
    EXPECT_EQ(workspace.adding({b}), workspace);
    EXPECT_EQ(workspace.removing({b, c}).references, std::vector{a});
}

} // namespace
