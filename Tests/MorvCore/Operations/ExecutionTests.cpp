#include "MorvCore/Folders/FileTagMetadata.h"
#include "MorvCore/Platform/FileStat.h"
#include "Tests/MorvCore/Operations/EngineFixture.h"
#include "Tests/Support/SystemCalls.h"

#include <atomic>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace morv::test {
namespace {

namespace fs = std::filesystem;

/// Keeps what it is given in a folder beside the item, so that another volume's Trash is not touched.
class FolderTrash final : public OperationTrashProvider {
public:
    FileURL trash(const FileURL& url) const override {
        if (refuses)
            throw FileOperationError::unavailable("No Trash today.");
        const auto folder = url.parent().child("trash");
        fs::create_directory(folder.path());
        const auto place = folder.child(std::string(url.lastComponent()) + std::to_string(++count_));
        fs::rename(url.path(), place.path());
        return place;
    }
    bool refuses = false;

private:
    mutable int count_ = 0;
};

/// Both ways of hashing must give the same receipts.
class Execution : public EngineFixture, public testing::WithParamInterface<bool> {
protected:
    Execution() { use({}); }
    void use(EngineObservers observers, std::shared_ptr<const OperationTrashProvider> trash = nullptr) {
        observers.withoutDigestCache = GetParam();
        useEngine(std::move(observers), std::move(trash));
    }
    void expectCompleted(const OperationReceipt& receipt, const char* message) {
        EXPECT_EQ(receipt.status, OperationStatus::completed);
        EXPECT_EQ(receipt.message, message);
        for (const auto& item : receipt.items)
            EXPECT_EQ(item.error.value_or(""), "");
        ASSERT_FALSE(engine().history().empty());
        EXPECT_EQ(engine().history().front(), receipt) << "what is on disk is what was returned";
    }
    std::vector<std::string> leftovers(const FileURL& folder) {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder.path()))
            if (entry.path().filename().string().starts_with(".morv-"))
                names.push_back(entry.path().filename());
        return names;
    }
};
std::string nameOfMode(const testing::TestParamInfo<bool>& mode) {
    return mode.param ? "readingAll" : "cached";
}
INSTANTIATE_TEST_SUITE_P(, Execution, testing::Bool(), nameOfMode);

TEST_P(Execution, everyKindGoesThereAndBack) {
    makeFolder("tree/sub");
    write("tree/sub/file", "content");
    write("tree/note\xFF\n.txt", "odd name");
    const auto tree = makeFolder("tree");
    FileTagMetadata::setNames(tree, {"Blue"});
    const auto into = makeFolder("into");
    struct Case {
        OperationRequest request;
        const char* message;
        bool leavesSource;
    };
    using Kind = OperationKind;
    const std::vector<Case> cases = {
        {{.kind = Kind::copy, .sources = {tree}, .destination = into}, "Copied 1 item.", true},
        {{.kind = Kind::move, .sources = {tree}, .destination = into}, "Moved 1 item.", false},
        {{.kind = Kind::rename, .sources = {tree}, .newName = "Tree"}, "Renamed 1 item.", false},
        {{.kind = Kind::duplicate, .sources = {tree}}, "Duplicated 1 item.", true},
        {{.kind = Kind::trash, .sources = {tree}}, "Moved to Trash: 1 item.", false},
        {{.kind = Kind::alias, .sources = {tree}}, "Created aliases for 1 item.", true},
        {{.kind = Kind::newFolder, .destination = into, .newName = "New"}, "Created 1 item.", true},
    };
    const auto before = snapshot(tree.path());
    for (const auto& row : cases) {
        SCOPED_TRACE(row.message);
        const auto receipt = run(row.request);
        expectCompleted(receipt, row.message);
        const auto& item = receipt.items[0];
        EXPECT_EQ(fs::exists(tree.path()), row.leavesSource);
        if (row.request.kind != Kind::alias && row.request.kind != Kind::newFolder) {
            EXPECT_EQ(snapshot((*item.destination).path()), before);
        }
        if (row.request.kind == Kind::alias) {
            EXPECT_EQ(fs::read_symlink(item.destination->path()), tree.path());
        }
        const auto undone = undo(receipt);
        EXPECT_EQ(undone.status, OperationStatus::undone) << undone.items[0].error.value_or("");
        EXPECT_EQ(undone.message, "Undo completed after revalidating the affected items.");
        EXPECT_EQ(snapshot(tree.path()), before);
        EXPECT_FALSE(fs::exists(fs::symlink_status(item.destination->path())));
        if (row.leavesSource) {
            EXPECT_TRUE(fs::exists(fs::symlink_status(undone.items[0].recoveryURL->path())))
                << "in Trash, not deleted";
        }
        EXPECT_TRUE(leftovers(into).empty());
    }

    const auto tagged = run({.kind = Kind::tags, .sources = {tree}, .tags = {"Red"}});
    expectCompleted(tagged, "Tagged 1 item.");
    EXPECT_EQ(FileTagMetadata::names(tree), std::vector<std::string>{"Red"});
    EXPECT_EQ(undo(tagged).status, OperationStatus::undone);
    EXPECT_EQ(FileTagMetadata::names(tree), std::vector<std::string>{"Blue"});
}

