// The seam to the system's network file systems: mounts an address and says where it stands then.
#pragma once

#include "MorvCore/Foundation/FileURL.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace morv {

/// What a server wants to know. The texts are the server's.
struct ServerQuestion {
    std::string message = {};
    std::string user = {}; ///< proposed
    std::string domain = {};
    bool asksUser = false;
    bool asksDomain = false;
    bool asksPassword = false;
    bool allowsGuest = false;
    bool allowsRemembering = false;
    /// One of these is the answer, and nothing else is asked: whether an unknown host is trusted.
    std::vector<std::string> choices = {};

    friend bool operator==(const ServerQuestion&, const ServerQuestion&) = default;
};

struct ServerAnswer {
    std::string user = {};
    std::string domain = {};
    std::string password = {};
    bool asGuest = false;
    bool remember = false; ///< until the end of the session, by the desktop's own keyring
    int choice = 0;
};

/// One attempt to reach a server; its end abandons it.
class ServerAttempt {
public:
    virtual ~ServerAttempt() = default;
    /// Of the last question.
    virtual void answer(const ServerAnswer& answer) = 0;
};

class ServerConnector {
public:
    /// Called on the main thread from its event loop, and not at all once the attempt has gone. After
    /// `mounted` or `failed` nothing follows.
    struct Listener {
        std::function<void(const ServerQuestion&)> asked;
        std::function<void(const FileURL& folder)> mounted;
        /// The system's sentence; empty when a person has given up.
        std::function<void(const std::string& sentence)> failed;
    };

    virtual ~ServerConnector() = default;
    /// Returns at once. `address` is a URL of a known scheme.
    virtual std::unique_ptr<ServerAttempt> reach(const std::string& address, Listener listener) = 0;
};

} // namespace morv
