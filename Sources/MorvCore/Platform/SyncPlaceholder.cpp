#include "MorvCore/Platform/SyncPlaceholder.h"

namespace morv {

bool isSyncPlaceholder(const FileStat& stat, std::string_view name, std::string_view attributeNames) {
    if (!mayBeSyncPlaceholder(stat))
        return false;
    if (name.ends_with(".nextcloud") || name.ends_with(".owncloud"))
        return true;
    for (std::size_t start = 0; start < attributeNames.size();) {
        const auto end = std::min(attributeNames.find('\0', start), attributeNames.size());
        if (attributeNames.substr(start, end - start) == "user.nextcloud.hydrate_exec")
            return true;
        start = end + 1;
    }
    return false;
}

bool isSyncPlaceholder(const FileStat& stat, std::string_view name, const AttributeTarget& item) {
    return mayBeSyncPlaceholder(stat) && isSyncPlaceholder(stat, name, item.list().value_or(std::string()));
}

} // namespace morv
