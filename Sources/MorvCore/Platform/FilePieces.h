// Reading here and there in a file of any size through one small buffer.
//
// Why no map  a mapping ends the process with SIGBUS when somebody else truncates the file, or its disk
//             fails, while it is read. Here both are an answer: fewer bytes, or an error with the path.
// Threading   confined to one thread at a time
#pragma once

#include "MorvCore/Foundation/FileURL.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace morv {

class FilePieces {
public:
    /// `descriptor` must stay open for as long. Whoever goes on near the last reading makes the kernel give
    /// `piece` bytes, a jump only a few; what is wanted at once is always read at once.
    FilePieces(int descriptor, std::size_t piece, FileURL shown);

    /// The `count` bytes from `offset`; fewer only where the file ends. They stay until the next call.
    /// Throws PosixError with the path.
    std::string_view bytes(std::uint64_t offset, std::size_t count);

private:
    bool holds(std::uint64_t offset, std::size_t count) const;

    int descriptor_;
    std::size_t piece_;
    FileURL shown_;
    std::vector<char> buffer_;
    std::uint64_t start_ = 0; ///< where in the file the buffer begins
    std::size_t filled_ = 0;
};

} // namespace morv
