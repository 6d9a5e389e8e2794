#include "MorvCore/Operations/Deflater.h"

#include <new>
#include <zlib.h>

namespace morv {

namespace {

constexpr int rawWindow = -15;
constexpr int usualMemory = 8;
constexpr std::string_view emptyStoredBlock("\0\0\0\xFF\xFF", 5);

Bytef* input(std::string_view data) {
    return reinterpret_cast<Bytef*>(const_cast<char*>(data.data())); // zlib only reads it
}

} // namespace

struct Deflater::Stream {
    z_stream state{};

    explicit Stream(int level) {
        if (deflateInit2(&state, level, Z_DEFLATED, rawWindow, usualMemory, Z_DEFAULT_STRATEGY) != Z_OK)
            throw std::bad_alloc();
    }
    ~Stream() { deflateEnd(&state); }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;
};

Deflater::Deflater(Effort effort) : stream_(std::make_unique<Stream>(static_cast<int>(effort))) {}
Deflater::~Deflater() = default;
Deflater::Deflater(Deflater&&) noexcept = default;
Deflater& Deflater::operator=(Deflater&&) noexcept = default;

void Deflater::appendWhole(std::string& bytes, std::string_view data) {
    deflateReset(&stream_->state);
    run(bytes, data, Z_FINISH);
}

void Deflater::appendPiece(std::string& bytes, const Piece& piece) {
    deflateReset(&stream_->state);
    if (!piece.before.empty())
        deflateSetDictionary(&stream_->state, input(piece.before), static_cast<uInt>(piece.before.size()));
    const auto start = bytes.size();
    run(bytes, piece.data, Z_SYNC_FLUSH);
    while (bytes.size() - start < piece.shortest)
        bytes.append(emptyStoredBlock);
}

/// Neither flush returns anything but success while there is room, which there always is again.
void Deflater::run(std::string& bytes, std::string_view data, int flush) {
    auto& state = stream_->state;
    state.next_in = input(data);
    state.avail_in = static_cast<uInt>(data.size());
    auto room = deflateBound(&state, static_cast<uLong>(data.size())) + emptyStoredBlock.size();
    do {
        const auto used = bytes.size();
        bytes.resize(used + room);
        state.next_out = reinterpret_cast<Bytef*>(bytes.data() + used);
        state.avail_out = static_cast<uInt>(room);
        deflate(&state, flush);
        bytes.resize(used + room - state.avail_out);
    } while (state.avail_out == 0);
}

std::uint32_t checksum(std::string_view data) {
    return static_cast<std::uint32_t>(crc32_z(0, input(data), data.size()));
}

std::uint32_t combinedChecksum(std::uint32_t first, std::uint32_t second, std::uint64_t secondLength) {
    return static_cast<std::uint32_t>(crc32_combine(first, second, static_cast<z_off_t>(secondLength)));
}

} // namespace morv
