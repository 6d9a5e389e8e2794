// The bytes of one archive member after another, expanded and proved.
//
// Invariants  I1  a sink never receives more bytes than the directory says the member has
//             I2  expand() gave true => the sink received exactly those bytes, their checksum is the
//                 directory's, and every stored byte was used for them
// Memory      256 KiB, whatever the member says of itself
// Threading   confined to one thread
#pragma once

#include "MorvCore/Operations/CheckedArchive.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <stop_token>
#include <string_view>
#include <vector>

struct z_stream_s;

namespace morv {

class MemberData {
public:
    using Sink = std::function<void(std::string_view bytes)>;
    using StoredObserver = std::function<void(std::int64_t bytes)>;

    MemberData();
    ~MemberData();
    MemberData(const MemberData&) = delete;
    MemberData& operator=(const MemberData&) = delete;

    /// Gives `sink` the member's bytes in chunks of at most 256 KiB, and `observer` the number of stored bytes
    /// as they are used up. False when the data are damaged: cut, of another size or checksum, not deflated,
    /// or followed by bytes of no use; what the sink received until then is worth nothing. Looks at `stop`
    /// before every chunk. Throws CancellationError and what the reader and the sink throw.
    bool expand(CheckedArchive::Reader& reader, const CheckedArchive::Member& member, const Sink& sink,
                const StoredObserver& observer, const std::stop_token& stop);

private:
    class Expansion;

    bool inflate(Expansion& expansion);

    std::unique_ptr<z_stream_s> stream_;
    std::vector<char> chunk_;
};

} // namespace morv
