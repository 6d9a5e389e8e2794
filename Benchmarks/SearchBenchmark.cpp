// Searching a tree of a million entries by name, beside the finder "fdfind" where it is installed, and how
// soon a search that is told to stop has stopped. The tree is made under TMPDIR (or /tmp) and warm.
#include "MorvCore/Folders/SearchService.h"
#include "MorvCore/Foundation/Errors.h"

#include <algorithm>
#include <array>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using namespace morv;
using Clock = std::chrono::steady_clock;

constexpr std::size_t folderCount = 10000;
constexpr std::size_t filesInFolder = 99;
constexpr std::size_t hugeFolder = 300000;
constexpr char rareQuery[] = "report-999";

std::string nameOf(std::size_t number) {
    static constexpr std::array stems = {"IMG_", "Scan ", "Rechnung Größe ", "report-", "été ", "notes "};
    static constexpr std::array extensions = {".jpg", ".pdf", ".txt", ".mp4", ".tar.gz", ""};
    return stems[number * 7 % stems.size()] + std::to_string(number * 7919 % 1000003) +
           extensions[number % extensions.size()];
}

void fill(const std::string& path, std::size_t first, std::size_t count) {
    const int folder = ::open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    for (std::size_t i = first; i < first + count; ++i) {
        const int file = ::openat(folder, nameOf(i).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
        if (file < 0)
            throw std::runtime_error("no file for the benchmark");
        ::close(file);
    }
    ::close(folder);
}

class Trees {
public:
    Trees() {
        const char* base = std::getenv("TMPDIR");
        path_ = std::string(base ? base : "/tmp") + "/MorvSearchXXXXXX";
        if (!::mkdtemp(path_.data()))
            throw std::runtime_error("no folder for the benchmark");
        std::vector<std::string> folders = {path_ + "/million"};
        std::filesystem::create_directory(folders.front());
        while (folders.size() < folderCount) {
            folders.push_back(folders[(folders.size() - 1) / 10] + "/folder " +
                              std::to_string(folders.size()));
            ::mkdir(folders.back().c_str(), 0755);
        }
        for (std::size_t i = 0; i < folderCount; ++i)
            fill(folders[i], i * filesInFolder, filesInFolder);
        std::filesystem::create_directory(path_ + "/huge");
        fill(path_ + "/huge", 0, hugeFolder);
    }
    ~Trees() { std::filesystem::remove_all(path_); }

    static const Trees& shared() {
        static const Trees trees;
        return trees;
    }
    std::string million() const { return path_ + "/million"; }
    std::string huge() const { return path_ + "/huge"; }

private:
    std::string path_;
};

template <class Work>
double seconds(Work work) {
    const auto start = Clock::now();
    work();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

std::size_t linesOf(const std::string& command) {
    FILE* output = ::popen(command.c_str(), "r");
    std::size_t lines = 0;
    for (int c = std::fgetc(output); c != EOF; c = std::fgetc(output))
        lines += c == '\n' ? 1 : 0;
    ::pclose(output);
    return lines;
}

SearchRequest requestOf(const std::string& root, const std::string& query, std::int64_t limit) {
    return {FileURL::folder(root), query, {}, HiddenItems::show, limit};
}

/// Both in turn in one run; they have to find the same.
void searchingAMillionNames(benchmark::State& state) {
    const auto& trees = Trees::shared();
    const bool hasFinder = linesOf("command -v fdfind") == 1;
    const auto finder = "fdfind -u -i " + std::string(rareQuery) + " " + trees.million();
    const auto request = requestOf(trees.million(), rareQuery, 10000);
    const auto expected = SearchService().search(request, {}).entries.size();
    std::vector<double> ours, theirs;
    for (auto _ : state) {
        ours.push_back(seconds([&] {
            const auto result = SearchService().search(request, {});
            if (result.scannedCount != static_cast<std::int64_t>(folderCount * (filesInFolder + 1) - 1))
                state.SkipWithError("the search is incomplete");
        }));
        if (hasFinder)
            theirs.push_back(seconds([&] {
                if (linesOf(finder) != expected)
                    state.SkipWithError("the finder found something else");
            }));
    }
    state.counters["search_ms"] = median(ours) * 1e3;
    state.counters["found"] = static_cast<double>(expected);
    if (hasFinder) {
        state.counters["finder_ms"] = median(theirs) * 1e3;
        state.counters["ratio"] = median(ours) / median(theirs);
    }
}
BENCHMARK(searchingAMillionNames)->Iterations(11)->Unit(benchmark::kMillisecond);

/// Seconds from the request to stop, `delay` after the beginning, until the search has returned; nothing when
/// it had ended before.
std::optional<double> timeToStop(const SearchRequest& request, std::chrono::duration<double> delay) {
    std::stop_source stop;
    Clock::time_point returned;
    bool isCancelled = false;
    std::thread searching([&] {
        try {
            SearchService().search(request, stop.get_token());
        } catch (const CancellationError&) {
            isCancelled = true;
        }
        returned = Clock::now();
    });
    // Busy on purpose: the moment has to be met.
    for (const auto begun = Clock::now(); Clock::now() - begun < delay;)
        std::this_thread::yield();
    const auto asked = Clock::now();
    stop.request_stop();
    searching.join();
    if (!isCancelled)
        return std::nullopt;
    return std::chrono::duration<double>(returned - asked).count();
}

/// At forty moments of each search: of a walk with few finds, of one that finds everything and sorts it, and
/// of one folder so large that finding where the limit stops means sorting all its names.
void stoppingASearch(benchmark::State& state) {
    const auto& trees = Trees::shared();
    const std::array<std::pair<const char*, SearchRequest>, 4> requests = {
        {{"few_finds_ms", requestOf(trees.million(), rareQuery, 10000)},
         {"all_finds_ms", requestOf(trees.million(), "", 200000)},
         {"huge_limit_ms", requestOf(trees.huge(), "", 1000)},
         {"huge_all_ms", requestOf(trees.huge(), "IMG", 1000000)}}};
    for (auto _ : state) {
        for (const auto& [name, request] : requests) {
            double longest = 0;
            const auto whole = seconds([&asked = request] { SearchService().search(asked, {}); });
            for (int moment = 0; moment < 40; ++moment) {
                const std::chrono::duration<double> delay(whole * moment / 40);
                longest = std::max(longest, timeToStop(request, delay).value_or(0));
            }
            state.counters[name] = longest * 1e3;
        }
    }
}
BENCHMARK(stoppingASearch)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
