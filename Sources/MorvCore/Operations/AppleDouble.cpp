#include "MorvCore/Operations/AppleDouble.h"

#include "MorvCore/Foundation/Unicode.h"

#include <algorithm>
#include <cstdint>
#include <set>

namespace morv::AppleDouble {

namespace {

constexpr std::uint32_t magic = 0x00051607;
constexpr std::uint32_t version = 0x00020000;
constexpr std::string_view filler = "Mac OS X        ";
constexpr std::size_t headLength = 26;  // magic, version, filler, number of entries
constexpr std::size_t entryLength = 12; // type, offset, length
constexpr std::uint32_t resourceForkEntry = 2;
constexpr std::uint32_t finderInfoEntry = 9;

constexpr std::size_t finderInfoLength = 32;
constexpr std::size_t tableStart = finderInfoLength + 2; // within entry 9
constexpr std::string_view tableMagic = "ATTR";
constexpr std::size_t tableHeadLength = 36; // magic, tag, sizes, reserved, flags, number of attributes
constexpr std::size_t rowHeadLength = 11;   // offset, length, flags, length of the name with its zero byte

constexpr std::string_view prefix = "user.";
constexpr std::string_view finderInfo = "user.com.apple.FinderInfo";
constexpr std::string_view resourceFork = "user.com.apple.ResourceFork";
constexpr std::size_t longestName = 255;
constexpr std::size_t longestNameList = 65'536;
constexpr std::string_view sidecarFolder = "__MACOSX/";
constexpr std::string_view sidecarPrefix = "._";

constexpr std::string_view zeros("\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0",
                                 finderInfoLength);

void append16(std::string& bytes, std::size_t value) {
    bytes.push_back(static_cast<char>(value >> 8U));
    bytes.push_back(static_cast<char>(value));
}

void append32(std::string& bytes, std::size_t value) {
    append16(bytes, value >> 16U);
    append16(bytes, value);
}

std::size_t number(std::string_view bytes, std::size_t at, std::size_t length) {
    std::size_t value = 0;
    for (const char byte : bytes.substr(at, length))
        value = value << 8U | static_cast<unsigned char>(byte);
    return value;
}

std::size_t rowLength(std::size_t nameLength) {
    return (rowHeadLength + nameLength + 1 + 3) & ~std::size_t{3};
}

bool hasPlaceOfItsOwn(std::string_view name, std::string_view value) {
    return (name == finderInfo && value.size() == finderInfoLength && value != zeros) ||
           (name == resourceFork && !value.empty());
}

/// One file on its way in. Every place is asked for by `part`, which knows the bounds.
class Reader {
public:
    explicit Reader(std::string_view bytes) : bytes_(bytes) {}

    std::optional<Attributes> read() {
        const auto head = part(0, headLength);
        if (!head || number(*head, 0, 4) != magic || number(*head, 4, 4) != version)
            return std::nullopt;
        const auto entries = part(headLength, number(*head, 24, 2) * entryLength);
        bool isSound = entries.has_value();
        for (std::size_t at = 0; isSound && at < entries->size(); at += entryLength)
            isSound =
                readEntry(number(*entries, at, 4), number(*entries, at + 4, 4), number(*entries, at + 8, 4));
        return isSound ? std::optional(std::move(found_)) : std::nullopt;
    }

private:
    std::optional<std::string_view> part(std::size_t offset, std::size_t length) const {
        if (offset > bytes_.size() || length > bytes_.size() - offset)
            return std::nullopt;
        return bytes_.substr(offset, length);
    }

    bool readEntry(std::size_t type, std::size_t offset, std::size_t length) {
        const auto entry = part(offset, length);
        if (!entry)
            return false;
        if (type == resourceForkEntry)
            return entry->empty() || add(std::string(resourceFork), *entry);
        if (type != finderInfoEntry)
            return true;
        if (length < finderInfoLength)
            return false;
        const auto info = entry->substr(0, finderInfoLength);
        if (info != zeros && !add(std::string(finderInfo), info))
            return false;
        const auto table = entry->substr(std::min(tableStart, length));
        return !table.starts_with(tableMagic) || readTable(table);
    }