TEST_P(Execution, aTrashedItemHasItsInformationAndLosesItWhenRestored) {
    const auto file = write("50% off\xFF.txt", "x");
    const auto receipt = run({.kind = OperationKind::trash, .sources = {file}});
    const auto place = *receipt.items[0].destination;
    const auto information =
        place.parent().parent().child("info").child(std::string(place.lastComponent()) + ".trashinfo");
    const auto text = read(information);
    EXPECT_TRUE(
        text.starts_with("[Trash Info]\nPath=" + file.parent().path() + "/50%25%20off%FF.txt\nDeletionDate="))
        << text;
    EXPECT_EQ(statItem(information).mode & 07777, 0600U);
    undo(receipt);
    EXPECT_FALSE(fs::exists(information.path()));
    EXPECT_EQ(read(file), "x");

    makeFolder("twice");
    write("twice/name.tar.gz", "1");
    const auto first = run({.kind = OperationKind::trash, .sources = {at("twice/name.tar.gz")}});
    write("twice/name.tar.gz", "2");
    const auto second = run({.kind = OperationKind::trash, .sources = {at("twice/name.tar.gz")}});
    EXPECT_EQ(read(*first.items[0].destination), "1");
    EXPECT_EQ(second.items[0].destination->lastComponent(), "name.tar.2.gz");

    const auto around = run({.kind = OperationKind::trash, .sources = {at("home")}});
    EXPECT_EQ(around.items[0].error, "home contains the Trash and cannot be moved there.");
    const auto inside = run({.kind = OperationKind::trash, .sources = {*first.items[0].destination}});
    EXPECT_EQ(inside.items[0].error, "name.tar.gz is already in Trash.");
    EXPECT_EQ(read(*first.items[0].destination), "1");
}

TEST_P(Execution, movesAcrossVolumesThroughAVerifiedCopy) {
    const TemporaryFolder elsewhere(Disk::memory);
    const auto trash = std::make_shared<FolderTrash>();
    use({}, trash);
    makeFolder("tree");
    write("tree/file", std::string(5'000'000, 'b'));
    const auto tree = at("tree");
    const auto before = snapshot(tree.path());
    const auto receipt =
        run({.kind = OperationKind::move, .sources = {tree}, .destination = elsewhere.url()});
    expectCompleted(receipt, "Moved 1 item.");
    EXPECT_EQ(snapshot(elsewhere.url("tree").path()), before);
    EXPECT_EQ(snapshot((*receipt.items[0].recoveryURL).path()), before) << "the original lies in Trash";
    const auto undone = undo(receipt);
    EXPECT_EQ(undone.status, OperationStatus::undone) << undone.items[0].error.value_or("");
    EXPECT_EQ(snapshot(tree.path()), before);
    EXPECT_EQ(snapshot((*undone.items[0].recoveryURL).path()), before)
        << "the copy lies in its volume's Trash";

    trash->refuses = true;
    const auto refused =
        run({.kind = OperationKind::move, .sources = {tree}, .destination = elsewhere.url()});
    EXPECT_EQ(refused.status, OperationStatus::failed);
    EXPECT_EQ(refused.items[0].error,
              "The verified destination was created, but the source could not be moved to Trash. "
              "Inspect both locations before retrying: No Trash today.");
    EXPECT_EQ(snapshot(tree.path()), before);
    EXPECT_EQ(snapshot((*refused.items[0].destination).path()), before);
}

