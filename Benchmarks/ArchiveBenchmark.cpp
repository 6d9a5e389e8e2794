// Checking the ZIP archive with the most members that the format has without ZIP64, against `zipinfo -1` of
// it, which reads the directory alone; and unpacking many small files and one large one, against `unzip -q`. All
// is made under TMPDIR (or /tmp).
#include "MorvCore/Operations/SafeArchiveService.h"
#include "Tests/Support/ArchiveBuilder.h"

#include <algorithm>
#include <array>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace morv;
using namespace morv::test;

constexpr std::uint32_t mostMembers = 65'534;

/// What work costs a process of its own, so that this one stays small. Throws when it fails.
double peakMebibytes(const std::function<void()>& work) {
    const auto child = ::fork();
    if (child == 0) {
        try {
            work();
        } catch (const std::exception& error) {
            std::fprintf(stderr, "%s\n", error.what());
            ::_exit(1);
        }
        ::_exit(0);
    }
    int status = 0;
    rusage usage{};
    ::wait4(child, &status, 0, &usage);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        throw std::runtime_error("the work of a benchmark failed");
    return static_cast<double>(usage.ru_maxrss) / 1024;
}

class Archive {
public:
    /// The members stand `stride` bytes apart, or side by side when it is 0. Between them are holes.
    Archive(const std::function<ArchiveMember(std::uint32_t)>& member, std::uint32_t count,
            std::uint32_t stride) {
        const char* base = std::getenv("TMPDIR");
        path_ = std::string(base ? base : "/tmp") + "/MorvArchiveXXXXXX";
        const int file = ::mkostemp(path_.data(), O_CLOEXEC);
        peakMebibytes([&] {
            ArchivePlan plan;
            for (std::uint32_t i = 0; i < count; ++i) {
                plan.members.push_back(member(i));
                if (stride != 0)
                    plan.members.back().localOffset = i * stride;
            }
            if (stride != 0)
                plan.directoryOffset = count * stride;
            const auto parts = archiveParts(plan);
            write(file, parts.directory, stride != 0 ? count * stride : parts.members.size());
            for (std::uint32_t i = 0; stride != 0 && i < count; ++i)
                write(file, localRecord(plan.members[i]), std::size_t{i} * stride);
            if (stride == 0)
                write(file, parts.members, 0);
        });
        ::close(file);
    }
    ~Archive() { std::filesystem::remove(path_); }
    Archive(const Archive&) = delete;
    Archive& operator=(const Archive&) = delete;

    const std::string& path() const { return path_; }

    std::size_t check() const {
        std::size_t count = 0;
        SafeArchiveService::entries(FileURL::fromPath(path_), {}, [&](const auto&) { ++count; });
        return count;
    }

private:
    static void write(int file, const std::string& bytes, std::size_t offset) {
        if (::pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(offset)) !=
            static_cast<ssize_t>(bytes.size()))
            throw std::runtime_error("no archive for the benchmark");
    }

    std::string path_;
};

/// Names as people have them, in folders of a thousand, with the fields that zip adds.
ArchiveMember ordinary(std::uint32_t number) {
    static constexpr std::array stems = {"IMG_", "Scan ", "Rechnung Größe ", "report-", "été "};
    return {.name = "Photos/" + std::to_string(number / 1000) + "/" + stems[number * 7 % stems.size()] +
                    std::to_string(number) + ".jpg",
            .data = std::string(100, 'x'),
            .centralExtra = extraField(0x5455, "12345") + extraField(0x7875, "12345678901"),
            .localExtra = extraField(0x5455, "123456789") + extraField(0x7875, "12345678901")};
}

