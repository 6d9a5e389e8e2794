// MorvOperationsBenchmark FOLDER [SCENARIO]: what whole operations cost, each beside a floor measured in the
// same run.
//
// FOLDER should be on a file system made for it (scripts/bench makes one): many files are created and removed
// there. Each scenario runs three times on fresh files; medians are printed.
#include "MorvCore/Operations/FileOperationEngine.h"
#include "MorvCore/Operations/Journal.h"
#include "MorvCore/Records/SQLiteStore.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace morv;
namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int repetitions = 3;
constexpr int smallFiles = 20'000;

double seconds(const std::function<void()>& work) {
    const auto start = Clock::now();
    work();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

void shell(const std::string& command) {
    if (std::system(command.c_str()) != 0)
        throw std::runtime_error("failed: " + command);
}

std::string quoted(const fs::path& path) {
    return "'" + path.string() + "'";
}

/// One round: a fresh folder with a store, a Trash and an engine.
class Round {
public:
    explicit Round(const fs::path& base) : base_(base) {
        fs::remove_all(base_);
        fs::create_directories(base_ / "from");
        fs::create_directories(base_ / "to");
        fs::create_directories(base_ / "data");
        setenv("XDG_DATA_HOME", (base_ / "data").c_str(), 1);
        store = std::make_unique<SQLiteStore>(at("data/Morv.sqlite"));
        engine = std::make_unique<FileOperationEngine>(*store);
    }
    ~Round() {
        engine.reset();
        store.reset();
        fs::remove_all(base_);
    }

    FileURL at(const std::string& path) const { return FileURL::fromPath((base_ / path).string()); }
    fs::path path(const std::string& path) const { return base_ / path; }

    void makeSmallFiles(const std::string& folder, int count, std::size_t size) const {
        fs::create_directories(base_ / folder);
        for (int i = 0; i < count; ++i) {
            std::string text = fmt::format("{:08}", i);
            text.resize(size, static_cast<char>('a' + i % 26));
            std::ofstream(base_ / folder / fmt::format("file {:05}.jpg", i), std::ios::binary) << text;
        }
        settle();
    }
    void makeLargeFile(const std::string& name, int mebibytes) const {
        std::string block(1024 * 1024, '\0');
        std::ofstream file(base_ / name, std::ios::binary);
        for (int i = 0; i < mebibytes; ++i) {
            for (std::size_t j = 0; j < block.size(); j += 8)
                block[j] = static_cast<char>(i + static_cast<int>(j));
            file.write(block.data(), static_cast<std::streamsize>(block.size()));
        }
        file.close();
        settle();
    }
    /// On the device, and old enough for a digest to be kept.
    static void settle() {
        sync();
        const auto until = Clock::now() + std::chrono::milliseconds(150);
        while (Clock::now() < until)
            sched_yield();
    }

    /// Both sides hashed by openssl, after cp -a.
    double copyFloor(const std::string& source) const {
        return seconds([&] {
            shell("cp -a " + quoted(path(source)) + " " + quoted(path("to/floor")));
            for (const auto& side : {path(source), path("to/floor")})
                shell("find " + quoted(side) +
                      " -type f -print0 | sort -z | xargs -0 openssl dgst -sha256 >/dev/null");
        });
    }

    OperationReceipt completed(const OperationReceipt& receipt) const {
        if (receipt.status != OperationStatus::completed && receipt.status != OperationStatus::undone)
            throw std::runtime_error("not completed: " + toJSON(receipt).substr(0, 2000));
        return receipt;
    }

    std::unique_ptr<SQLiteStore> store;
    std::unique_ptr<FileOperationEngine> engine;

private:
    fs::path base_;
};

/// Bytes that this process has handed to write calls. While items are only moved, all of them go to the
/// database.
std::int64_t bytesWritten() {
    std::ifstream counters("/proc/self/io");
    std::string name;
    std::int64_t value = 0;
    while (counters >> name >> value)
        if (name == "wchar:")
            return value;
    return 0;
}

void row(const std::string& name, double ours, double floor, double limit) {
    fmt::print("{:<58} {:>9.3f} s  floor {:>9.3f} s  ratio {:>6.3f}  limit {:.2f}\n", name, ours, floor,
               ours / floor, limit);
    std::fflush(stdout);
}

void copyAgainstShell(const fs::path& base, const std::string& name, double limit,
                      const std::function<void(const Round&)>& make) {
    std::vector<double> plans, executions, floors;
    for (int i = 0; i < repetitions; ++i) {
        const Round round(base);
        make(round);
        const auto measureFloor = [&] { floors.push_back(round.copyFloor("from/source")); };
        const auto measureOurs = [&] {
            FileOperationPlan plan;
            plans.push_back(seconds([&] {
                plan = round.engine->plan({.kind = OperationKind::copy,
                                           .sources = {round.at("from/source")},
                                           .destination = round.at("to")},
                                          {});
            }));
            executions.push_back(seconds([&] { round.completed(round.engine->execute(plan, {})); }));
        };
        // Whoever comes second finds the disk's queue filled by the first: take turns.
        if (i % 2 == 0) {
            measureFloor();
            Round::settle();
            measureOurs();
        } else {
            measureOurs();
            Round::settle();
            measureFloor();
        }
    }
    for (std::size_t i = 0; i < plans.size(); ++i)
        fmt::print("    round {}: plan {:.3f} s, execute {:.3f} s, floor {:.3f} s\n", i + 1, plans[i], executions[i], floors[i]);
    row(name, median(plans) + median(executions), median(floors), limit);
    fmt::print("    plan {:.3f} s, execute {:.3f} s\n", median(plans), median(executions));
}

void moveAgainstPlan(const fs::path& base, const std::string& name,
                     const std::function<void(const Round&)>& make) {
    std::vector<double> plans, executions, undos;
    for (int i = 0; i < repetitions; ++i) {
        const Round round(base);
        make(round);
        FileOperationPlan plan;
        plans.push_back(seconds([&] {
            plan = round.engine->plan({.kind = OperationKind::move,
                                       .sources = {round.at("from/source")},
                                       .destination = round.at("to")},
                                      {});
        }));
        OperationReceipt receipt;
        executions.push_back(seconds([&] { receipt = round.completed(round.engine->execute(plan, {})); }));
        undos.push_back(seconds([&] { round.completed(round.engine->undo(receipt.id, {})); }));
    }
    row(name + ", execute after its plan", median(executions), median(plans), 0.10);
    row(name + ", its undo", median(undos), median(plans), 0.10);
}

/// In a process of its own, so that the peak of its memory is its own.
void manyItems(const fs::path& base) {
    const auto child = fork();
    if (child == 0) {
        const Round round(base);
        round.makeSmallFiles("from", smallFiles, 64);
        std::vector<FileURL> sources;
        for (const auto& entry : fs::directory_iterator(round.path("from")))
            sources.push_back(FileURL::fromPath(entry.path().string()));
        FileOperationPlan plan;
        const auto planning = seconds([&] {
            plan = round.engine->plan(
                {.kind = OperationKind::move, .sources = sources, .destination = round.at("to")}, {});
        });
        sources = {};
        // The moments at which the items' results were journalled.
        std::vector<Clock::time_point> moments;
        moments.reserve(2 * smallFiles + 16);
        const auto updates = round.engine->updates([&] { moments.push_back(Clock::now()); });
        OperationReceipt receipt;
        const auto before = bytesWritten();
        const auto executing = seconds([&] { receipt = round.completed(round.engine->execute(plan, {})); });
        const auto span = [&](std::size_t from, std::size_t to) {
            return std::chrono::duration<double>(moments[to] - moments[from]).count();
        };
        const auto last = moments.size() - 3;
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        fmt::print("{} items moved one by one: plan {:.3f} s, execute {:.3f} s, {:.0f} items/s\n", smallFiles,
                   planning, executing, smallFiles / executing);
        row("the last thousand items against the first", span(last - 2000, last), span(2, 2002), 1.2);
        const auto written = bytesWritten() - before;
        fmt::print("    written to the database with its log and pages: {} bytes, {} an item\n", written,
                   written / smallFiles);
        fmt::print("    final receipt {} bytes, {} bytes an item; peak memory {} MiB (limit 200)\n",
                   toJSON(receipt).size(), toJSON(receipt).size() / smallFiles, usage.ru_maxrss / 1024);
        std::fflush(stdout);
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (status != 0)
        throw std::runtime_error("the operation of many items failed");
}

void smallTree(const Round& round) {
    round.makeSmallFiles("from/source", smallFiles, 8192);
}

void largeFile(const Round& round) {
    round.makeLargeFile("from/source", 2048);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        fmt::print(stderr, "Usage: MorvOperationsBenchmark FOLDER [SCENARIO]\n");
        return 2;
    }
    const fs::path base = fs::absolute(argv[1]) / "MorvOperationsBenchmark";
    const std::string only = argc > 2 ? argv[2] : "";
    const std::vector<std::pair<std::string, std::function<void()>>> scenarios = {
        {"copySmall",
         [&] { copyAgainstShell(base, "copy 20,000 files of 8 KiB, plan and execute", 1.0, smallTree); }},
        {"copyLarge",
         [&] { copyAgainstShell(base, "copy one file of 2 GiB, plan and execute", 1.25, largeFile); }},
        {"moveSmall", [&] { moveAgainstPlan(base, "move 20,000 files of 8 KiB", smallTree); }},
        {"moveLarge", [&] { moveAgainstPlan(base, "move one file of 2 GiB", largeFile); }},
        {"manyItems", [&] { manyItems(base); }},
    };
    try {
        for (const auto& [name, run] : scenarios)
            if (only.empty() || only == name)
                run();
    } catch (const std::exception& error) {
        fmt::print(stderr, "{}\n", error.what());
        return 1;
    }
}
