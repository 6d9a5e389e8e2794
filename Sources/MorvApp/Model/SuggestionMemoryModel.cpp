#include "MorvApp/Model/SuggestionMemoryModel.h"

#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Platform/NewFile.h"
#include "MorvCore/Records/SQLiteStore.h"

#include <cerrno>
#include <fmt/format.h>
#include <utility>

namespace morv {

namespace {

std::string document(const std::vector<SuggestionMemoryRecord>& records) {
    std::string text = "[";
    for (const auto& record : records)
        text += (text.size() == 1 ? "\n" : ",\n") + toJSON(record);
    return text + (records.empty() ? "]\n" : "\n]\n");
}

std::string places(std::size_t count) {
    return count == 1 ? "1 record" : fmt::format("{} records", count);
}

} // namespace

SuggestionMemoryModel::SuggestionMemoryModel(SQLiteStore& store, TaskPools& pools)
    : store_(store), tasks_(pools) {}

SuggestionMemoryModel::Held SuggestionMemoryModel::read(SQLiteStore& store) {
    SuggestionMemoryStore memory(store);
    auto preferences = memory.preferences();
    // Counted after what may no longer be held has gone.
    const auto records = memory.records().size();
    return {std::move(preferences), records};
}

void SuggestionMemoryModel::refresh() {
    tasks_.run(
        TaskLane::suggestions, [&store = store_](const std::stop_token&) { return read(store); },
        [this, asked = changes_](const Held& held) {
            if (asked == changes_)
                show(held);
        },
        [this](const std::exception_ptr& failure) { say(sentence(failure), true); });
}

void SuggestionMemoryModel::setPreferences(SuggestionMemoryPreferences preferences) {
    if (!preferences_ || preferences == *preferences_)
        return;
    preferences_ = preferences;
    ++changes_;
    tasks_.run(
        TaskLane::suggestions,
        [&store = store_, wanted = std::move(preferences)](const std::stop_token&) {
            SuggestionMemoryStore(store).configure(wanted);
            return read(store);
        },
        [this, asked = changes_](const Held& held) {
            if (asked == changes_)
                show(held);
        },
        [this](const std::exception_ptr& failure) {
            say("The change couldn’t be saved: " + sentence(failure), true);
            refresh();
        });
    Q_EMIT changed();
}

void SuggestionMemoryModel::exportTo(const FileURL& file) {
    tasks_.run(
        TaskLane::suggestions,
        [&store = store_, file](const std::stop_token&) {
            const auto records = SuggestionMemoryStore(store).records();
            try {
                writeNewFile(file, document(records));
            } catch (const PosixError& error) {
                if (error.code() != EEXIST)
                    throw;
                throw FileOperationError::unavailable(
                    fmt::format("“{}” is already there, and was not replaced. Choose another name.",
                                displayText(file.lastComponent())));
            }
            return records.size();
        },
        [this, file](std::size_t count) {
            say(fmt::format("Exported {} to “{}”.", places(count), displayText(file.lastComponent())), false);
        },
        [this](const std::exception_ptr& failure) { say(sentence(failure), true); });
}

void SuggestionMemoryModel::clear() {
    ++changes_;
    tasks_.run(
        TaskLane::suggestions,
        [&store = store_](const std::stop_token&) {
            SuggestionMemoryStore(store).clear();
            return read(store);
        },
        [this](const Held& held) {
            show(held);
            say("Nothing is remembered any more.", false);
        },
        [this](const std::exception_ptr& failure) {
            say(sentence(failure), true);
            refresh();
        });
}

void SuggestionMemoryModel::show(const Held& held) {
    preferences_ = held.preferences;
    recordCount_ = held.records;
    Q_EMIT changed();
}

void SuggestionMemoryModel::say(std::string message, bool hasFailed) {
    message_ = std::move(message);
    hasFailed_ = hasFailed;
    Q_EMIT changed();
}

} // namespace morv
