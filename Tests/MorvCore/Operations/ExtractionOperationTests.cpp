// Extraction as an operation: what was previewed is what is unpacked, all of it or nothing under its name.
#include "EngineFixture.h"
#include "Tests/Support/ArchiveBuilder.h"

#include <filesystem>
#include <thread>

using namespace morv;
using namespace morv::test;

namespace {

using Kind = OperationKind;

class ExtractionOperation : public EngineFixture {
protected:
    ExtractionOperation() {
        makeFolder("from");
        makeFolder("to");
    }

    FileOperationPlan planned(const FileURL& archive) {
        return plan({.kind = Kind::extractZIP, .sources = {archive}, .destination = at("to")});
    }
    std::vector<std::string> inDestination() const { return namesIn(at("to").path()); }
};

const ArchiveMember folderMember{.name = "folder/", .data = "", .mode = 040755};

} // namespace

TEST_F(ExtractionOperation, unpacksBesideWhatIsThereAndCanBeUndone) {
    const auto archive =
        write("from/Holiday.ZIP",
              archiveBytes({.members = {folderMember, deflated("folder/a", "text"), {.name = "b"}}}));
    makeFolder("to/Holiday");
    const auto before = snapshot(at("from").path());
    const auto receipt = engine().execute(planned(archive), {});
    ASSERT_EQ(receipt.status, OperationStatus::completed) << receipt.message.value_or("");
    EXPECT_EQ(inDestination(), (std::vector<std::string>{"Holiday", "Holiday 2"}));
    const auto made = snapshot(at("to/Holiday 2").path());
    EXPECT_EQ(made.size(), 4U);
    EXPECT_EQ(made.at("folder/a").content, "text");
    EXPECT_EQ(difference(before, snapshot(at("from").path())), "");

    ASSERT_EQ(undo(receipt).status, OperationStatus::undone);
    EXPECT_EQ(inDestination(), (std::vector<std::string>{"Holiday"}));
    EXPECT_EQ(difference(before, snapshot(at("from").path())), "");
}

TEST_F(ExtractionOperation, preservesAResultThatWasEditedAfterwards) {
    const auto archive = write("from/a.zip", archiveBytes({.members = {{.name = "text"}}}));
    const auto receipt = engine().execute(planned(archive), {});
    write("to/a/text", "edited");
    EXPECT_NE(undo(receipt).status, OperationStatus::undone);
    EXPECT_EQ(read(at("to/a/text")), "edited");
}

TEST_F(ExtractionOperation, refusesWhatIsNoLongerWhatWasPreviewed) {
    const auto archive = write("from/a.zip", archiveBytes({.members = {{}}}));
    const auto changed = planned(archive);
    write("from/a.zip", archiveBytes({.members = {{.data = "another"}}}));
    EXPECT_EQ(engine().execute(changed, {}).status, OperationStatus::failed);
    EXPECT_TRUE(inDestination().empty());

    write("from/a.zip", archiveBytes({.members = {{.name = "../a"}}}));
    EXPECT_EQ(sentenceOf<FileOperationError>([&] { planned(archive); }),
              "This ZIP contains an unsafe or unsupported path. Nothing was extracted.");
}

TEST_F(ExtractionOperation, keepsAnArchiveThatChangedMeanwhileOutOfItsPlace) {
    const auto archive = write("from/a.zip", archiveBytes({.members = {{}}}));
    // After it was unpacked, and before it is proved to be what was unpacked.
    EngineObservers observers;
    observers.staging = [&](const FileURL&) {
        write("from/a.zip", archiveBytes({.members = {{}, {.name = "b"}}}));
    };
    useEngine(std::move(observers));
    const auto receipt = engine().execute(planned(archive), {});
    ASSERT_EQ(receipt.status, OperationStatus::failed);
    const auto& item = receipt.items[0];
    EXPECT_EQ(item.error.value_or(""),
              "The archive changed during extraction. The staged files were retained for inspection.");
    ASSERT_TRUE(item.stagingURL);
    EXPECT_EQ(inDestination(), (std::vector<std::string>{std::string(item.stagingURL->lastComponent())}));
}

TEST_F(ExtractionOperation, publishesNothingThatAnotherProgramPutInThePlaceOfStaging) {
    const auto archive = write("from/a.zip", archiveBytes({.members = {{}}}));
    for (const auto kind : {Kind::extractZIP, Kind::compressZIP}) {
        const auto mine = at(kind == Kind::extractZIP ? "to/mine" : "to/mine.zip");
        EngineObservers observers;
        observers.staging = [&](const FileURL& staging) {
            std::filesystem::rename(staging.path(), mine.path());
            std::filesystem::create_directory(staging.path());
        };
        useEngine(std::move(observers));
        const auto receipt = run({.kind = kind, .sources = {archive}, .destination = at("to")});
        EXPECT_EQ(receipt.status, OperationStatus::failed);
        EXPECT_EQ(
            receipt.items[0].error.value_or(""),
            "The staged item was replaced before it could be published. Both were left where they are.");
        EXPECT_FALSE(std::filesystem::exists(receipt.items[0].destination->path()));
        EXPECT_TRUE(std::filesystem::exists(mine.path()));
    }
}

TEST_F(ExtractionOperation, aDamagedMemberFailsByNameAndItsNeighboursStayInStaging) {
    auto damaged = deflated("folder/damaged", std::string(1000, 'x'));
    damaged.checksum = 1;
    const auto bad = write("from/bad.zip", archiveBytes({.members = {{.name = "sound"}, damaged}}));
    const auto good = write("from/good.zip", archiveBytes({.members = {{.name = "sound"}}}));
    const auto receipt = run({.kind = Kind::extractZIP, .sources = {bad, good}, .destination = at("to")});
    EXPECT_EQ(receipt.status, OperationStatus::partial);
    EXPECT_EQ(receipt.items[0].error.value_or(""),
              "“folder/damaged” in this ZIP is damaged. Extracted files remain in staging.");
    ASSERT_TRUE(receipt.items[0].stagingURL);
    EXPECT_EQ(read(receipt.items[0].stagingURL->child("sound")), "content");
    EXPECT_EQ(read(at("to/good/sound")), "content");
    EXPECT_TRUE(snapshot(at("to/bad").path()).empty());
}

TEST_F(ExtractionOperation, stopsInTheMiddleAndSaysWhereItStands) {
    ArchivePlan large;
    for (int i = 0; i < 200; ++i)
        large.members.push_back(deflated(std::to_string(i), std::string(1 << 20, 'x')));
    const auto archive = write("from/large.zip", archiveBytes(large));
    const auto previewed = planned(archive);
    std::stop_source source;
    const std::jthread stopper([&] {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (std::chrono::steady_clock::now() < deadline) {
            const auto names = inDestination();
            if (!names.empty() && !namesIn(at("to/" + names[0]).path()).empty())
                break;
            std::this_thread::yield();
        }
        source.request_stop();
    });
    const auto receipt = engine().execute(previewed, source.get_token());
    ASSERT_EQ(receipt.status, OperationStatus::cancelled) << receipt.message.value_or("");
    ASSERT_TRUE(receipt.items[0].stagingURL);
    const auto& staging = *receipt.items[0].stagingURL;
    EXPECT_EQ(inDestination(), (std::vector<std::string>{std::string(staging.lastComponent())}));
    EXPECT_LT(namesIn(staging.path()).size(), 200U);
}
