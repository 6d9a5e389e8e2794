// Any bytes as the attributes of a member: what is read from them can be written and read again.
#include "MorvCore/Operations/AppleDouble.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace morv;
    auto read = AppleDouble::decode({reinterpret_cast<const char*>(data), size});
    if (!read)
        return 0;
    std::size_t total = 0;
    for (const auto& [name, value] : *read)
        total += value.size();
    auto again = AppleDouble::decode(AppleDouble::encode(*read));
    std::ranges::sort(*read);
    if (again)
        std::ranges::sort(*again);
    if (total > size || again != read) {
        std::fprintf(stderr, "The attributes grew or did not come back.\n");
        std::abort();
    }
    return 0;
}
