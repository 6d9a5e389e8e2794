// Waits until a window's pane has read the folder it was sent to, then selects there and runs a command.
//
// Protocol    made after the pane was sent; ends by itself and is deleted from the event loop
// Invariants  I1  nothing is selected or run in another folder, or in one that could not be read
//             I2  the command does not run when one of the wanted entries is missing
// Threading   confined to the main thread
#pragma once

#include "MorvApp/Model/FileCommand.h"
#include "MorvCore/Foundation/FileURL.h"

#include <QObject>
#include <QPointer>
#include <QTimer>
#include <chrono>
#include <optional>
#include <set>
#include <string>

namespace morv {

class AppModel;

class PaneArrival : public QObject {
public:
    struct Wish {
        FileURL container;
        std::set<std::string> selection; ///< ids of entries
        std::optional<CommandCall> command;
    };
    /// How often the pane is looked at beside its own signals, and how many times in all.
    struct Patience {
        std::chrono::milliseconds round{50};
        int rounds = 200;
    };

    PaneArrival(AppModel& model, Wish wish, Patience patience, QObject* parent);

private:
    void look();
    void arrive(AppModel& model);

    QPointer<AppModel> model_;
    Wish wish_;
    int roundsLeft_;
    bool ended_ = false;
    QTimer rounds_;
};

} // namespace morv
