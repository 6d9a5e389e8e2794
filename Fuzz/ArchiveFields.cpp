// Archives whose records agree with each other but where the input says otherwise: that gets past the first
// rules, which bytes put together by chance hardly ever do.
#include "Fuzz/ArchiveOracle.h"
#include "Tests/Support/ArchiveBuilder.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace {

using namespace morv::test;

/// The input as a row of decisions; an exhausted one decides 0 for ever.
class Decisions {
public:
    Decisions(const std::uint8_t* data, std::size_t size)
        : bytes_(reinterpret_cast<const char*>(data), size) {}

    bool isEmpty() const { return bytes_.empty(); }
    std::uint32_t number(int length) {
        std::uint32_t result = 0;
        for (; length > 0; --length) {
            result = result << 8U;
            if (!bytes_.empty())
                result |= static_cast<std::uint8_t>(bytes_.front());
            bytes_.remove_prefix(bytes_.empty() ? 0 : 1);
        }
        return result;
    }
    std::uint16_t small() { return static_cast<std::uint16_t>(number(2)); }
    std::string text() {
        const auto piece = bytes_.substr(0, number(1));
        bytes_.remove_prefix(piece.size());
        return std::string(piece);
    }
    /// Names that have something to do with each other, and now and then any bytes.
    std::string name() {
        static constexpr std::array<const char*, 16> parts = {
            "a",       "A",      "b",      "/",      "/",       "..",     ".",      "\u00E9",
            "e\u0301", "\u00C9", "\u03A3", "\u0130", "i\u0307", "\u202E", "folder", "\\"};
        std::string result;
        for (auto count = number(1) % 6; count > 0; --count) {
            const auto choice = number(1);
            result += choice < 200 ? parts[choice % parts.size()] : text();
        }
        return result;
    }

private:
    std::string_view bytes_;
};

ArchiveMember member(Decisions& decide) {
    ArchiveMember result{.name = decide.name(), .data = decide.text()};
    switch (decide.number(1) % 24) {
    case 0:
        result.mode = decide.small();
        break;
    case 1:
        result.flags = decide.small();
        break;
    case 2:
        result.method = decide.small();
        break;
    case 3:
        result.centralExtra = decide.text();
        break;
    case 4:
        result.localExtra = decide.text();
        break;
    case 5:
        result.comment = decide.text();
        break;
    case 6:
        result.localName = decide.name();
        break;
    case 7:
        result.localOffset = decide.small();
        break;
    case 8:
        result.compressedSize = decide.number(4);
        break;
    case 9:
        result.uncompressedSize = decide.number(4);
        break;
    case 10:
        result.nameLength = decide.small();
        break;
    case 11:
        result.extraLength = decide.small();
        break;
    case 12:
        result.localExtraLength = decide.small();
        break;
    case 13: {
        // Another member's header in this one's data.
        auto quoted = result;
        quoted.name = decide.name();
        result.data = localRecord(quoted) + result.data;
        break;
    }
    default:
        break;
    }
    return result;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Decisions decide(data, size);
    ArchivePlan plan;
    switch (decide.number(1) % 16) {
    case 0:
        plan.slack = decide.text();
        break;
    case 1:
        plan.entries = plan.entriesOnDisk = decide.small();
        break;
    case 2:
        plan.directoryOffset = decide.number(4);
        break;
    case 3:
        plan.comment = decide.text() + archiveBytes({.comment = decide.text()}) + decide.text();
        break;
    case 4:
        plan.gap = decide.text();
        break;
    default:
        break;
    }
    while (!decide.isEmpty() && plan.members.size() < 64)
        plan.members.push_back(member(decide));
    morv::fuzz::judgeArchive(archiveBytes(plan));
    return 0;
}
