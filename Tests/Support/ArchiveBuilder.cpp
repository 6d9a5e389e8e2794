#include "Tests/Support/ArchiveBuilder.h"

#include <stdexcept>
#include <zlib.h>

namespace morv::test {

namespace {

void put16(std::string& bytes, std::size_t value) {
    bytes += static_cast<char>(value & 0xFF);
    bytes += static_cast<char>(value >> 8 & 0xFF);
}

void put32(std::string& bytes, std::size_t value) {
    put16(bytes, value & 0xFFFF);
    put16(bytes, value >> 16);
}

constexpr std::uint16_t version = 20, madeByUnix = 3 << 8 | 20;

std::uint32_t checksumOf(const std::string& bytes) {
    return static_cast<std::uint32_t>(crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
}

std::string centralRecord(const ArchiveMember& member, std::size_t localOffset) {
    std::string bytes;
    put32(bytes, member.centralSignature.value_or(0x02014B50));
    put16(bytes, madeByUnix);
    put16(bytes, version);
    put16(bytes, member.flags);
    put16(bytes, member.method);
    put32(bytes, member.time);
    put32(bytes, member.checksum.value_or(checksumOf(member.data)));
    put32(bytes, member.compressedSize.value_or(static_cast<std::uint32_t>(member.data.size())));
    put32(bytes, member.uncompressedSize.value_or(static_cast<std::uint32_t>(member.data.size())));
    put16(bytes, member.nameLength.value_or(static_cast<std::uint16_t>(member.name.size())));
    put16(bytes, member.extraLength.value_or(static_cast<std::uint16_t>(member.centralExtra.size())));
    put16(bytes, member.commentLength.value_or(static_cast<std::uint16_t>(member.comment.size())));
    put16(bytes, 0);
    put16(bytes, 0);
    put32(bytes, std::size_t{member.mode} << 16);
    put32(bytes, member.localOffset.value_or(static_cast<std::uint32_t>(localOffset)));
    return bytes + member.name + member.centralExtra + member.comment;
}

} // namespace

ArchiveMember deflated(const std::string& name, const std::string& content) {
    ArchiveMember member{.name = name, .method = 8};
    member.data.resize(compressBound(content.size()));
    z_stream stream{};
    // A negative number of bits: no header around the data.
    deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(content.data()));
    stream.avail_in = static_cast<uInt>(content.size());
    stream.next_out = reinterpret_cast<Bytef*>(member.data.data());
    stream.avail_out = static_cast<uInt>(member.data.size());
    const int status = deflate(&stream, Z_FINISH);
    member.data.resize(stream.total_out);
    deflateEnd(&stream);
    if (status != Z_STREAM_END)
        throw std::runtime_error("cannot deflate for the test");
    member.uncompressedSize = static_cast<std::uint32_t>(content.size());
    member.checksum = checksumOf(content);
    return member;
}

std::string localRecord(const ArchiveMember& member) {
    const auto name = member.localName.value_or(member.name);
    std::string bytes;
    put32(bytes, member.localSignature.value_or(0x04034B50));
    put16(bytes, version);
    put16(bytes, member.localFlags.value_or(member.flags));
    put16(bytes, member.localMethod.value_or(member.method));
    put32(bytes, member.time);
    put32(bytes, member.checksum.value_or(checksumOf(member.data)));
    put32(bytes, member.data.size());
    put32(bytes, member.data.size());
    put16(bytes, member.localNameLength.value_or(static_cast<std::uint16_t>(name.size())));
    put16(bytes, member.localExtraLength.value_or(static_cast<std::uint16_t>(member.localExtra.size())));
    return bytes + name + member.localExtra + member.data;
}

ArchiveParts archiveParts(const ArchivePlan& plan) {
    ArchiveParts parts{.members = plan.stub, .directory = {}};
    for (const auto& member : plan.members) {
        parts.directory += centralRecord(member, parts.members.size() - plan.stub.size());
        parts.members += localRecord(member);
    }
    parts.members += plan.gap;
    parts.directory += plan.slack;
    const auto size = parts.directory.size();
    auto& end = parts.directory;
    put32(end, plan.endSignature.value_or(0x06054B50));
    put16(end, plan.disk.value_or(0));
    put16(end, plan.directoryDisk.value_or(0));
    put16(end, plan.entriesOnDisk.value_or(static_cast<std::uint16_t>(plan.members.size())));
    put16(end, plan.entries.value_or(static_cast<std::uint16_t>(plan.members.size())));
    put32(end, plan.directorySize.value_or(static_cast<std::uint32_t>(size)));
    put32(end,
          plan.directoryOffset.value_or(static_cast<std::uint32_t>(parts.members.size() - plan.stub.size())));
    put16(end, plan.commentLength.value_or(static_cast<std::uint16_t>(plan.comment.size())));
    end += plan.comment + plan.trailer;
    return parts;
}

std::string archiveBytes(const ArchivePlan& plan) {
    const auto parts = archiveParts(plan);
    return parts.members + parts.directory;
}

std::string extraField(std::uint16_t id, const std::string& data) {
    std::string bytes;
    put16(bytes, id);
    put16(bytes, data.size());
    return bytes + data;
}

} // namespace morv::test
