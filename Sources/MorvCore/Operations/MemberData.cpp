#include "MorvCore/Operations/MemberData.h"

#include "MorvCore/Foundation/Cancellation.h"

#include <algorithm>
#include <limits>
#include <new>
#include <zlib.h>

namespace morv {

namespace {

constexpr std::size_t chunkLength = 262'144;
constexpr std::size_t storedPiece = 65'536;

} // namespace

/// One member on its way out.
class MemberData::Expansion {
public:
    Expansion(CheckedArchive::Reader& reader, const CheckedArchive::Member& member, const Sink& sink,
              const StoredObserver& observer, const std::stop_token& stop)
        : member_(member), reader_(reader), sink_(sink), observer_(observer), stop_(stop) {}

    /// The next stored bytes; none at their end.
    std::string_view next(std::size_t most) {
        checkCancelled(stop_);
        const auto count = std::min<std::size_t>(most, member_.compressedSize - used_);
        if (count == 0)
            return {};
        const auto bytes = reader_.data(member_, used_, count);
        used_ += static_cast<std::uint32_t>(count);
        if (observer_)
            observer_(static_cast<std::int64_t>(count));
        return bytes;
    }

    /// False when there are more than the member has.
    bool give(std::string_view bytes) {
        checkCancelled(stop_);
        if (bytes.size() > member_.size - given_)
            return false;
        given_ += static_cast<std::uint32_t>(bytes.size());
        checksum_ = crc32_z(checksum_, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size());
        if (!bytes.empty())
            sink_(bytes);
        return true;
    }

    bool isProved() const {
        return used_ == member_.compressedSize && given_ == member_.size && checksum_ == member_.checksum;
    }

private:
    const CheckedArchive::Member& member_;
    CheckedArchive::Reader& reader_;
    const Sink& sink_;
    const StoredObserver& observer_;
    const std::stop_token& stop_;
    std::uint32_t used_ = 0;
    std::uint32_t given_ = 0;
    uLong checksum_ = 0;
};

MemberData::MemberData() : stream_(std::make_unique<z_stream>()), chunk_(chunkLength) {
    // A negative number of bits: no header of zlib's own around the data.
    if (inflateInit2(stream_.get(), -MAX_WBITS) != Z_OK)
        throw std::bad_alloc();
}

MemberData::~MemberData() {
    inflateEnd(stream_.get());
}

bool MemberData::expand(CheckedArchive::Reader& reader, const CheckedArchive::Member& member,
                        const Sink& sink, const StoredObserver& observer, const std::stop_token& stop) {
    Expansion expansion(reader, member, sink, observer, stop);
    if (member.isDeflated)
        return inflate(expansion);
    for (auto bytes = expansion.next(chunkLength); !bytes.empty(); bytes = expansion.next(chunkLength)) {
        if (!expansion.give(bytes))
            return false;
    }
    return expansion.isProved();
}

bool MemberData::inflate(Expansion& expansion) {
    auto& stream = *stream_;
    inflateReset(&stream);
    stream.avail_in = 0;
    for (;;) {
        stream.next_out = reinterpret_cast<Bytef*>(chunk_.data());
        stream.avail_out = static_cast<uInt>(chunk_.size());
        int status = Z_OK;
        while (status == Z_OK && stream.avail_out > 0) {
            if (stream.avail_in == 0) {
                // At their end zlib may still hold what had no room in the last chunk; with nothing left to
                // give it answers with an error.
                const auto bytes = expansion.next(storedPiece);
                stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
                stream.avail_in = static_cast<uInt>(bytes.size());
            }
            status = ::inflate(&stream, Z_NO_FLUSH);
        }
        if (status == Z_MEM_ERROR)
            throw std::bad_alloc();
        if (status != Z_OK && status != Z_STREAM_END)
            return false;
        if (!expansion.give({chunk_.data(), chunk_.size() - stream.avail_out}))
            return false;
        if (status == Z_STREAM_END)
            return stream.avail_in == 0 && expansion.isProved();
    }
}

} // namespace morv
