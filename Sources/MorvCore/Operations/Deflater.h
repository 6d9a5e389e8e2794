// Raw deflate streams (RFC 1951) in pieces that can be made apart from each other, and appended.
//
// Threading   confined to one thread at a time
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace morv {

class Deflater {
public:
    enum class Effort : std::uint8_t { sample = 1, usual = 6 };
    /// How much of what came before a piece helps to compress it.
    static constexpr std::size_t window = 32'768;

    /// Throws std::bad_alloc.
    explicit Deflater(Effort effort);
    ~Deflater();
    Deflater(Deflater&&) noexcept;
    Deflater& operator=(Deflater&&) noexcept;

    /// Appends a whole stream.
    void appendWhole(std::string& bytes, std::string_view data);
    /// Appends a piece that ends at a byte. `before` is the data that end where `data` begin, up to `window`
    /// bytes of them. All pieces in order, then endOfPieces, are a whole stream. At least `shortest` bytes are
    /// appended, in steps of five bytes that say nothing.
    struct Piece {
        std::string_view before;
        std::string_view data;
        std::size_t shortest = 0;
    };
    void appendPiece(std::string& bytes, const Piece& piece);
    static constexpr std::string_view endOfPieces{"\x03\x00", 2};

private:
    void run(std::string& bytes, std::string_view data, int flush);

    struct Stream;
    std::unique_ptr<Stream> stream_;
};

/// CRC-32 as ZIP archives have it.
std::uint32_t checksum(std::string_view data);
/// That of two pieces behind each other, from their own.
std::uint32_t combinedChecksum(std::uint32_t first, std::uint32_t second, std::uint64_t secondLength);

} // namespace morv
