// What Git says of the folder that a window shows, asked again every few seconds.
//
// Invariants  I1  what is shown belongs to the present folder: another folder begins with nothing
//             I2  nothing is asked while the window is not the active one, and never two things at once
// Threading   confined to the main thread; the question is asked on a worker
#pragma once

#include "MorvApp/Model/TaskScope.h"
#include "MorvCore/Inspection/DeveloperTools.h"

#include <QObject>
#include <QTimer>
#include <functional>
#include <optional>
#include <string>

namespace morv {

class GitStatusModel : public QObject {
    Q_OBJECT

public:
    static constexpr int interval = 6000;   ///< milliseconds between an answer and the next question
    static constexpr double patience = 3.0; ///< seconds

    /// Called on a worker; nothing for a folder in no repository, throws with a sentence.
    using Reader = std::function<std::optional<GitFolderStatus>(const FileURL&, const std::stop_token&)>;

    explicit GitStatusModel(TaskPools& pools) : GitStatusModel(pools, readGit, interval) {}
    GitStatusModel(TaskPools& pools, Reader reader, int milliseconds);

    /// At most one of the two is present.
    const std::optional<GitFolderStatus>& status() const { return status_; }
    const std::optional<std::string>& unavailable() const { return unavailable_; }

    void setLocation(const FileURL& location);
    void setActive(bool active);
    /// While it is not wanted nothing is asked and nothing shown.
    void setWanted(bool wanted);

Q_SIGNALS:
    void changed();

private:
    static std::optional<GitFolderStatus> readGit(const FileURL& folder, const std::stop_token& stop);
    /// What was said belongs to another folder, or is not wanted any more.
    void forget();
    void ask();
    void answer(std::optional<GitFolderStatus> status, std::optional<std::string> unavailable);

    Reader reader_;
    std::optional<FileURL> location_;
    std::optional<GitFolderStatus> status_;
    std::optional<std::string> unavailable_;
    bool isActive_ = false;
    bool isWanted_ = true;
    bool isDue_ = false; ///< as soon as the window is active
    QTimer timer_;
    TaskHandle asking_;
    TaskScope tasks_;
};

} // namespace morv
