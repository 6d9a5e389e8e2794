#include "MorvApp/Model/GitStatusModel.h"

#include "MorvCore/Foundation/Errors.h"

#include <cerrno>
#include <utility>

namespace morv {

GitStatusModel::GitStatusModel(TaskPools& pools, Reader reader, int milliseconds)
    : reader_(std::move(reader)), tasks_(pools) {
    timer_.setSingleShot(true);
    timer_.setInterval(milliseconds);
    connect(&timer_, &QTimer::timeout, this, &GitStatusModel::ask);
}

std::optional<GitFolderStatus> GitStatusModel::readGit(const FileURL& folder, const std::stop_token& stop) {
    try {
        return GitStatusService().status(folder, patience, stop);
    } catch (const PosixError& error) {
        // Whoever has no Git misses no badge, and wants none that says so in every folder.
        if (error.code() == ENOENT && error.path() == GitStatusService::standardExecutable)
            return std::nullopt;
        throw;
    }
}

void GitStatusModel::setLocation(const FileURL& location) {
    if (location_ == location)
        return;
    location_ = location;
    forget();
    ask();
}

void GitStatusModel::setWanted(bool wanted) {
    if (isWanted_ == wanted)
        return;
    isWanted_ = wanted;
    forget();
    ask();
}

void GitStatusModel::forget() {
    asking_.cancel();
    timer_.stop();
    if (!status_ && !unavailable_)
        return;
    status_.reset();
    unavailable_.reset();
    Q_EMIT changed();
}

void GitStatusModel::setActive(bool active) {
    isActive_ = active;
    if (isActive_ && isDue_)
        ask();
}

void GitStatusModel::ask() {
    isDue_ = !isActive_;
    if (!isActive_ || !isWanted_ || !location_)
        return;
    asking_ = tasks_.run(
        TaskLane::reading,
        [reader = reader_, location = *location_](const std::stop_token& stop) {
            return reader(location, stop);
        },
        [this](std::optional<GitFolderStatus> status) { answer(std::move(status), std::nullopt); },
        [this](const std::exception_ptr& failure) { answer(std::nullopt, sentence(failure)); });
}

void GitStatusModel::answer(std::optional<GitFolderStatus> status, std::optional<std::string> unavailable) {
    timer_.start();
    if (status == status_ && unavailable == unavailable_)
        return;
    status_ = std::move(status);
    unavailable_ = std::move(unavailable);
    Q_EMIT changed();
}

} // namespace morv