TEST_P(Execution, actsOnlyOnWhatThePreviewShowed) {
    struct Case {
        const char* name;
        std::function<void(const FileURL& source, const FileURL& into)> change;
        const char* sentence;
        OperationKind kind = OperationKind::copy;
    };
    const std::vector<Case> cases = {
        {"the source was edited",
         [&](auto& source, auto&) { std::ofstream(source.path(), std::ios::app) << "!"; },
         "source changed since the preview. Create a new preview."},
        {"edited with its size and date kept",
         [&](auto& source, auto&) {
             const auto times = statItem(source).modified;
             std::ofstream(source.path(), std::ios::in | std::ios::out) << "X";
             const timespec restored[2] = {{0, UTIME_OMIT}, {times.seconds, times.nanoseconds}};
             utimensat(AT_FDCWD, source.path().c_str(), restored, 0);
         },
         "source changed since the preview. Create a new preview.", OperationKind::move},
        {"replaced by a twin",
         [&](auto& source, auto&) {
             fs::copy(source.path(), source.path() + "2");
             fs::rename(source.path() + "2", source.path());
         },
         "source changed since the preview. Create a new preview.", OperationKind::trash},
        {"the folder was swapped",
         [&](auto&, auto& into) {
             fs::rename(into.path(), into.path() + " old");
             fs::create_directory(into.path());
         },
         "The destination folder changed since the preview."},
        {"the folder became a link",
         [&](auto&, auto& into) {
             fs::rename(into.path(), into.path() + " old");
             fs::create_directory_symlink(into.path() + " old", into.path());
         },
         "The destination folder changed since the preview.", OperationKind::move},
        {"the folder is gone", [&](auto&, auto& into) { fs::remove(into.path()); },
         "The destination folder changed since the preview."},
        {"the name was taken",
         [&](auto&, auto& into) { std::ofstream(into.path() + "/source") << "newcomer"; },
         "source appeared after the preview. It was preserved; create a new preview.", OperationKind::move},
    };
    int number = 0;
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const auto base = "case" + std::to_string(number++);
        const auto into = makeFolder(base + "/into");
        const auto source = write(base + "/source", "content");
        const auto other = write(base + "/other", "other");
        const auto destination = row.kind == OperationKind::trash ? std::nullopt : std::optional(into);
        const auto made = plan({.kind = row.kind, .sources = {source, other}, .destination = destination});
        row.change(source, into);
        const auto everything = snapshot(at(base).path());
        const auto receipt = engine().execute(made, {});
        EXPECT_EQ(receipt.items[0].status, OperationItemStatus::failed);
        EXPECT_EQ(receipt.items[0].error, row.sentence);
        EXPECT_FALSE(receipt.items[0].stagingURL);
        EXPECT_TRUE(fs::exists(source.path()));
        if (receipt.items[1].status != OperationItemStatus::succeeded) {
            EXPECT_EQ(snapshot(at(base).path()), everything) << "nothing was touched";
        }
    }
}

