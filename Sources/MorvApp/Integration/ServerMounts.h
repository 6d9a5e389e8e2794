// Servers that GIO mounts (GVfs behind it).
//
// Invariants  I1  what a server asks is answered by a person or not at all: no password is kept here
//             I2  an attempt that is abandoned leaves no question open; what is mounted stays mounted
// Threading   confined to the main thread, whose event loop has to be GLib's (Qt's own choice on Linux)
#pragma once

#include "MorvApp/Model/ServerConnector.h"
#include "MorvApp/Model/TaskScope.h"

namespace morv {

class ServerMounts : public ServerConnector {
public:
    /// `pools` outlives it.
    explicit ServerMounts(TaskPools& pools) : pools_(pools) {}

    std::unique_ptr<ServerAttempt> reach(const std::string& address, Listener listener) override;

private:
    TaskPools& pools_;
};

} // namespace morv
