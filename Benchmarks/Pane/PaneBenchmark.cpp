// A pane on 100,000 files: when the first rows stand, how long the main thread is ever kept from its events,
// and what sorting costs. Printed as medians of several openings; a busy machine shows in the longest gaps.
#include "MorvApp/Model/PaneModel.h"
#include "MorvCore/Records/SQLiteStore.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QTimer>
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using namespace morv;

constexpr std::size_t fileCount = 100000;
constexpr int rounds = 9;

/// Numbered photos, documents and a few accents, and a store beside them.
class Place {
public:
    Place() {
        const char* base = std::getenv("TMPDIR");
        path_ = std::string(base ? base : "/tmp") + "/MorvPaneXXXXXX";
        if (!::mkdtemp(path_.data()))
            throw std::runtime_error("no folder for the benchmark");
        std::filesystem::create_directories(path_ + "/files");
        std::filesystem::create_directories(path_ + "/empty");
        static constexpr std::array stems = {"IMG_", "Scan ", "Rechnung Größe ", "report-", "été "};
        static constexpr std::array extensions = {".jpg", ".pdf", ".txt", ".mp4", ".tar.gz", ""};
        const int folder = ::open((path_ + "/files").c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        for (std::size_t i = 0; i < fileCount; ++i) {
            const auto name = stems[i * 7 % stems.size()] + std::to_string(i * 7919 % fileCount) +
                              extensions[i % extensions.size()];
            const int file = ::openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
            if (file < 0 || ::ftruncate(file, static_cast<off_t>(i * 31 % 5000)) != 0)
                throw std::runtime_error("no file for the benchmark");
            ::close(file);
        }
        ::close(folder);
    }
    ~Place() { std::filesystem::remove_all(path_); }

    FileURL folder(const char* name) const { return FileURL::folder(path_ + "/" + name); }

private:
    std::string path_;
};

double milliseconds(const QElapsedTimer& timer) {
    return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

void print(const char* what, const std::vector<double>& values, const char* unit) {
    std::printf("  %-44s %8.1f %s   (worst %.1f)\n", what, median(values), unit,
                *std::ranges::max_element(values));
}

/// Beats whenever the event loop is free and knows the longest time that it was not.
class Heartbeat {
public:
    Heartbeat() {
        last_.start();
        QObject::connect(&timer_, &QTimer::timeout, [this] {
            longest_ = std::max(longest_, milliseconds(last_));
            last_.restart();
        });
        timer_.start(0);
    }
    double takeLongest() {
        const auto taken = std::max(longest_, milliseconds(last_));
        longest_ = 0;
        last_.restart();
        return taken;
    }

private:
    QTimer timer_;
    QElapsedTimer last_;
    double longest_ = 0;
};

void serveUntil(const std::function<bool()>& condition) {
    const QDeadlineTimer deadline(std::chrono::seconds(60));
    while (!condition()) {
        if (deadline.hasExpired())
            throw std::runtime_error("the pane never got there");
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    }
}

double residentMiB() {
    std::ifstream status("/proc/self/statm");
    std::size_t total = 0, resident = 0;
    status >> total >> resident;
    return static_cast<double>(resident) * static_cast<double>(::sysconf(_SC_PAGESIZE)) / (1 << 20);
}

void measurePane(const Place& place) {
    SQLiteStore store(place.folder("store").child("pane.sqlite"));
    TaskPools pools;
    PaneModel pane(place.folder("empty"), {store, pools});
    serveUntil([&] { return !pane.isLoading(); });
    const auto atRest = residentMiB();
    Heartbeat heartbeat;
    std::vector<double> first, loaded, opening, refreshing, leaving, resorting, sortGap, memory;
    for (int round = 0; round < rounds; ++round) {
        QElapsedTimer timer;
        heartbeat.takeLongest();
        timer.start();
        pane.navigate(place.folder("files"), PaneModel::History::record);
        serveUntil([&] { return !pane.displayedEntries().empty(); });
        first.push_back(milliseconds(timer));
        serveUntil([&] { return !pane.isLoading(); });
        loaded.push_back(milliseconds(timer));
        opening.push_back(heartbeat.takeLongest());
        if (pane.displayedEntries().size() != fileCount)
            throw std::runtime_error("the listing is incomplete");
        memory.push_back(residentMiB() - atRest);

        for (const auto rule : {SortRule{FileSort::size, false}, SortRule{FileSort::modified, true},
                                SortRule{FileSort::kind, true}, SortRule{FileSort::name, true}}) {
            auto preferences = pane.preferences();
            preferences.sort = rule.sort;
            preferences.ascending = rule.ascending;
            const auto revision = pane.displayRevision();
            timer.restart();
            pane.setPreferences(preferences);
            serveUntil([&] { return pane.displayRevision() > revision; });
            resorting.push_back(milliseconds(timer));
        }
        sortGap.push_back(heartbeat.takeLongest());
        EntrySelection all;
        pane.entries().forEach([&all](const FileEntry& entry) { all.emplace(entry); });
        pane.setSelection(std::move(all));
        heartbeat.takeLongest();
        pane.refresh();
        serveUntil([&] { return !pane.isLoading(); });
        refreshing.push_back(heartbeat.takeLongest());
        pane.navigate(place.folder("empty"), PaneModel::History::record);
        serveUntil([&] { return !pane.isLoading(); });
        leaving.push_back(heartbeat.takeLongest());
    }
    print("first rows", first, "ms");
    print("everything", loaded, "ms");
    print("longest pause of the main thread: opening", opening, "ms");
    print("  refreshing with everything selected", refreshing, "ms");
    print("  sorting by another field", sortGap, "ms");
    print("  leaving", leaving, "ms");
    print("sorting by another field", resorting, "ms");
    print("memory of the pane", memory, "MiB");
}

void measureWatching(const Place& place) {
    constexpr int count = 100;
    TaskPools pools;
    const auto before = residentMiB();
    std::vector<std::unique_ptr<DirectoryChangeWatcher>> watchers;
    for (int i = 0; i < count; ++i) {
        watchers.push_back(std::make_unique<DirectoryChangeWatcher>(pools, place.folder("empty"),
                                                                    ChangeSource::events, [] {}));
        watchers.back()->readiness().waitUntilReady({});
    }
    print("memory of a watched folder", {(residentMiB() - before) * 1024 / count}, "KiB");
}

void measureSorting(const Place& place) {
    EntryList list;
    auto batches = DirectoryService().batches(place.folder("files"), HiddenItems::skip, 256);
    while (auto batch = batches.next({}))
        list.append(std::make_shared<const std::vector<FileEntry>>(std::move(*batch)));
    std::vector<double> byName;
    for (int round = 0; round < rounds; ++round) {
        QElapsedTimer timer;
        timer.start();
        if (EntrySorter::sorted(list, SortRule())->size() != fileCount)
            throw std::runtime_error("the order is incomplete");
        byName.push_back(milliseconds(timer));
    }
    print("sorting by name from nothing", byName, "ms");
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    try {
        const Place place;
        measurePane(place);
        measureSorting(place);
        measureWatching(place);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
