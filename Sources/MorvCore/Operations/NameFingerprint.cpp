#include "MorvCore/Operations/NameFingerprint.h"

#include <algorithm>
#include <cstring>
#include <random>

namespace morv {

namespace {

__extension__ typedef unsigned __int128 Wide;

constexpr std::uint64_t prime = (std::uint64_t{1} << 61U) - 1;
constexpr std::size_t wordLength = 7;

/// All three are below the prime, and so is what comes out.
std::uint64_t step(std::uint64_t value, std::uint64_t point, std::uint64_t word) {
    const Wide product = Wide{value} * point + word;
    // 2^61 is 1 here, so the upper part counts as it stands.
    const auto sum = static_cast<std::uint64_t>(product & prime) + static_cast<std::uint64_t>(product >> 61U);
    return sum >= prime ? sum - prime : sum;
}

} // namespace

Fingerprinter::Fingerprinter() {
    std::random_device source;
    std::uniform_int_distribution<std::uint64_t> point(0, prime - 1);
    firstPoint_ = point(source);
    secondPoint_ = point(source);
}

NameFingerprint Fingerprinter::of(std::string_view path) const {
    return of(path, [](const NameFingerprint&) {});
}

NameFingerprint Fingerprinter::of(std::string_view path,
                                  const std::function<void(const NameFingerprint&)>& parent) const {
    NameFingerprint result;
    for (std::size_t start = 0; start < path.size();) {
        if (start > 0)
            parent(result);
        const auto end = std::min(path.find('/', start + 1), path.size());
        append(result, path.substr(start, end - start));
        start = end;
    }
    return result;
}

void Fingerprinter::append(NameFingerprint& path, std::string_view piece) const {
    const auto add = [&](std::uint64_t word) {
        path.first = step(path.first, firstPoint_, word);
        path.second = step(path.second, secondPoint_, word);
    };
    std::uint64_t word = 0;
    for (; piece.size() >= wordLength; piece.remove_prefix(wordLength)) {
        std::memcpy(&word, piece.data(), wordLength);
        add(word);
    }
    if (!piece.empty()) {
        word = 0;
        std::memcpy(&word, piece.data(), piece.size());
        add(word);
    }
}

} // namespace morv
