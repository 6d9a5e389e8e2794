// Any bytes as what is stored of one member, under a header that may lie: what comes out is proved, or refused.
#include "Fuzz/ArchiveOracle.h"
#include "MorvCore/Operations/CheckedArchive.h"
#include "MorvCore/Operations/MemberData.h"
#include "Tests/Support/ArchiveBuilder.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>
#include <zlib.h>

namespace {

using namespace morv;
using namespace morv::test;

/// What the bytes are when they are one whole deflate stream: all at once, where MemberData goes in pieces.
std::optional<std::string> inflated(std::string_view bytes) {
    constexpr std::size_t mostGrowth = 1040;
    static std::vector<char> room;
    room.resize(std::max(room.size(), bytes.size() * mostGrowth + 1));
    z_stream stream{};
    fuzz::require(inflateInit2(&stream, -MAX_WBITS) == Z_OK, "there is memory");
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(room.data());
    stream.avail_out = static_cast<uInt>(room.size());
    const int status = inflate(&stream, Z_FINISH);
    const bool isWhole = status == Z_STREAM_END && stream.avail_in == 0;
    inflateEnd(&stream);
    return isWhole ? std::optional(std::string(room.data(), stream.total_out)) : std::nullopt;
}

std::uint32_t checksumOf(const std::string& bytes) {
    return static_cast<std::uint32_t>(crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t head = 3; // method, and what is added to the true size and checksum
    if (size < head)
        return 0;
    ArchiveMember stored{.name = "m", .data = {reinterpret_cast<const char*>(data) + head, size - head}};
    stored.method = data[0] % 2 == 0 ? 8 : 0;
    const auto truth = stored.method == 0 ? std::optional(stored.data) : inflated(stored.data);
    const auto said = truth.value_or("");
    stored.uncompressedSize = static_cast<std::uint32_t>(said.size()) + data[1];
    stored.checksum = checksumOf(said) + data[2];

    const CheckedArchive archive(fuzz::fileHolding(archiveBytes({.members = {stored}})), {});
    CheckedArchive::Reader reader(archive, "changed");
    const auto& member = archive.members().front();
    static MemberData expander; // one for many members, as a worker has it
    std::string received;
    std::int64_t used = 0;
    const bool isProved = expander.expand(
        reader, member, [&received](std::string_view bytes) { received += bytes; },
        [&used](std::int64_t bytes) { used += bytes; }, {});
    fuzz::require(received.size() <= member.size, "no more comes out than the directory says");
    fuzz::require(used <= std::int64_t{member.compressedSize}, "no stored byte is counted twice");
    fuzz::require(isProved == (truth && data[1] == 0 && data[2] == 0),
                  "what is true passes and nothing else");
    fuzz::require(!isProved || received == *truth, "what passes is what was packed");
    return 0;
}
