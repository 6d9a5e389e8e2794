// The desktop's clipboard as the model sees it. Main thread; needs a QGuiApplication.
#pragma once

#include "MorvApp/Model/FileClipboard.h"

#include <QObject>

namespace morv {

class SystemClipboard : public QObject, public ClipboardBoard {
    Q_OBJECT

public:
    explicit SystemClipboard(QObject* parent = nullptr);

    bool write(const Contents& contents) override;
    std::optional<std::string> read(const std::string& type) const override;
    std::uint64_t changeCount() const override { return changes_; }

private:
    std::uint64_t changes_ = 0;
};

} // namespace morv
