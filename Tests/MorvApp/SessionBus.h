// A session bus of the test's own, which knows no services but those the test writes.
#pragma once

#include "Tests/MorvApp/Support.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QProcess>
#include <QProcessEnvironment>
#include <memory>
#include <string>
#include <vector>

namespace morv::test {

class SessionBus {
public:
    /// Starts the bus and points this process at it; ends it with the object. Aborts when there is none.
    SessionBus();
    ~SessionBus();
    SessionBus(const SessionBus&) = delete;
    SessionBus& operator=(const SessionBus&) = delete;

    /// Makes `name` startable by the bus.
    static void addService(const std::string& name, const std::string& command);

private:
    QProcess daemon_;
};

/// A real morv on the test's bus, ended with the object.
class MorvProcess {
public:
    MorvProcess(const std::vector<std::string>& arguments, const QString& folder = {},
                const std::vector<std::pair<std::string, std::string>>& extra = {});
    ~MorvProcess();

    bool isRunning() const { return process_.state() != QProcess::NotRunning; }
    qint64 id() const { return process_.processId(); }
    /// Waits for its end; the exit status, -1 after a signal or a minute.
    int ended();
    std::string output();
    std::string errors();

private:
    QProcess process_;
};

/// Asks an object on the bus; the error's name, empty after a reply.
std::string call(const char* service, const char* path, const char* interface, const char* method,
                 const QVariantList& arguments);

} // namespace morv::test
