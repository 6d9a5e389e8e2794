// Packing a folder, against `zip -r` of it at the same level. The folders are made under TMPDIR (or /tmp), and
// both archives beside them; neither flushes.
#include "MorvCore/Operations/SafeArchiveService.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace morv;

/// Half of what people keep shrinks to a third or so, and half is compressed already.
class Content {
public:
    std::string words(std::size_t count) {
        static constexpr const char* few[] = {"folder", "archive", "packing", "member", "and", "the",
                                              "of",     "is",      "written", "order",  "a",   "before"};
        std::string text;
        while (text.size() < count) {
            text += few[next_() % std::size(few)];
            text += next_() % 8 == 0 ? std::to_string(next_() % 100'000) + '\n' : " ";
        }
        text.resize(count);
        return text;
    }
    std::string noise(std::size_t count) {
        std::string bytes(count, '\0');
        std::generate(bytes.begin(), bytes.end(), [this] { return static_cast<char>(next_()); });
        return bytes;
    }

private:
    std::mt19937 next_{1};
};

struct Shape {
    std::size_t files = 0;
    std::size_t bytes = 0; ///< of each
    std::size_t nthIsNoise = 2;
};

class Tree {
public:
    explicit Tree(const Shape& shape) {
        const char* base = std::getenv("TMPDIR");
        root_ = std::string(base ? base : "/tmp") + "/MorvPackingXXXXXX";
        if (!mkdtemp(root_.data()))
            throw std::runtime_error("no folder for the benchmark");
        Content content;
        for (std::size_t i = 0; i < shape.files; ++i) {
            const auto folder = root_ + "/tree/" + std::to_string(i / 200);
            std::filesystem::create_directories(folder);
            std::ofstream(folder + "/" + std::to_string(i), std::ios::binary)
                << (i % shape.nthIsNoise == shape.nthIsNoise - 1 ? content.noise(shape.bytes)
                                                                 : content.words(shape.bytes));
        }
    }
    ~Tree() { std::filesystem::remove_all(root_); }
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;

    double pack() const {
        const auto folder = FileURL::fromPath(root_);
        const Descriptor descriptor(open(root_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        return timed("morv.zip", [&] {
            SafeArchiveService::compress({folder.child("tree"), folder.child("morv.zip"), descriptor.get()});
        });
    }
    /// `command` writes the archive `name` of "tree".
    double run(const std::string& name, const std::string& command) const {
        return timed(name, [&] {
            if (std::system(("cd '" + root_ + "' && " + command).c_str()) != 0)
                throw std::runtime_error("failed: " + command);
        });
    }
    double size(const std::string& name) const {
        return static_cast<double>(std::filesystem::file_size(root_ + "/" + name));
    }

private:
    template <class Work>
    double timed(const std::string& name, Work work) const {
        std::filesystem::remove(root_ + "/" + name);
        const auto start = std::chrono::steady_clock::now();
        work();
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }

    std::string root_;
};

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

enum class Library { skip, measure };

/// All in turn in one run, so that none has the quieter machine.
void measure(benchmark::State& state, const Shape& shape, Library withLibrary) {
    const Tree tree(shape);
    std::vector<double> bare, library, service;
    tree.pack();
    for (auto _ : state) {
        bare.push_back(tree.run("zip.zip", "zip -r -q -6 zip.zip tree"));
        service.push_back(tree.pack());
        if (withLibrary == Library::measure)
            library.push_back(tree.run("bsdtar.zip", "bsdtar --format zip -cf bsdtar.zip tree"));
    }
    state.counters["zip_ms"] = median(bare) * 1e3;
    state.counters["service_ms"] = median(service) * 1e3;
    if (!library.empty())
        state.counters["bsdtar_ms"] = median(library) * 1e3;
    state.counters["size"] = tree.size("morv.zip") / tree.size("zip.zip");
    state.counters["ratio"] = median(service) / median(bare);
}

void packSmallFilesAgainstZip(benchmark::State& state) {
    measure(state, {.files = 20'000, .bytes = 8192}, Library::measure);
}
BENCHMARK(packSmallFilesAgainstZip)->Iterations(5)->Unit(benchmark::kMillisecond);

/// Nothing of it is stored.
void packWordsAgainstZip(benchmark::State& state) {
    measure(state, {.files = 4, .bytes = 16U << 20U, .nthIsNoise = 5}, Library::measure);
}
BENCHMARK(packWordsAgainstZip)->Iterations(5)->Unit(benchmark::kMillisecond);

/// A gibibyte in files of 32 MiB.
void packLargeFilesAgainstZip(benchmark::State& state) {
    measure(state, {.files = 32, .bytes = 32U << 20U}, Library::skip);
}
BENCHMARK(packLargeFilesAgainstZip)->Iterations(3)->Unit(benchmark::kMillisecond);

} // namespace