    bool readTable(std::string_view table) {
        if (table.size() < tableHeadLength)
            return false;
        auto left = number(table, 34, 2);
        for (table.remove_prefix(tableHeadLength); left > 0; --left) {
            if (table.size() < rowHeadLength)
                return false;
            const auto nameLength = number(table, 10, 1);
            if (nameLength < 2 || table.size() - rowHeadLength < nameLength)
                return false;
            const auto name = table.substr(rowHeadLength, nameLength - 1);
            const auto value = part(number(table, 0, 4), number(table, 4, 4));
            if (table[rowHeadLength + nameLength - 1] != '\0' || !value ||
                !add(std::string(prefix).append(name), *value))
                return false;
            table.remove_prefix(std::min(rowLength(nameLength - 1), table.size()));
        }
        return true;
    }

    bool add(std::string name, std::string_view value) {
        total_ += value.size();
        namesTotal_ += name.size() + 1;
        // Values that share their bytes would let a small file ask for a lot of memory, and a million names
        // without values for seconds of work on attributes that the kernel could never list.
        if (total_ > bytes_.size() || namesTotal_ > longestNameList || name.size() > longestName ||
            name.find('\0') != std::string::npos || !isValidUTF8(name) || !names_.insert(name).second)
            return false;
        found_.emplace_back(std::move(name), value);
        return true;
    }

    std::string_view bytes_;
    Attributes found_;
    std::set<std::string> names_;
    std::size_t total_ = 0;
    std::size_t namesTotal_ = 0;
};

} // namespace

std::string encode(const Attributes& attributes) {
    std::string_view info = zeros, fork;
    std::vector<std::pair<std::string_view, std::string_view>> rows;
    constexpr std::size_t rowsStart = headLength + 2 * entryLength + tableStart + tableHeadLength;
    std::size_t valuesStart = rowsStart, valuesLength = 0;
    for (const auto& [name, value] : attributes) {
        if (hasPlaceOfItsOwn(name, value)) {
            (name == finderInfo ? info : fork) = value;
            continue;
        }
        rows.emplace_back(std::string_view(name).substr(prefix.size()), value);
        valuesStart += rowLength(rows.back().first.size());
        valuesLength += value.size();
    }
    const auto end = valuesStart + valuesLength;

    std::string bytes;
    bytes.reserve(end + fork.size());
    append32(bytes, magic);
    append32(bytes, version);
    bytes.append(filler);
    append16(bytes, 2);
    constexpr std::size_t infoStart = headLength + 2 * entryLength;
    append32(bytes, finderInfoEntry);
    append32(bytes, infoStart);
    append32(bytes, end - infoStart);
    append32(bytes, resourceForkEntry);
    append32(bytes, end);
    append32(bytes, fork.size());
    bytes.append(info);
    append16(bytes, 0);
    bytes.append(tableMagic);
    append32(bytes, 0);
    append32(bytes, end);
    append32(bytes, valuesStart);
    append32(bytes, valuesLength);
    bytes.append(12, '\0');
    append16(bytes, 0);
    append16(bytes, rows.size());
    auto valueAt = valuesStart;
    for (const auto& [name, value] : rows) {
        const auto rowEnd = bytes.size() + rowLength(name.size());
        append32(bytes, valueAt);
        append32(bytes, value.size());
        append16(bytes, 0);
        bytes.push_back(static_cast<char>(name.size() + 1));
        bytes.append(name);
        bytes.resize(rowEnd);
        valueAt += value.size();
    }
    for (const auto& row : rows)
        bytes.append(row.second);
    return bytes.append(fork);
}

std::optional<Attributes> decode(std::string_view bytes) {
    return Reader(bytes).read();
}

std::string sidecarName(std::string_view member) {
    const auto lastStart = member.rfind('/') + 1; // 0 without a slash
    return std::string(sidecarFolder)
        .append(member.substr(0, lastStart))
        .append(sidecarPrefix)
        .append(member.substr(lastStart));
}

std::optional<std::string> memberOf(std::string_view sidecar) {
    if (!sidecar.starts_with(sidecarFolder))
        return std::nullopt;
    sidecar.remove_prefix(sidecarFolder.size());
    const auto lastStart = sidecar.rfind('/') + 1;
    auto name = sidecar.substr(lastStart);
    if (!name.starts_with(sidecarPrefix) || name.size() == sidecarPrefix.size())
        return std::nullopt;
    name.remove_prefix(sidecarPrefix.size());
    // "._.." is a name like any other, and what it would speak of is no item.
    if (name == "." || name == "..")
        return std::nullopt;
    return std::string(sidecar.substr(0, lastStart)).append(name);
}

} // namespace morv::AppleDouble
