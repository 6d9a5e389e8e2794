// Whether an item is only a stand-in of a sync client, whose content is not on this disk.
#pragma once

#include "MorvCore/Platform/ExtendedAttributes.h"
#include "MorvCore/Platform/FileStat.h"

#include <string_view>

namespace morv {

/// A regular file of at most one byte whose name ends in ".nextcloud" or ".owncloud" or that carries
/// "user.nextcloud.hydrate_exec". Never reads the content. Asks for the attribute only when the size allows
/// it.
bool isCloudPlaceholder(const FileStat& info, std::string_view name, const AttributeTarget& item);

} // namespace morv