TEST_P(Execution, aCopyThatIsDisturbedIsNeverPublished) {
    struct Case {
        const char* name;
        std::function<void(const FileURL& staging)> disturb;
        const char* sentence;
        OperationItemStatus status;
    };
    const auto into = makeFolder("into");
    const auto file = write("file", std::string(300'000, 'f'));
    const std::vector<Case> cases = {
        {"staging was damaged",
         [&](auto& staging) { std::ofstream(staging.path(), std::ios::in | std::ios::out) << "X"; },
         "The source changed or the copy could not be verified. The original and staging copy were "
         "preserved.",
         OperationItemStatus::failed},
        {"staging lost a permission", [&](auto& staging) { chmod(staging.path().c_str(), 0400); },
         "The source changed or the copy could not be verified. The original and staging copy were "
         "preserved.",
         OperationItemStatus::failed},
        {"the name was taken meanwhile", [&](auto&) { std::ofstream(into.path() + "/file") << "newcomer"; },
         "The destination appeared during copying. Both items were preserved.", OperationItemStatus::failed},
        {"cancelled", [&](auto&) { engine().cancel(); },
         "Cancelled at a safe checkpoint. The original and any recorded staging copy were preserved.",
         OperationItemStatus::cancelled},
        {"the source was edited", [&](auto&) { std::ofstream(file.path(), std::ios::app) << "!"; },
         "The source changed or the copy could not be verified. The original and staging copy were "
         "preserved.",
         OperationItemStatus::failed},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EngineObservers observers;
        observers.staging = row.disturb;
        use(observers);
        fs::remove(into.path() + "/file");
        const auto receipt = run({.kind = OperationKind::copy, .sources = {file}, .destination = into});
        EXPECT_EQ(receipt.items[0].status, row.status);
        EXPECT_EQ(receipt.items[0].error, row.sentence);
        ASSERT_TRUE(receipt.items[0].stagingURL) << "kept and recorded";
        EXPECT_TRUE(fs::exists(receipt.items[0].stagingURL->path()));
        EXPECT_FALSE(receipt.canUndo());
        EXPECT_EQ(read(into.child("file")), fs::exists(into.path() + "/file") ? "newcomer" : "");
    }
}

TEST_P(Execution, aPlanRunsOnceAndSkipsAreNoProgress) {
    const auto file = write("file", "x");
    const auto made =
        plan({.kind = OperationKind::duplicate, .sources = {file}, .collision = CollisionPolicy::skip});
    const auto receipt = engine().execute(made, {});
    EXPECT_EQ(receipt.status, OperationStatus::completed);
    EXPECT_EQ(receipt.message, "Skipped 1.");
    EXPECT_EQ(sentenceOf<FileOperationError>([&] { engine().execute(made, {}); }),
              "This operation has already been recorded. Make a fresh preview before trying again.");
    EXPECT_EQ(engine().history().front(), receipt);

    const auto next = plan({.kind = OperationKind::duplicate, .sources = {file}});
    const auto admission = engine().admit(next);
    EXPECT_EQ(sentenceOf<FileOperationError>([&] { engine().admit(next); }),
              "This operation is already queued or running.");
    EXPECT_EQ(sentenceOf<FileOperationError>([&] { undo(receipt); }),
              "Another file operation is still running.");
}

TEST_P(Execution, cancellingBetweenItemsSaysWhatWasDone) {
    EngineObservers observers;
    observers.staging = [&](const FileURL& staging) {
        if (read(staging) == "2")
            engine().cancel();
    };
    use(observers);
    const auto into = makeFolder("into");
    const auto receipt = run({.kind = OperationKind::copy,
                              .sources = {write("a", "1"), write("b", "2"), write("c", "3")},
                              .destination = into});
    EXPECT_EQ(receipt.status, OperationStatus::partial);
    EXPECT_EQ(receipt.message, "Copied 1 item. Cancelled: 2.");
    EXPECT_EQ(read(into.child("a")), "1");
    EXPECT_FALSE(fs::exists(into.child("c").path()));
}

TEST_P(Execution, whatWasPublishedIsToldOfThoughCancelled) {
    for (const auto kind : {OperationKind::newFolder, OperationKind::alias}) {
        SCOPED_TRACE(rawValue(kind));
        OperationRequest request{.kind = kind, .destination = makeFolder("into")};
        if (kind == OperationKind::alias)
            request.sources = {write("a", "1")};
        const auto planned = plan(request);
        // The rename to the final name goes through; cancellation comes with it.
        const Hooked cancelling(renameHook, std::function<std::optional<int>()>([&] {
                                    engine().cancel();
                                    return std::nullopt;
                                }));
        const auto receipt = engine().execute(planned, {});
        EXPECT_EQ(receipt.status, OperationStatus::completed);
        ASSERT_EQ(receipt.items[0].status, OperationItemStatus::succeeded);
        EXPECT_TRUE(receipt.items[0].after) << "and can be undone";
    }
}

TEST_P(Execution, anIncompletePlanFailsItsItems) {
    const auto file = write("a", "1");
    for (const auto kind : allOperationKinds) {
        SCOPED_TRACE(rawValue(kind));
        FileOperationPlan incomplete;
        incomplete.id = UUID::random();
        incomplete.kind = kind;
        FileOperationItem nothing;
        nothing.id = UUID::random();
        FileOperationItem unread;
        unread.id = UUID::random();
        unread.source = file;
        unread.destination = at("b");
        FileOperationItem sourceless = unread;
        sourceless.id = UUID::random();
        sourceless.source.reset();
        sourceless.fingerprint = FileFingerprint();
        incomplete.items = {nothing, unread};
        if (kind != OperationKind::newFolder)
            incomplete.items.push_back(sourceless);
        for (const auto& item : engine().execute(incomplete, {}).items)
            EXPECT_EQ(item.error, "This plan is incomplete. Create a new preview.");
    }
    EXPECT_EQ(read(file), "1");
}

TEST_P(Execution, aCaseOnlyRenameOntoAnotherNameOfTheFileIsTakenBack) {
    const auto file = write("Report", "x");
    fs::create_hard_link(file.path(), at("report").path());
    const auto receipt = run({.kind = OperationKind::rename, .sources = {file}, .newName = "report"});
    EXPECT_EQ(receipt.status, OperationStatus::failed);
    EXPECT_FALSE(receipt.items[0].stagingURL);
    EXPECT_EQ(read(file), "x");
    EXPECT_EQ(read(at("report")), "x");
}

TEST_P(Execution, aCaseOnlyRenameIsNoCollisionWithItself) {
    // On a file system that tells case apart the other spelling is free, or somebody else's.
    const auto file = write("Report", "x");
    const auto receipt = run({.kind = OperationKind::rename, .sources = {file}, .newName = "report"});
    EXPECT_EQ(receipt.items[0].destination, at("report"));
    write("Report", "other");
    EXPECT_EQ(undo(receipt).items[0].error,
              "The original location is occupied or unavailable. Undo preserved the result.");
    EXPECT_EQ(read(at("report")), "x");
    EXPECT_EQ(read(at("Report")), "other");
}

class Undo : public Execution {};
INSTANTIATE_TEST_SUITE_P(, Undo, testing::Bool(), nameOfMode);

TEST_P(Undo, preservesWhatWasChangedAndRetriesTheRest) {
    const auto into = makeFolder("into");
    const auto receipt = run({.kind = OperationKind::move,
                              .sources = {write("a", "1"), write("b", "2"), write("c", "3")},
                              .destination = into});
    const auto edited = write("into/b", "edited");
    write("c", "newcomer");
    const auto partial = undo(receipt);
    EXPECT_EQ(partial.status, OperationStatus::partial);
    EXPECT_EQ(partial.message,
              "Some items changed or their original locations are occupied. Those items were preserved.");
    EXPECT_EQ(partial.items[0].status, OperationItemStatus::undone);
    EXPECT_EQ(partial.items[1].error, "The result changed or is unavailable. Undo preserved it.");
    EXPECT_EQ(partial.items[2].error,
              "The original location is occupied or unavailable. Undo preserved the result.");
    EXPECT_EQ(read(edited), "edited");
    EXPECT_EQ(read(at("c")), "newcomer");
    EXPECT_EQ(read(at("a")), "1");
    fs::remove(at("c").path());
    const auto again = undo(receipt);
    EXPECT_EQ(again.items[2].status, OperationItemStatus::undone);
    EXPECT_EQ(read(at("c")), "3");

    EXPECT_EQ(sentenceOf<FileOperationError>([&] { engine().undo(UUID::random(), {}); }),
              "This operation's recovery receipt is unavailable.");
    const auto done = undo(run({.kind = OperationKind::duplicate, .sources = {at("a")}}));
    EXPECT_EQ(sentenceOf<FileOperationError>([&] { undo(done); }),
              "This operation cannot be undone automatically. Review its recovery details.");
}

} // namespace
} // namespace morv::test
