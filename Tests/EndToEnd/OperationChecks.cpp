#include "OperationChecks.h"

#include <filesystem>

namespace {

std::set<std::string> stagingPlaces(const nlohmann::json& receipts) {
    std::set<std::string> places;
    for (const auto& receipt : receipts) {
        for (const auto& item : receipt.at("items")) {
            if (item.contains("stagingURL"))
                places.insert(pathOf(item.at("stagingURL")));
        }
    }
    return places;
}

} // namespace

OperationChecks::OperationChecks(Scene& scene, const std::string& across) : scene_(scene), across_(across) {
    EXPECT_EQ(scene_.run({"run", "newFolder", "--to", scene_.home, "--name", "Earlier"}).status, 0);
    earlier_ = scene_.json({"history"});
    std::filesystem::copy(scene_.data, scene_.root + "/data-at-start",
                          std::filesystem::copy_options::recursive);
}

std::vector<Operation> OperationChecks::operations(const Scene& scene) {
    const auto tree = scene.from + "/tree";
    const auto single = scene.from + "/single.txt";
    const auto across = scene.other + "/to";
    const std::vector<std::string> moveAcross = {"run", "move", tree, single, "--to", across, "--yes"};
    const std::vector<std::string> move = {"run", "move", tree, single, "--to", scene.to};
    return {
        {"copy", {"run", "copy", tree, single, "--to", scene.to}, scene.to, {"tree", "single.txt"}, {}},
        {"move", move, scene.to, {"tree", "single.txt"}, {}},
        {"moveAcrossVolumes", moveAcross, across, {"tree", "single.txt"}, {}},
        {"rename",
         {"run", "rename", tree, single, "--name", "new {name}.{ext}", "--yes"},
         scene.from,
         {"new tree.", "new single.txt"},
         {}},
        {"trash", {"run", "trash", tree, single}, scene.from, {}, {}},
        {"newFolder", {"run", "newFolder", "--to", scene.to, "--name", "fresh"}, scene.to, {"fresh"}, {}},
        {"tags", {"run", "tags", tree, single, "--tag", "Red", "--tag", "Blue"}, scene.from, {}, {}},
        {"undoOfAMove", {"undo"}, scene.to, {"tree", "single.txt"}, move},
        {"undoOfAMoveAcrossVolumes", {"undo"}, across, {"tree", "single.txt"}, moveAcross},
        {"undoOfATrash", {"undo"}, scene.from, {}, {"run", "trash", tree, single}},
        {"compressZIP", {"run", "compressZIP", single, "--to", scene.to}, scene.to, {"single.txt.zip"}, {}},
    };
}

void OperationChecks::reset(const Operation& operation) {
    removeTree(scene_.data);
    std::filesystem::copy(scene_.root + "/data-at-start", scene_.data,
                          std::filesystem::copy_options::recursive);
    scene_.emptyTrashes();
    for (const auto& folder : {scene_.from, scene_.to, across_}) {
        removeTree(folder);
        makeFolder(folder);
        writeFile(folder + "/bystander", "bystander in " + folder);
        setModified(folder + "/bystander", 1'000'000'000'500'000'000);
    }
    makeSmallTree(scene_.from + "/tree", "the tree");
    writeFile(scene_.from + "/single.txt", "the single file", 0604);
    setModified(scene_.from + "/single.txt", 1'222'333'444'555'666'777);
    originals_ = snapshot(scene_.from);
    bystanders_.clear();
    for (const auto& folder : {scene_.from, scene_.to, across_})
        bystanders_.merge(TreeSnapshot{{folder, snapshot(folder + "/bystander").at("")}});
    if (!operation.before.empty()) {
        EXPECT_EQ(scene_.run(operation.before).status, 0);
    }
}

nlohmann::json OperationChecks::newReceipts() const {
    auto receipts = scene_.json({"history"});
    EXPECT_EQ(scene_.json({"history"}), receipts) << "The history changes from one reading to the next.";
    auto result = nlohmann::json::array();
    bool earlierIsThere = false;
    for (const auto& receipt : receipts) {
        if (receipt == earlier_.at(0))
            earlierIsThere = true;
        else
            result.push_back(receipt);
    }
    EXPECT_TRUE(earlierIsThere) << receipts.dump(1);
    return result;
}

