// Lets the user choose files and folders alike. Main thread.
#pragma once

#include "MorvCore/Foundation/FileURL.h"

#include <QFileDialog>
#include <functional>
#include <vector>

namespace morv {

/// The usual panel takes either files or folders; this one takes whatever is marked.
class ReferencePanel : public QFileDialog {
    Q_OBJECT

public:
    using Chosen = std::function<void(const std::vector<FileURL>&)>;

    /// Returns at once; `chosen` is called when something was confirmed and `owner` still lives.
    static void choose(QWidget* owner, const FileURL& folder, Chosen chosen);

protected:
    void accept() override;

private:
    ReferencePanel(QWidget* owner, const FileURL& folder, Chosen chosen);

    Chosen chosen_;
};

} // namespace morv
