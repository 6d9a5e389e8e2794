#include "MorvCore/Foundation/UUID.h"

#include <uuid/uuid.h>

namespace morv {

UUID UUID::random() {
    UUID id;
    uuid_generate_random(id.bytes.data());
    return id;
}

std::optional<UUID> UUID::parse(std::string_view text) {
    UUID id;
    if (text.size() != 36 || uuid_parse_range(text.data(), text.data() + text.size(), id.bytes.data()) != 0)
        return std::nullopt;
    return id;
}

std::string UUID::text() const {
    char buffer[37];
    uuid_unparse_upper(bytes.data(), buffer);
    return std::string(buffer, 36);
}

} // namespace morv
