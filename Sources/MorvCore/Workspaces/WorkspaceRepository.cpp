#include "MorvCore/Workspaces/WorkspaceRepository.h"

#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Foundation/JSONCoding.h"
#include "MorvCore/Foundation/TextSearch.h"
#include "MorvCore/Records/SQLiteStore.h"

#include <algorithm>
#include <tuple>
#include <unordered_set>
#include <utility>

namespace morv {

namespace {

const std::string recordPrefix = "workspace/";

std::string keyOf(const UUID& id) {
    return recordPrefix + id.text();
}

} // namespace

Workspace Workspace::adding(const std::vector<FileURL>& urls) const {
    auto changed = *this;
    std::unordered_set<FileURL> held(references.begin(), references.end());
    for (const auto& url : urls)
        if (held.insert(url).second)
            changed.references.push_back(url);
    return changed;
}

Workspace Workspace::removing(const std::vector<FileURL>& urls) const {
    auto changed = *this;
    const std::unordered_set<FileURL> unwanted(urls.begin(), urls.end());
    std::erase_if(changed.references, [&](const FileURL& url) { return unwanted.contains(url); });
    return changed;
}

std::string toJSON(const Workspace& workspace) {
    auto object = json::Value::object();
    json::put(object, "id", workspace.id);
    json::put(object, "name", workspace.name);
    json::put(object, "references", workspace.references);
    json::put(object, "color", workspace.color);
    json::put(object, "createdAt", workspace.createdAt);
    return json::dump(object);
}

void fromJSON(std::string_view text, Workspace& workspace) {
    const auto object = json::parse(text);
    Workspace read;
    json::take(object, "id", read.id);
    json::take(object, "name", read.name);
    json::take(object, "references", read.references);
    json::take(object, "color", read.color);
    json::take(object, "createdAt", read.createdAt);
    workspace = std::move(read);
}

std::vector<Workspace> WorkspaceRepository::list() const {
    std::vector<Workspace> found;
    for (const auto& key : store_.keys(recordPrefix)) {
        if (auto workspace = store_.load<Workspace>(key))
            found.push_back(std::move(*workspace));
    }
    std::ranges::sort(found, [](const Workspace& a, const Workspace& b) {
        return std::tie(a.createdAt, a.id) < std::tie(b.createdAt, b.id);
    });
    return found;
}

Workspace WorkspaceRepository::create(std::string_view name, const std::vector<FileURL>& references,
                                      std::string_view color) {
    Workspace created{UUID::random(), trimmed(name), {}, std::string(color), Date::now()};
    created = created.adding(references);
    save(created);
    return created;
}

void WorkspaceRepository::save(const Workspace& workspace) {
    if (trimmed(workspace.name).empty())
        throw PersistenceError("Give this workspace a name.");
    store_.save(workspace, keyOf(workspace.id));
}

void WorkspaceRepository::remove(const UUID& id) {
    store_.remove(keyOf(id));
}

} // namespace morv
