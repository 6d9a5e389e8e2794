// A name as two numbers, so that remembering it costs the same however long it is.
//
// A path is cut before each "/", each piece into words of seven bytes, the last of them filled up with zeros.
// These words are the coefficients of a polynomial over the integers modulo 2^61 - 1, and its values at two
// secret points, drawn for each Fingerprinter, are the fingerprint. Equal names always agree. Two different
// names of at most n bytes agree with a chance of at most (n / 2^61)^2 when neither holds a zero byte, or
// when only one does and they are equally long. It does not matter who chose them: nobody knows the points
// beforehand. What a path's first pieces came to is the fingerprint of that parent folder, so all of them
// cost one pass.
//
// Threading   immutable; safe to share
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

namespace morv {

struct NameFingerprint {
    std::uint64_t first = 1;
    std::uint64_t second = 1;

    friend bool operator==(const NameFingerprint&, const NameFingerprint&) = default;
};

class Fingerprinter {
public:
    Fingerprinter();

    NameFingerprint of(std::string_view path) const;
    /// As `of`, and calls `parent` with the fingerprint of each folder above, the uppermost first.
    NameFingerprint of(std::string_view path,
                       const std::function<void(const NameFingerprint&)>& parent) const;

private:
    void append(NameFingerprint& path, std::string_view piece) const;

    std::uint64_t firstPoint_;
    std::uint64_t secondPoint_;
};

} // namespace morv

template <>
struct std::hash<morv::NameFingerprint> {
    std::size_t operator()(const morv::NameFingerprint& name) const noexcept { return name.first; }
};
