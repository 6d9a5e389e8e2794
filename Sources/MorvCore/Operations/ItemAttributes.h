// Tags and extended attributes of one item, as digests and copies need them.
#pragma once

#include "MorvCore/Foundation/ContentHash.h"
#include "MorvCore/Platform/ExtendedAttributes.h"

#include <stop_token>
#include <string>
#include <utility>
#include <vector>

namespace morv {

struct ItemAttributes {
    std::string tags; ///< names sorted by canonicalOrder, joined by NUL
    Digest digest{};
    std::vector<std::pair<std::string, std::string>> values; ///< what a copy carries; only when asked for
};

enum class AttributeValues : std::uint8_t { digestOnly, keep };

/// What an item without any attributes has.
const ItemAttributes& noAttributes();

/// Reads "user.*" and "system.posix_acl_*", without what the system itself rewrites.
/// Throws FileOperationError (changed, unsupported), PosixError, CancellationError.
ItemAttributes readAttributes(const AttributeTarget& item, AttributeValues values,
                              const std::stop_token& stop);

/// Whether readAttributes would keep a value of "user.*". Throws as it does.
bool carriesUserAttributes(const AttributeTarget& item);

} // namespace morv
