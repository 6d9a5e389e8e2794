#include "MorvCore/Platform/CloudPlaceholder.h"

namespace morv {

bool isCloudPlaceholder(const FileStat& info, std::string_view name, const AttributeTarget& item) {
    if (!info.isRegular() || info.size > 1)
        return false;
    return name.ends_with(".nextcloud") || name.ends_with(".owncloud") ||
           item.size("user.nextcloud.hydrate_exec") >= 0;
}

} // namespace morv
