#include "MorvCore/Operations/QuarantineMarks.h"

#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Operations/ExtractedTree.h"
#include "MorvCore/Platform/ExtendedAttributes.h"

#include <cerrno>
#include <optional>

namespace morv {

namespace {

constexpr long longestMark = 16'384;

std::optional<std::string> readMark(int file, const std::string& name) {
    const auto item = AttributeTarget::descriptor(file);
    const long size = item.size(name);
    if (size < 0 && (errno == ENODATA || errno == EOPNOTSUPP))
        return std::nullopt;
    if (size < 0)
        throw FileOperationError::unavailable(
            "The archive's quarantine metadata could not be read. Extracted files remain in staging.");
    if (size > longestMark)
        throw FileOperationError::unsupported("The archive has unusually large quarantine metadata.");
    std::string value(static_cast<std::size_t>(size), '\0');
    if (size > 0 && item.read(name, value.data(), value.size()) != size)
        throw FileOperationError::changed("The archive's quarantine metadata changed during extraction.");
    return value;
}

} // namespace

QuarantineMarks QuarantineMarks::of(int file) {
    QuarantineMarks result;
    for (const auto* name : {"user.xdg.origin.url", "user.xdg.referrer.url", "user.com.apple.quarantine"}) {
        if (auto value = readMark(file, name))
            result.marks_.emplace_back(name, std::move(*value));
    }
    return result;
}

void QuarantineMarks::setOnTree(int staging, const std::stop_token& stop) const {
    if (marks_.empty())
        return;
    const auto setOn = [this](const AttributeTarget& item) {
        try {
            for (const auto& [name, value] : marks_)
                item.set(name, value);
        } catch (const PosixError&) {
            throw FileOperationError::unavailable(
                "Quarantine protection could not be applied to an extracted "
                "item. Extracted files remain in staging.");
        }
    };
    setOn(AttributeTarget::descriptor(staging));
    ExtractedTree::forEachItem(staging,
                               "The extracted tree could not be inspected for quarantine propagation.", stop,
                               [&setOn](int folder, const std::string& name, const FileStat&) {
                                   setOn(AttributeTarget::at(folder, name));
                               });
}

} // namespace morv
