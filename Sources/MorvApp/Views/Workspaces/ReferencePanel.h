// Lets the user choose files and folders alike. Main thread.
#pragma once

#include "MorvCore/Foundation/FileURL.h"

#include <QFileDialog>
#include <functional>
#include <vector>

namespace morv {

class TaskPools;

/// The usual panel takes either files or folders; this one takes whatever is marked.
class ReferencePanel : public QFileDialog {
    Q_OBJECT

public:
    using Chosen = std::function<void(const std::vector<FileURL>&)>;

    /// Returns at once, and goes to `folder` when that answers; `chosen` is called when something was confirmed and
    /// `owner` still lives.
    static void choose(QWidget* owner, const FileURL& folder, TaskPools& pools, Chosen chosen);

protected:
    void accept() override;

private:
    ReferencePanel(QWidget* owner, Chosen chosen);

    Chosen chosen_;
};

} // namespace morv
