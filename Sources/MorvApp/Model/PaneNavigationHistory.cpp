#include "MorvApp/Model/PaneNavigationHistory.h"

#include "MorvCore/Foundation/JSONCoding.h"

namespace morv {

std::string toJSON(const PaneNavigationHistory& history) {
    auto object = json::Value::object();
    json::put(object, "locations", history.locations);
    json::put(object, "position", history.position);
    return json::dump(object);
}

void fromJSON(std::string_view text, PaneNavigationHistory& history) {
    const auto object = json::parse(text);
    PaneNavigationHistory read;
    json::take(object, "locations", read.locations);
    json::take(object, "position", read.position);
    history = std::move(read);
}

} // namespace morv
