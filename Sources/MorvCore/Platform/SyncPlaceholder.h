// Files whose content is held by a sync service and not by this disk: reading one would download it.
#pragma once

#include "MorvCore/Platform/ExtendedAttributes.h"
#include "MorvCore/Platform/FileStat.h"

#include <string_view>

namespace morv {

/// Whether type and size alone allow a placeholder.
inline bool mayBeSyncPlaceholder(const FileStat& stat) {
    return stat.isRegular() && stat.size <= 1;
}

/// A regular file of at most one byte whose name ends in ".nextcloud" or ".owncloud", or that carries
/// "user.nextcloud.hydrate_exec". Every question about placeholders ends here.
/// `attributeNames` is what AttributeTarget::list() gave for the file that `stat` describes.
bool isSyncPlaceholder(const FileStat& stat, std::string_view name, std::string_view attributeNames);

/// The same; `item` is asked only when type and size allow it. Throws PosixError.
bool isSyncPlaceholder(const FileStat& stat, std::string_view name, const AttributeTarget& item);

} // namespace morv
