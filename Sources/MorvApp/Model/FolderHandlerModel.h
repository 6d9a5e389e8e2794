// Whether other programs open folders with Morv, and the way to change that and back.
//
// Invariants  I1  what is shown was read after the last change, or is not shown
//             I2  one change at a time
// Threading   confined to the main thread; a handler is safe to share and its calls block
#pragma once

#include "MorvApp/Model/TaskScope.h"

#include <QObject>
#include <memory>
#include <optional>
#include <string>

namespace morv {

/// The desktop's side of it. Each call throws FileOperationError::unavailable with a sentence.
class FolderHandler {
public:
    struct State {
        bool isMorv = false;
        std::string application = {}; ///< the name of what opens folders; empty when nothing does

        friend bool operator==(const State&, const State&) = default;
    };

    FolderHandler() = default;
    virtual ~FolderHandler() = default;
    FolderHandler(const FolderHandler&) = delete;
    FolderHandler& operator=(const FolderHandler&) = delete;

    virtual State state() const = 0;
    virtual void makeDefault() const = 0;
    virtual void restore() const = 0;
};

class FolderHandlerModel : public QObject {
    Q_OBJECT

public:
    FolderHandlerModel(TaskPools& pools, std::shared_ptr<const FolderHandler> handler);

    bool isAvailable() const { return handler_ != nullptr; }
    /// Nothing until it is known.
    const std::optional<FolderHandler::State>& state() const { return state_; }
    bool isWorking() const { return isWorking_; }
    /// Of the last change or question.
    const std::optional<std::string>& failure() const { return failure_; }

    void refresh();
    void makeDefault();
    void restore();

Q_SIGNALS:
    void changed();

private:
    using Change = void (FolderHandler::*)() const;
    /// Null: only asks.
    void run(Change change);

    std::shared_ptr<const FolderHandler> handler_;
    std::optional<FolderHandler::State> state_;
    std::optional<std::string> failure_;
    bool isWorking_ = false;
    TaskScope tasks_;
};

} // namespace morv
