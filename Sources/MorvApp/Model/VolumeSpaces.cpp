#include "MorvApp/Model/VolumeSpaces.h"

#include "MorvCore/Foundation/ByteCount.h"

#include <QTimer>
#include <fmt/format.h>

namespace morv {

namespace {

constexpr int usualPatience = 5'000;
/// Of the threads that read folders most are left to folders.
constexpr std::size_t mostUnanswered = 6;
constexpr int roundsKept = 2;

} // namespace

VolumeSpaces::VolumeSpaces(TaskPools& pools, Reader reader, QObject* parent)
    : QObject(parent), reader_(std::move(reader)), patience_(usualPatience), tasks_(pools) {}

VolumeSpaces::Answer VolumeSpaces::of(const FileURL& folder) {
    auto& volume = volumes_[folder];
    volume.unwanted = 0;
    if (!volume.isAsked && volume.answer.state == State::asked)
        ask(folder);
    return volume.answer;
}

void VolumeSpaces::refresh() {
    std::erase_if(volumes_, [](const auto& known) {
        return known.second.unwanted > roundsKept && !known.second.isAsked;
    });
    for (auto& [folder, volume] : volumes_) {
        ++volume.unwanted;
        if (volume.isAsked)
            volume.asksAgain = true;
        else
            ask(folder);
    }
}

void VolumeSpaces::ask(const FileURL& folder) {
    if (unanswered_ >= mostUnanswered)
        return;
    auto& volume = volumes_[folder];
    volume.isAsked = true;
    volume.question = ++questions_;
    ++unanswered_;
    // What is known stays: only a first answer can be missed.
    if (volume.answer.state == State::asked)
        QTimer::singleShot(patience_, this,
                           [this, folder, question = volume.question] { losePatience(folder, question); });
    tasks_.run(
        TaskLane::reading, [folder, reader = reader_](const std::stop_token&) { return reader(folder); },
        [this, folder](const VolumeSpace& space) {
            take(folder, {State::known, space});
        },
        [this, folder](const std::exception_ptr&) {
            take(folder, {State::failed, {}});
        });
}

void VolumeSpaces::take(const FileURL& folder, const Answer& answer) {
    auto& volume = volumes_[folder];
    volume.isAsked = false;
    --unanswered_;
    if (std::exchange(volume.asksAgain, false))
        ask(folder);
    if (std::exchange(volume.answer, answer) != answer)
        Q_EMIT changed();
}

void VolumeSpaces::losePatience(const FileURL& folder, std::uint64_t question) {
    const auto found = volumes_.find(folder);
    if (found == volumes_.end())
        return;
    auto& volume = found->second;
    if (!volume.isAsked || volume.question != question || volume.answer.state != State::asked)
        return;
    volume.answer.state = State::silent;
    Q_EMIT changed();
}

std::string VolumeSpaces::words(const VolumeSpace& space) {
    if (space.total == 0)
        return {};
    return fmt::format("{} free of {}", formatByteCount(space.free), formatByteCount(space.total));
}

} // namespace morv
