#include "MorvApp/Model/KeyBindings.h"

#include "MorvCore/Foundation/JSONCoding.h"
#include "MorvCore/Records/SQLiteStore.h"

#include <algorithm>

namespace morv {

namespace {

constexpr const char* returnKey = "Return";

bool share(const std::vector<std::string>& a, const std::vector<std::string>& b) {
    return std::ranges::find_first_of(a, b) != a.end();
}

} // namespace

KeyBindings::KeyBindings(SQLiteStore& store, TaskPools& pools, QObject* parent)
    : QObject(parent), store_(store), tasks_(pools) {
    tasks_.run(
        TaskLane::records, [&store](const std::stop_token&) { return read(store); },
        [this](Changes changes) {
            if (hasEdited_ || changes.empty())
                return;
            changed_ = std::move(changes);
            Q_EMIT changed();
        },
        // Without the record the table's keys hold.
        [](const std::exception_ptr&) {});
}

KeyBindings::Changes KeyBindings::read(SQLiteStore& store) {
    Changes changes;
    const auto bytes = store.loadBytes(recordKey);
    const auto record = bytes ? json::parse(*bytes) : json::Value();
    if (!record.is_object())
        return changes;
    for (const auto& [name, value] : record.items()) {
        const auto command = FileManagerCommands::commandNamed(name);
        const bool isList = value.is_array() && std::ranges::all_of(value, [](const auto& element) {
                                return element.is_string();
                            });
        if (command && isList)
            changes[*command] = value.get<std::vector<std::string>>();
    }
    return changes;
}

const std::vector<std::string>& KeyBindings::keys(FileCommand command) const {
    const auto found = changed_.find(command);
    return found == changed_.end() ? FileManagerCommands::row(command).keys : found->second;
}

std::vector<FileCommand> KeyBindings::conflicts(FileCommand command) const {
    std::vector<FileCommand> found;
    const auto& own = FileManagerCommands::row(command).keys;
    for (const auto& other : FileManagerCommands::rows()) {
        if (other.command == command)
            continue;
        const bool byDesign = !isChanged(command) && !isChanged(other.command) && share(own, other.keys);
        if (!byDesign && share(keys(command), keys(other.command)))
            found.push_back(other.command);
    }
    return found;
}

void KeyBindings::setKeys(FileCommand command, std::vector<std::string> keys) {
    if (keys == FileManagerCommands::row(command).keys)
        return reset(command);
    changed_[command] = std::move(keys);
    apply();
}

std::optional<FileCommand> KeyBindings::returnCommand() const {
    for (const auto& row : FileManagerCommands::rows())
        if (std::ranges::count(keys(row.command), returnKey) > 0)
            return row.command;
    return std::nullopt;
}

void KeyBindings::setReturnCommand(FileCommand command) {
    for (const auto other : {FileCommand::rename, FileCommand::open}) {
        auto kept = keys(other);
        if (other != command && std::erase(kept, returnKey) > 0)
            setKeys(other, std::move(kept));
    }
    auto wanted = keys(command);
    if (std::ranges::count(wanted, returnKey) > 0)
        return;
    wanted.emplace_back(returnKey);
    setKeys(command, std::move(wanted));
}

void KeyBindings::reset(FileCommand command) {
    if (changed_.erase(command) != 0)
        apply();
}

void KeyBindings::resetAll() {
    if (changed_.empty())
        return;
    changed_.clear();
    apply();
}

void KeyBindings::apply() {
    hasEdited_ = true;
    auto record = json::Value::object();
    for (const auto& [command, keys] : changed_)
        record[std::string(FileManagerCommands::row(command).name)] = keys;
    tasks_.run(
        TaskLane::records,
        [&store = store_, record = json::dump(record)](const std::stop_token&) {
            store.saveBytes(record, recordKey);
        },
        [] {},
        [this](const std::exception_ptr& failure) {
            Q_EMIT saveFailed(
                QString::fromStdString("The keyboard shortcuts couldn’t be saved: " + sentence(failure)));
        });
    Q_EMIT changed();
}

} // namespace morv