/// The longest names that pass, so that whatever keeps them is found out.
ArchiveMember longNamed(std::uint32_t number) {
    const auto digits = std::to_string(1'000'000 + number);
    std::string name = digits + std::string(255 - digits.size(), 'n');
    for (int depth = 1; depth < 128; ++depth)
        name += "/" + std::string(255, 'n');
    return {.name = name, .data = ""};
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

void measurePeak(benchmark::State& state, const Archive& archive, std::size_t members) {
    for (auto _ : state) {
        state.counters["peak_MiB"] = peakMebibytes([&] {
            if (archive.check() != members)
                throw std::runtime_error("the list is incomplete");
        });
    }
}

void archivePeakMemory(benchmark::State& state) {
    measurePeak(state, Archive(ordinary, mostMembers, 0), mostMembers);
}
BENCHMARK(archivePeakMemory)->Iterations(1)->Unit(benchmark::kMillisecond);

/// 125 MiB of names.
void hostileArchivePeakMemory(benchmark::State& state) {
    measurePeak(state, Archive(longNamed, 4000, 0), 4000);
}
BENCHMARK(hostileArchivePeakMemory)->Iterations(1)->Unit(benchmark::kMillisecond);

/// Both in turn in one run, so that neither has the quieter machine.
void measureAgainstZipinfo(benchmark::State& state, const Archive& archive) {
    const auto command = "zipinfo -1 '" + archive.path() + "' >/dev/null";
    std::vector<double> bare, service;
    archive.check();
    for (auto _ : state) {
        bare.push_back(seconds([&] {
            if (std::system(command.c_str()) != 0)
                state.SkipWithError("zipinfo failed");
        }));
        service.push_back(seconds([&] {
            if (archive.check() != mostMembers)
                state.SkipWithError("the list is incomplete");
        }));
    }
    state.counters["bare_ms"] = median(bare) * 1e3;
    state.counters["service_ms"] = median(service) * 1e3;
    state.counters["ratio"] = median(service) / median(bare);
}

void archiveAgainstZipinfo(benchmark::State& state) {
    measureAgainstZipinfo(state, Archive(ordinary, mostMembers, 0));
}
BENCHMARK(archiveAgainstZipinfo)->Iterations(11)->Unit(benchmark::kMillisecond);

/// An archive of 1 GiB, in which no two local headers come with one reading.
void spreadArchiveAgainstZipinfo(benchmark::State& state) {
    measureAgainstZipinfo(state, Archive(ordinary, mostMembers, 16'384));
}
BENCHMARK(spreadArchiveAgainstZipinfo)->Iterations(11)->Unit(benchmark::kMillisecond);

/// Words that deflate to a third or so.
std::string prose(std::size_t length, std::mt19937& random) {
    static const auto words = [] {
        std::mt19937 source(7);
        std::vector<std::string> result(3000);
        for (auto& word : result) {
            for (auto letters = 2 + source() % 8; letters > 0; --letters)
                word += static_cast<char>('a' + source() % 26);
        }
        return result;
    }();
    std::string text;
    while (text.size() < length)
        text += words[random() % words.size()] + ' ';
    text.resize(length);
    return text;
}

/// A folder with an archive in it, and room to unpack it.
class Unpacking {
public:
    explicit Unpacking(const std::function<void(const std::string& tree)>& makeTree) {
        const char* base = std::getenv("TMPDIR");
        path_ = std::string(base ? base : "/tmp") + "/MorvUnpackingXXXXXX";
        if (!::mkdtemp(path_.data()))
            throw std::runtime_error("no folder for the benchmark");
        std::filesystem::create_directory(path_ + "/tree");
        makeTree(path_ + "/tree");
        run("cd '" + path_ + "' && zip -q -r tree.zip tree");
        std::filesystem::remove_all(path_ + "/tree");
    }
    ~Unpacking() { std::filesystem::remove_all(path_); }
    Unpacking(const Unpacking&) = delete;
    Unpacking& operator=(const Unpacking&) = delete;

    void unpack() const {
        const auto staging = FileURL::fromPath(path_ + "/unpacked");
        const Descriptor folder(::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        SafeArchiveService::extract({FileURL::fromPath(path_ + "/tree.zip"), staging, folder.get()});
    }
    void unzip() const { run("cd '" + path_ + "' && unzip -q -d unpacked tree.zip"); }
    void clear() const { std::filesystem::remove_all(path_ + "/unpacked"); }

private:
    static void run(const std::string& command) {
        if (std::system(command.c_str()) != 0)
            throw std::runtime_error("failed: " + command);
    }

    std::string path_;
};

void measureAgainstUnzip(benchmark::State& state, const Unpacking& unpacking) {
    std::vector<double> bare, service;
    for (auto _ : state) {
        bare.push_back(seconds([&] { unpacking.unzip(); }));
        unpacking.clear();
        service.push_back(seconds([&] { unpacking.unpack(); }));
        unpacking.clear();
    }
    state.counters["bare_ms"] = median(bare) * 1e3;
    state.counters["service_ms"] = median(service) * 1e3;
    state.counters["ratio"] = median(service) / median(bare);
    state.counters["peak_MiB"] = peakMebibytes([&] { unpacking.unpack(); });
}

void unpackingSmallFilesAgainstUnzip(benchmark::State& state) {
    measureAgainstUnzip(state, Unpacking([](const std::string& tree) {
                            std::mt19937 random(1);
                            for (unsigned i = 0; i < 20'000; ++i) {
                                const auto folder = tree + "/" + std::to_string(i / 100);
                                if (i % 100 == 0)
                                    std::filesystem::create_directory(folder);
                                std::ofstream(folder + "/report " + std::to_string(i) + ".txt")
                                    << prose(200 + random() % 8000, random);
                            }
                        }));
}
BENCHMARK(unpackingSmallFilesAgainstUnzip)->Iterations(5)->Unit(benchmark::kMillisecond);

void unpackingOneGibibyteAgainstUnzip(benchmark::State& state) {
    measureAgainstUnzip(state, Unpacking([](const std::string& tree) {
                            std::mt19937 random(1);
                            std::ofstream file(tree + "/large");
                            for (int i = 0; i < 1024; ++i)
                                file << prose(1 << 20, random);
                        }));
}
BENCHMARK(unpackingOneGibibyteAgainstUnzip)->Iterations(5)->Unit(benchmark::kMillisecond);

} // namespace