void OperationChecks::check(const Operation& operation) {
    const auto receipts = newReceipts();
    EXPECT_LE(receipts.size(), 1U) << receipts.dump(1);
    if (receipts.empty()) {
        EXPECT_EQ(difference(originals_, snapshot(scene_.from)), "") << "There are changes and no receipt.";
        EXPECT_EQ(namesIn(operation.destination).size(), operation.destination == scene_.from ? 3U : 1U);
        return;
    }
    for (const auto& receipt : receipts) {
        const std::set<std::string> ends = {"completed", "interrupted", "partial",
                                            "failed",    "cancelled",   "undone"};
        EXPECT_TRUE(ends.contains(receipt.at("status"))) << receipt.dump(1);
        EXPECT_TRUE(receipt.contains("completedAt"));
        // An undo that was cut off says so; which of its items had gone back already is for the user to see.
        if (operation.before.empty())
            checkSucceededItems(receipt);
    }
    const auto staging = stagingPlaces(receipts);
    checkContents(staging);
    checkDestination(operation, staging);
    for (const auto& [folder, item] : bystanders_)
        EXPECT_EQ(snapshot(folder + "/bystander").at(""), item) << "A bystander was touched in " << folder;
    // What lies in the Trash can be put back: it has its information.
    for (const auto& name : namesIn(scene_.trashFiles())) {
        EXPECT_TRUE(std::filesystem::exists(scene_.trashFiles() + "/../info/" + name + ".trashinfo")) << name;
    }
}

void OperationChecks::checkContents(const std::set<std::string>& recordedStaging) const {
    std::set<std::string> present;
    const auto gather = [&present](const std::string& folder, const auto& wanted) {
        for (const auto& name : namesIn(folder)) {
            if (!wanted(name))
                continue;
            for (const auto& [path, item] : snapshot(folder + "/" + name))
                present.insert(item.type + item.content);
        }
    };
    for (const auto& folder : {scene_.from, scene_.to, across_}) {
        gather(folder, [&](const std::string& name) {
            return !name.starts_with(".morv-") || recordedStaging.contains(folder + "/" + name);
        });
    }
    gather(scene_.trashFiles(), [](const std::string&) { return true; });
    for (const auto& [path, item] : originals_)
        EXPECT_TRUE(present.contains(item.type + item.content)) << "Lost: " << path;
}

void OperationChecks::checkDestination(const Operation& operation,
                                       const std::set<std::string>& recordedStaging) const {
    for (const auto& folder : {scene_.from, scene_.to, across_}) {
        for (const auto& name : namesIn(folder)) {
            const auto place = folder + "/" + name;
            if (name == "bystander" || (folder == scene_.from && (name == "tree" || name == "single.txt")))
                continue;
            if (name.starts_with(".morv-")) {
                EXPECT_TRUE(recordedStaging.contains(place)) << "Staging that no receipt records: " << place;
                continue;
            }
            EXPECT_NE(std::ranges::find(operation.finals, name), operation.finals.end())
                << "Unexpected: " << place;
            EXPECT_EQ(folder, operation.destination);
            if (name.ends_with(".zip")) {
                EXPECT_EQ(scene_.run({"archive", "check", place}).status, 0) << place;
                continue;
            }
            const auto original = name.find("tree") != std::string::npos ? "tree" : "single.txt";
            TreeSnapshot expected;
            for (const auto& [path, item] : originals_) {
                if (path == original)
                    expected[""] = item;
                else if (path.starts_with(std::string(original) + "/"))
                    expected[path.substr(std::string(original).size() + 1)] = item;
            }
            if (name == "fresh") {
                EXPECT_EQ(snapshot(place).size(), 1U);
            } else {
                EXPECT_EQ(difference(expected, snapshot(place)), "")
                    << "Not complete under its final name: " << place;
            }
        }
    }
}

void OperationChecks::checkSucceededItems(const nlohmann::json& receipt) const {
    for (const auto& item : receipt.at("items")) {
        if (item.at("status") != "succeeded")
            continue;
        EXPECT_TRUE(item.contains("destination")) << item.dump(1);
        EXPECT_FALSE(snapshot(pathOf(item.at("destination"))).empty())
            << "The receipt claims what is not there: " << item.dump(1);
        if (receipt.at("kind") == "move") {
            EXPECT_TRUE(snapshot(pathOf(item.at("source"))).empty()) << item.dump(1);
        }
    }
}
