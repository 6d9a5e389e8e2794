// Single calls fail once with what a sick disk, a full disk or a missing right answers.
#include "OperationChecks.h"

#include <algorithm>

namespace {

class FailingCalls : public Scene {};

TEST_F(FailingCalls, ofTheFilesFailTheItemAloneWithASentence) {
    if (!canInjectFaults())
        GTEST_SKIP() << "The sanitizer's runtime does not share its place with a preloaded library.";
    OperationChecks checks(*this, other + "/to");
    const auto operations = OperationChecks::operations(*this);
    struct Row {
        std::size_t operation;
        std::string call;
        std::string below;
    };
    const std::vector<Row> rows = {
        {0, "open", to},    {0, "write", to},       {0, "attribute", to}, {0, "mode", to},
        {0, "time", to},    {0, "sync", to},        {0, "folder", to},    {0, "link", to},
        {0, "rename", to},  {1, "rename", to},      {1, "sync", to},      {2, "write", other},
        {2, "sync", other}, {2, "rename", other},   {2, "rename", home},  {2, "open", home},
        {2, "sync", home},  {3, "rename", from},    {4, "open", home},    {4, "write", home},
        {4, "sync", home},  {4, "rename", home},    {5, "folder", to},    {5, "rename", to},
        {5, "sync", to},    {6, "attribute", from}, {10, "open", to},     {10, "write", to},
        {10, "sync", to},   {10, "rename", to},
    };
    for (const auto& row : rows) {
        for (const std::string error : {"ENOSPC", "EIO", "EACCES", "EROFS", "EDQUOT", "EINTR"}) {
            const auto& operation = operations[row.operation];
            SCOPED_TRACE(operation.name + " " + row.call + " " + error + " below " + row.below);
            checks.reset(operation);
            auto arguments = operation.arguments;
            arguments.insert(arguments.begin(), "--json");
            RunOptions options;
            options.fault = row.call + "=1:" + error + "@" + row.below;
            const auto result = run(arguments, options);
            checks.check(operation);
            const auto receipt = nlohmann::json::parse(result.out, nullptr, false);
            ASSERT_FALSE(receipt.is_discarded()) << result.out << result.err;
            // An interrupted call may simply be made again.
            if (error == "EINTR" && result.status == 0)
                continue;
            EXPECT_EQ(result.status, 1) << result.err << receipt.dump(1);
            std::size_t failed = 0;
            for (const auto& item : receipt.at("items")) {
                if (item.at("status") == "succeeded")
                    continue;
                ++failed;
                EXPECT_GE(item.value("error", "").size(), 12U) << item.dump(1);
            }
            EXPECT_EQ(failed, 1U) << "The batch goes on with the next item. " << receipt.dump(1);
            if (HasFailure())
                return;
        }
    }
}

TEST_F(FailingCalls, ofTheTrashAfterTheRenameBringTheItemBack) {
    if (!canInjectFaults())
        GTEST_SKIP() << "The sanitizer's runtime does not share its place with a preloaded library.";
    for (const auto& fault : {"sync=2:EIO@" + home, "sync=3:EIO@" + home, "sync=1:EIO@" + from}) {
        SCOPED_TRACE(fault);
        writeFile(from + "/file", "content");
        RunOptions options;
        options.fault = fault;
        const auto result = run({"run", "trash", from + "/file"}, options);
        EXPECT_EQ(result.status, 1) << result.out << result.err;
        EXPECT_EQ(readFile(from + "/file"), "content");
        EXPECT_TRUE(namesIn(trashFiles()).empty());
        EXPECT_TRUE(namesIn(trashFiles() + "/../info").empty());
    }
}

TEST_F(FailingCalls, ofTheStoreEndTheOperationBeforeItGoesOn) {
    if (!canInjectFaults())
        GTEST_SKIP() << "The sanitizer's runtime does not share its place with a preloaded library.";
    OperationChecks checks(*this, other + "/to");
    const auto operations = OperationChecks::operations(*this);
    std::size_t refused = 0;
    for (const std::size_t index : {0U, 1U, 2U, 4U}) {
        const auto& operation = operations[index];
        const auto& arguments = operation.arguments;
        const std::vector<std::pair<std::string, std::string>> faults = {
            {"write", "ENOSPC"}, {"sync", "EIO"}, {"write", "EIO"}, {"open", "EACCES"}};
        for (const auto& [call, error] : faults) {
            for (std::size_t n = 1; n <= 12; ++n) {
                SCOPED_TRACE(operation.name + " " + call + " " + error + " " + std::to_string(n));
                checks.reset(operation);
                RunOptions options;
                options.fault = call + "=" + std::to_string(n) + ":" + error + "@" + data;
                const auto result = run(arguments, options);
                checks.check(operation);
                if (result.status == 0)
                    break;
                EXPECT_EQ(result.status, 3);
                EXPECT_GE(result.err.size(), 12U);
                ++refused;
                if (HasFailure())
                    return;
            }
        }
    }
    EXPECT_GE(refused, 20U) << "The faults do not reach the store.";
}

TEST_F(FailingCalls, anItemThatTheTrashCannotConfirmIsBackInItsPlace) {
    if (!canInjectFaults())
        GTEST_SKIP() << "The sanitizer's runtime does not share its place with a preloaded library.";
    OperationChecks checks(*this, other + "/to");
    const auto trashing = OperationChecks::operations(*this)[4];
    int refused = 0;
    for (int n = 1; n < 40; ++n) {
        SCOPED_TRACE(n);
        checks.reset(trashing);
        RunOptions options;
        options.fault = "sync=" + std::to_string(n) + ":EIO@" + home;
        const auto result = run({"--json", "run", "trash", from + "/single.txt"}, options);
        checks.check(trashing);
        if (result.status == 0)
            break;
        ++refused;
        EXPECT_EQ(readFile(from + "/single.txt"), "the single file");
        EXPECT_TRUE(namesIn(trashFiles()).empty());
        if (HasFailure())
            return;
    }
    EXPECT_GE(refused, 3) << "the reservation and both folders of the Trash";
}

TEST_F(FailingCalls, aFileThatAppearsAtTheLastMomentIsNeverReplaced) {
    if (!canInjectFaults())
        GTEST_SKIP() << "The sanitizer's runtime does not share its place with a preloaded library.";
    OperationChecks checks(*this, other + "/to");
    const auto across = other + "/to";
    const std::vector<std::pair<std::size_t, std::string>> rows = {{0, to + "/tree"},
                                                                   {1, to + "/tree"},
                                                                   {2, across + "/tree"},
                                                                   {3, from + "/new tree."},
                                                                   {5, to + "/fresh"}};
    const auto operations = OperationChecks::operations(*this);
    for (const auto& [index, place] : rows) {
        const auto& operation = operations[index];
        SCOPED_TRACE(operation.name);
        checks.reset(operation);
        RunOptions options;
        options.fault = "rename=1:occupy@" + place.substr(0, place.rfind('/'));
        const auto result = run(operation.arguments, options);
        EXPECT_EQ(result.status, 1) << result.out << result.err;
        EXPECT_EQ(readFile(place), "newcomer");
        if (index != 5) {
            EXPECT_FALSE(snapshot(from + "/tree").empty());
        }
        unlink(place.c_str());
        checks.check(operation);
    }
    // The Trash finds another name; a place that undo wants back is left to its new owner.
    const auto trashed = operations[4];
    checks.reset(trashed);
    RunOptions options;
    options.fault = "rename=1:occupy@" + trashFiles();
    EXPECT_EQ(run(trashed.arguments, options).status, 0);
    EXPECT_EQ(readFile(trashFiles() + "/tree"), "newcomer");
    EXPECT_EQ(namesIn(trashFiles()).size(), 3U);
    options.fault = "rename=1:occupy@" + from;
    EXPECT_EQ(run({"undo"}, options).status, 1);
    EXPECT_EQ(readFile(from + "/single.txt"), "newcomer");
    EXPECT_FALSE(snapshot(from + "/tree").empty());
}

// Overlays and merged volumes refuse to rename between folders of one mount.
TEST_F(FailingCalls, aRenameThatCannotCrossBecomesACopyWithTheOriginalInTheTrash) {
    if (!canInjectFaults())
        GTEST_SKIP() << "The sanitizer's runtime does not share its place with a preloaded library.";
    makeSmallTree(from + "/tree", "the tree");
    const auto before = snapshot(from);
    RunOptions options;
    options.fault = "renameat2=1:EXDEV@" + to;
    EXPECT_EQ(run({"run", "move", from + "/tree", "--to", to}, options).status, 0);
    EXPECT_EQ(difference(snapshot(trashFiles() + "/tree"), snapshot(to + "/tree")), "");
    EXPECT_EQ(namesIn(from).size(), 0U);
    EXPECT_EQ(run({"undo"}).status, 0);
    EXPECT_EQ(difference(withoutFolderTimes(before), withoutFolderTimes(snapshot(from))), "");
}

TEST_F(FailingCalls, aVolumeWithoutNoReplaceRenameTakesFilesAndRefusesFolders) {
    if (!canInjectFaults())
        GTEST_SKIP() << "The sanitizer's runtime does not share its place with a preloaded library.";
    writeFile(from + "/file", "content");
    RunOptions options;
    options.fault = "renameat2=1:EINVAL@" + to;
    EXPECT_EQ(run({"run", "copy", from + "/file", "--to", to}, options).status, 0);
    EXPECT_EQ(difference(snapshot(from + "/file"), snapshot(to + "/file")), "");
    EXPECT_EQ(namesIn(to).size(), 1U);

    makeFolder(from + "/folder");
    const auto result = run({"run", "copy", from + "/folder", "--to", to}, options);
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.out.find(
                  "This volume cannot rename without replacing. Nothing was changed at the destination."),
              std::string::npos)
        << result.out;
    EXPECT_TRUE(snapshot(to + "/folder").empty());
}

} // namespace
