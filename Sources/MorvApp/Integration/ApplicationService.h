// One Morv for each session: the names that the running one owns on the session bus, and what comes in there.
//
// Protocol    a process asks forwardToRunning() before it opens anything; the one that goes on calls own(),
//             which also decides between two that start at the same moment
// On the bus  "org.morv.Morv" with org.freedesktop.Application at /org/morv/Morv (Desktop Entry
//             Specification, "D-Bus Activation"); "org.freedesktop.FileManager1" at
//             /org/freedesktop/FileManager1, which is taken only while nobody else has it
// Invariants  I1  a name is owned only after its object answers, so no request is lost
//             I2  a request is answered when it has been taken over, not when its folder has been read
// Threading   confined to the main thread; forwardToRunning() and own() wait for the bus
#pragma once

#include "MorvApp/Model/OutsideRequest.h"

#include <QDBusConnection>
#include <QObject>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace morv {

class ApplicationInterface;
class FileManagerInterface;

/// What became of a request that was handed to a running Morv.
struct Forwarding {
    enum class Outcome : std::uint8_t {
        nobody, ///< none is running, or it ended meanwhile, or there is no bus
        done,
        refused ///< `sentence` says why
    };

    Outcome outcome = Outcome::nobody;
    std::string sentence;
};

/// Needs a QCoreApplication, and no display.
Forwarding forwardToRunning(const OutsideRequest& request);

class ApplicationService : public QObject {
    Q_OBJECT

public:
    /// The answer: absent when the request was taken, else the sentence of a refusal.
    using Handler = std::function<std::optional<std::string>(const OutsideRequest&)>;
    enum class Ownership : std::uint8_t {
        owned,
        taken, ///< another process was quicker
        noBus
    };

    explicit ApplicationService(Handler handler, QObject* parent = nullptr);
    ~ApplicationService() override;

    Ownership own();

private:
    void ownFileManager();

    QDBusConnection bus_;
    std::unique_ptr<ApplicationInterface> application_;
    std::unique_ptr<FileManagerInterface> fileManager_;
};

} // namespace morv
