// The desktop's clipboard as the model sees it. Main thread; needs a QGuiApplication.
//
// What another program owns is fetched from it while this one waits. Qt gives up on an owner that does not
// answer (after 5 seconds on X11); such an owner is asked only once, and its clipboard counts as empty until
// it changes hands.
#pragma once

#include "MorvApp/Model/FileClipboard.h"

#include <QObject>
#include <QStringList>
#include <optional>

namespace morv {

class SystemClipboard : public QObject, public ClipboardBoard {
    Q_OBJECT

public:
    explicit SystemClipboard(QObject* parent = nullptr);

    bool write(const Contents& contents) override;
    std::optional<std::string> read(const std::string& type) const override;
    bool offers(const std::string& type) const override {
        return formats().contains(QString::fromStdString(type));
    }
    std::uint64_t changeCount() const override { return changes_; }

private:
    const QStringList& formats() const;

    std::uint64_t changes_ = 0;
    /// What the present owner offers; absent until asked.
    mutable std::optional<QStringList> formats_;
};

} // namespace morv
