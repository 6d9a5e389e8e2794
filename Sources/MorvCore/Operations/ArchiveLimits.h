// What a ZIP archive may be, for Morv to extract it: the check refuses more, and the packer makes no more.
#pragma once

#include <cstddef>
#include <cstdint>

namespace morv::ArchiveLimits {

inline constexpr std::uint64_t largestArchive = 2'147'483'648;     ///< bytes
inline constexpr std::uint64_t largestExpansion = 21'474'836'480;  ///< bytes of all members together
inline constexpr std::uint64_t smallestRatioChecked = 104'857'601; ///< bytes of one member
inline constexpr std::uint64_t largestRatio = 1000;                ///< of a member of that size or more
inline constexpr std::size_t mostComponents = 128;                 ///< of one name
inline constexpr std::size_t longestComponent = 255;               ///< bytes
inline constexpr std::size_t mostMembers = 65'534;
inline constexpr std::int64_t mostExtractedItems = 200'000;   ///< with the folders that only paths name
inline constexpr std::uint64_t largestMember = 4'294'967'294; ///< bytes; one more means "see elsewhere"

} // namespace morv::ArchiveLimits
