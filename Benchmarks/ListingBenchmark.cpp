// Reading and sorting a folder of 100,000 files, against the least that any program must do for it.
// The folder is made under TMPDIR (or /tmp): the numbers are those of its file system.
#include "MorvCore/Folders/DirectoryService.h"

#include <algorithm>
#include <array>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace morv;

constexpr int fileCount = 100000;
constexpr char tagAttribute[] = "user.com.apple.metadata:_kMDItemUserTags";

/// A folder of names as people have them: numbered photos, documents, a few accents and a few links to
/// nothing.
class LargeFolder {
public:
    LargeFolder() {
        const char* base = std::getenv("TMPDIR");
        path_ = std::string(base ? base : "/tmp") + "/MorvListingXXXXXX";
        if (!::mkdtemp(path_.data()))
            throw std::runtime_error("no folder for the benchmark");
        static constexpr std::array stems = {"IMG_", "Scan ", "Rechnung Größe ", "report-", "été "};
        static constexpr std::array extensions = {".jpg", ".pdf", ".txt", ".mp4", ".tar.gz", ""};
        const int folder = ::open(path_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        for (std::size_t i = 0; i < fileCount; ++i) {
            const auto name = stems[i * 7 % stems.size()] + std::to_string(i * 7919 % fileCount) +
                              extensions[i % extensions.size()];
            const int file = ::openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
            if (file < 0 || ::write(file, "Morv", 4) != 4)
                throw std::runtime_error("no file for the benchmark");
            ::close(file);
        }
        ::close(folder);
    }
    ~LargeFolder() { std::filesystem::remove_all(path_); }

    static const LargeFolder& shared() {
        static const LargeFolder folder;
        return folder;
    }
    const std::string& path() const { return path_; }
    FileURL url() const { return FileURL::folder(path_); }

private:
    std::string path_;
};

/// getdents64, fstatat and one lgetxattr for each child, and nothing else.
long bareLoop(const std::string& path) {
    const int folder = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    alignas(8) static char buffer[32768];
    std::string child = path + '/';
    const auto prefix = child.size();
    long sum = 0;
    for (;;) {
        const long length = ::getdents64(folder, buffer, sizeof buffer);
        if (length <= 0)
            break;
        for (long at = 0; at < length;) {
            const auto* record = reinterpret_cast<const dirent64*>(buffer + at);
            at += record->d_reclen;
            if (record->d_name[0] == '.')
                continue;
            struct stat info {};
            ::fstatat(folder, record->d_name, &info, AT_SYMLINK_NOFOLLOW);
            child.resize(prefix);
            child += record->d_name;
            char value[64];
            sum += info.st_size + ::lgetxattr(child.c_str(), tagAttribute, value, sizeof value);
        }
    }
    ::close(folder);
    return sum;
}

std::size_t readAll(const FileURL& url) {
    auto batches = DirectoryService().batches(url, HiddenItems::skip, 256);
    std::size_t count = 0;
    std::vector<FileEntry> all;
    while (auto batch = batches.next({})) {
        count += batch->size();
        all.insert(all.end(), std::make_move_iterator(batch->begin()), std::make_move_iterator(batch->end()));
    }
    return count;
}

template <class Work>
double seconds(Work work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// First, while this process is still small: a child counts what it shares with its parent.
void listingPeakMemory(benchmark::State& state) {
    const auto url = LargeFolder::shared().url();
    for (auto _ : state) {
        const auto child = ::fork();
        if (child == 0) {
            const auto entries = DirectoryService().entries(url, HiddenItems::skip, {});
            ::_exit(entries.size() == fileCount ? 0 : 1);
        }
        int status = 0;
        rusage usage{};
        ::wait4(child, &status, 0, &usage);
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
            state.SkipWithError("the listing is incomplete");
        state.counters["peak_MiB"] = static_cast<double>(usage.ru_maxrss) / 1024;
    }
}
BENCHMARK(listingPeakMemory)->Iterations(1)->Unit(benchmark::kMillisecond);

/// Both in turn in one run, so that neither has the quieter machine.
void listingAgainstBareLoop(benchmark::State& state) {
    const auto& folder = LargeFolder::shared();
    std::vector<double> bare, service;
    bareLoop(folder.path());
    for (auto _ : state) {
        bare.push_back(seconds([&] { benchmark::DoNotOptimize(bareLoop(folder.path())); }));
        service.push_back(seconds([&] {
            if (readAll(folder.url()) != fileCount)
                state.SkipWithError("the listing is incomplete");
        }));
    }
    state.counters["bare_ms"] = median(bare) * 1e3;
    state.counters["service_ms"] = median(service) * 1e3;
    state.counters["ratio"] = median(service) / median(bare);
}
BENCHMARK(listingAgainstBareLoop)->Iterations(11)->Unit(benchmark::kMillisecond);

void sortingByName(benchmark::State& state) {
    const auto url = LargeFolder::shared().url();
    std::vector<FileEntry> entries;
    auto batches = DirectoryService().batches(url, HiddenItems::skip, 1024);
    while (auto batch = batches.next({}))
        entries.insert(entries.end(), batch->begin(), batch->end());
    std::vector<double> times;
    for (auto _ : state) {
        auto copy = entries;
        times.push_back(seconds([&] { DirectoryService::sortByName(copy); }));
        benchmark::DoNotOptimize(copy.data());
    }
    state.counters["sort_ms"] = median(times) * 1e3;
}
BENCHMARK(sortingByName)->Iterations(11)->Unit(benchmark::kMillisecond);

} // namespace
