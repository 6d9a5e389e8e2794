#include "MorvApp/Model/FolderAppearanceStore.h"

#include "MorvCore/Foundation/JSONCoding.h"
#include "MorvCore/Platform/UserFolders.h"
#include "MorvCore/Records/SQLiteStore.h"

#include <utility>

namespace morv {

namespace {

constexpr const char* recordKey = "folder.appearances";

} // namespace

FolderAppearanceStore::FolderAppearanceStore(SQLiteStore& store, TaskPools& pools, QObject* parent)
    : QObject(parent), store_(store), tasks_(pools) {
    constexpr std::pair<UserFolder, const char*> folders[] = {
        {UserFolder::desktop, "Desktop"}, {UserFolder::documents, "Documents"},
        {UserFolder::music, "Music"},     {UserFolder::downloads, "Downloads"},
        {UserFolder::videos, "Videos"},   {UserFolder::pictures, "Pictures"},
    };
    for (const auto& [folder, name] : folders)
        if (const auto url = userFolder(folder))
            places_.emplace(url->path(), name);
    tasks_.run(
        TaskLane::records, [&store](const std::stop_token&) { return read(store); },
        [this](Appearances found) { take(std::move(found)); },
        [this](const std::exception_ptr&) { endLoading(); });
}

FolderAppearanceStore::Appearances FolderAppearanceStore::read(SQLiteStore& store) {
    Appearances found;
    const auto bytes = store.loadBytes(recordKey);
    if (!bytes)
        return found;
    const auto record = json::parse(*bytes);
    for (const auto& [key, value] : json::requireObject(record).items())
        fromJSON(json::dump(value), found[json::urlOfKey(key).path()]);
    return found;
}

void FolderAppearanceStore::take(Appearances found) {
    const bool isNews = !found.empty();
    appearances_ = std::move(found);
    endLoading();
    if (isNews)
        changed();
}

void FolderAppearanceStore::endLoading() {
    isLoaded_ = true;
    if (early_.empty())
        return;
    for (auto& [path, appearance] : std::exchange(early_, {})) {
        if (appearance)
            appearances_[path] = std::move(*appearance);
        else
            appearances_.erase(path);
    }
    save();
}

FolderAppearance FolderAppearanceStore::standard(const FileURL& url) const {
    const auto place = places_.find(url.path());
    return FolderAppearance::standard(place == places_.end() ? url : FileURL().child(place->second));
}

FolderAppearance FolderAppearanceStore::appearance(const FileURL& url) const {
    const auto found = appearances_.find(url.path());
    if (found == appearances_.end())
        return standard(url);
    auto result = found->second;
    if (!result.defaultSymbol)
        result.defaultSymbol = standard(url).defaultSymbol;
    return result;
}

void FolderAppearanceStore::set(std::optional<FolderAppearance> appearance, const FileURL& url) {
    if (!isLoaded_)
        early_[url.path()] = appearance;
    if (appearance)
        appearances_[url.path()] = std::move(*appearance);
    else
        appearances_.erase(url.path());
    changed();
    if (isLoaded_)
        save();
}

void FolderAppearanceStore::changed() {
    ++revision_;
    Q_EMIT revisionChanged();
}

void FolderAppearanceStore::save() {
    auto record = json::Value::object();
    for (const auto& [path, appearance] : appearances_)
        record[json::keyOf(FileURL::folder(path))] = json::parse(toJSON(appearance));
    tasks_.run(
        TaskLane::records,
        [&store = store_, record = json::dump(record)](const std::stop_token&) {
            store.saveBytes(record, recordKey);
        },
        [] {},
        [this](const std::exception_ptr& failure) {
            Q_EMIT failed("The folder’s appearance couldn’t be saved: " + sentence(failure));
        });
}

} // namespace morv
