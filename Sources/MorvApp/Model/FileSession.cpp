#include "MorvApp/Model/FileSession.h"

#include "MorvCore/Foundation/JSONCoding.h"

namespace morv {

// Found by the templates of JSONCoding through their argument's namespace.

static json::Value encode(const FolderViewPreferences& preferences) {
    return json::parse(toJSON(preferences));
}

static void decode(const json::Value& value, FolderViewPreferences& out) {
    fromJSON(json::dump(value), out);
}

static json::Value encode(const PaneNavigationHistory& history) {
    return json::parse(toJSON(history));
}

static void decode(const json::Value& value, PaneNavigationHistory& out) {
    fromJSON(json::dump(value), out);
}

static json::Value encode(const SavedPaneSession& tab) {
    const auto list = [](const std::optional<std::set<std::string>>& ids) {
        return ids ? std::optional(std::vector<std::string>(ids->begin(), ids->end())) : std::nullopt;
    };
    auto object = json::Value::object();
    json::put(object, "location", tab.location);
    json::put(object, "secondary", tab.secondary);
    json::put(object, "view", tab.view);
    json::put(object, "secondaryView", tab.secondaryView);
    json::put(object, "selection", list(tab.selection));
    json::put(object, "secondarySelection", list(tab.secondarySelection));
    json::put(object, "tabID", tab.tabID);
    json::put(object, "history", tab.history);
    json::put(object, "secondaryHistory", tab.secondaryHistory);
    return object;
}

static void decode(const json::Value& object, SavedPaneSession& tab) {
    const auto takeIDs = [&object](const char* key, std::optional<std::set<std::string>>& out) {
        std::optional<std::vector<std::string>> list;
        json::take(object, key, list);
        if (list)
            out.emplace(list->begin(), list->end());
    };
    json::take(object, "location", tab.location);
    json::take(object, "secondary", tab.secondary);
    json::take(object, "view", tab.view);
    json::take(object, "secondaryView", tab.secondaryView);
    takeIDs("selection", tab.selection);
    takeIDs("secondarySelection", tab.secondarySelection);
    json::take(object, "tabID", tab.tabID);
    json::take(object, "history", tab.history);
    json::take(object, "secondaryHistory", tab.secondaryHistory);
}

static json::Value encode(const SavedFileSearch& search) {
    auto object = json::Value::object();
    json::put(object, "id", search.id);
    json::put(object, "name", search.name);
    json::put(object, "root", search.root);
    json::put(object, "query", search.query);
    return object;
}

static void decode(const json::Value& object, SavedFileSearch& search) {
    json::take(object, "id", search.id);
    json::take(object, "name", search.name);
    json::take(object, "root", search.root);
    json::take(object, "query", search.query);
}

std::string toJSON(const SavedFileSession& session) {
    auto object = json::Value::object();
    json::put(object, "tabs", session.tabs);
    json::put(object, "activeIndex", session.activeIndex);
    json::put(object, "secondaryActive", session.secondaryActive);
    json::put(object, "showInspector", session.showInspector);
    if (session.splitRatios) {
        auto& ratios = object["splitRatios"] = json::Value::object();
        for (const auto& [key, fractions] : *session.splitRatios)
            ratios[key] = fractions;
    }
    return json::dump(object);
}

void fromJSON(std::string_view text, SavedFileSession& out) {
    const auto object = json::parse(text);
    SavedFileSession read;
    json::take(object, "tabs", read.tabs);
    json::take(object, "activeIndex", read.activeIndex);
    json::take(object, "secondaryActive", read.secondaryActive);
    json::take(object, "showInspector", read.showInspector);
    const auto ratios = object.find("splitRatios");
    if (ratios != object.end() && !ratios->is_null()) {
        auto& fractions = read.splitRatios.emplace();
        for (const auto& [key, value] : json::requireObject(*ratios).items())
            json::decode(value, fractions[key]);
    }
    out = std::move(read);
}

std::string toJSON(const std::vector<SavedFileSearch>& searches) {
    return json::dump(json::encode(searches));
}

void fromJSON(std::string_view text, std::vector<SavedFileSearch>& out) {
    std::vector<SavedFileSearch> read;
    json::decode(json::parse(text), read);
    out = std::move(read);
}

} // namespace morv
