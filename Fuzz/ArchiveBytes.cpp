// Any bytes as an archive. Every ZIP file can be a seed.
#include "Fuzz/ArchiveOracle.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    morv::fuzz::judgeArchive({reinterpret_cast<const char*>(data), size});
    return 0;
}
