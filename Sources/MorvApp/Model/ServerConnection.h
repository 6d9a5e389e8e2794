// A connection in the making: the address, what the server asks, how it ended, and which servers were reached
// before.
//
// On disk     "servers.recent": an array of addresses, the last one first, without passwords
// Threading   confined to the main thread; the record is read and written on a worker
#pragma once

#include "MorvApp/Model/ServerConnector.h"
#include "MorvApp/Model/TaskScope.h"

#include <QObject>
#include <optional>
#include <string>
#include <string_view>

namespace morv {

class SQLiteStore;

/// What somebody types to reach a server.
struct ServerAddress {
    std::string url;     ///< with a known scheme in lower case; empty when it cannot be one
    std::string problem; ///< a sentence, when it cannot

    /// Understands "\\server\share" and web addresses of WebDAV, too.
    static ServerAddress parse(std::string_view typed);
    /// As it may be kept and shown.
    static std::string withoutPassword(const std::string& url);
    /// One line on what the scheme that was begun is for, with an example.
    static std::string_view hint(std::string_view typed);
};

class ServerConnection : public QObject {
    Q_OBJECT

public:
    enum class State : std::uint8_t { idle, reaching, asking, failed };

    /// `connector` may be null: then every attempt fails with a sentence.
    ServerConnection(SQLiteStore& store, TaskPools& pools, ServerConnector* connector,
                     QObject* parent = nullptr);

    State state() const { return state_; }
    const ServerQuestion& question() const { return question_; }
    const std::string& failure() const { return failure_; }
    const std::vector<std::string>& recent() const { return recent_; }

    void reach(std::string_view typed);
    void answer(const ServerAnswer& answer);
    /// Gives the attempt up; the address can be changed again.
    void stop();
    void forget(const std::string& address);

    static constexpr std::size_t mostKept = 10;

Q_SIGNALS:
    void stateChanged();
    void recentChanged();
    /// The server's folder stands there.
    void mounted(const FileURL& folder);

private:
    void arrive(const FileURL& folder);
    void giveUp(const std::string& sentence);
    void setState(State state);
    void fail(std::string sentence);
    /// Changes the record as it is when its turn comes, for all windows share it.
    void changeRecent(std::function<void(std::vector<std::string>&)> change);

    SQLiteStore& store_;
    ServerConnector* connector_;
    State state_ = State::idle;
    ServerQuestion question_;
    std::string failure_;
    std::string address_;
    std::vector<std::string> recent_;
    std::unique_ptr<ServerAttempt> attempt_;
    TaskScope tasks_;
};

} // namespace morv
