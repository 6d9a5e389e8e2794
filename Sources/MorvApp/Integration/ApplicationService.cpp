#include "MorvApp/Integration/ApplicationService.h"

#include "MorvApp/Integration/ApplicationInterfaces.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusServiceWatcher>
#include <utility>

namespace morv {

namespace {

using Kind = OutsideRequest::Kind;

constexpr QLatin1String applicationName("org.morv.Morv");
constexpr QLatin1String applicationPath("/org/morv/Morv");
constexpr QLatin1String applicationInterface("org.freedesktop.Application");
constexpr QLatin1String fileManagerName("org.freedesktop.FileManager1");
constexpr QLatin1String fileManagerPath("/org/freedesktop/FileManager1");
constexpr QLatin1String refusal("org.morv.Morv.Error.Refused");
constexpr QLatin1String newWindowAction("new-window");
// One name for each of the two systems of activation.
constexpr QLatin1String activationToken("activation-token");
constexpr QLatin1String startupID("desktop-startup-id");
/// A process that starts on a slow disk is still given the time to answer.
constexpr int patience = 15'000;

std::vector<std::string> strings(const QStringList& list) {
    std::vector<std::string> result;
    for (const auto& each : list)
        result.push_back(each.toStdString());
    return result;
}

std::string token(const QVariantMap& platformData) {
    for (const auto key : {activationToken, startupID})
        if (const auto text = platformData.value(key).toString(); !text.isEmpty())
            return text.toStdString();
    return {};
}

QDBusMessage message(const OutsideRequest& request) {
    QStringList urls;
    for (const auto& url : request.urls)
        urls << QString::fromStdString(url);
    QVariantMap platformData;
    if (!request.activationToken.empty()) {
        platformData[activationToken] = QString::fromStdString(request.activationToken);
        platformData[startupID] = QString::fromStdString(request.activationToken);
    }
    const auto call = [](const char* method) {
        return QDBusMessage::createMethodCall(applicationName, applicationPath, applicationInterface,
                                              QLatin1String(method));
    };
    switch (request.kind) {
    case Kind::newWindow: {
        auto action = call("ActivateAction");
        action << QString(newWindowAction) << (urls.isEmpty() ? QVariantList() : QVariantList{urls})
               << platformData;
        return action;
    }
    case Kind::activate: {
        auto activate = call("Activate");
        activate << platformData;
        return activate;
    }
    default: {
        auto open = call("Open");
        open << urls << platformData;
        return open;
    }
    }
}

bool isRunning(const QDBusConnection& bus) {
    return bus.isConnected() && bus.interface()->isServiceRegistered(applicationName).value();
}

Forwarding forwardOn(const QDBusConnection& bus, const OutsideRequest& request) {
    if (!isRunning(bus))
        return {};
    auto call = message(request);
    call.setAutoStartService(false);
    const auto reply = bus.call(call, QDBus::Block, patience);
    if (reply.type() == QDBusMessage::ReplyMessage)
        return {Forwarding::Outcome::done, {}};
    if (reply.errorName() == refusal)
        return {Forwarding::Outcome::refused, reply.errorMessage().toStdString()};
    if (isRunning(bus))
        return {Forwarding::Outcome::refused, "Morv is already running but does not answer."};
    return {};
}

} // namespace

Forwarding forwardToRunning(const OutsideRequest& request) {
    // A connection of its own: what is made before the application's event loop must not outlive it.
    const auto name = QStringLiteral("morv-forward");
    const auto result = forwardOn(QDBusConnection::connectToBus(QDBusConnection::SessionBus, name), request);
    QDBusConnection::disconnectFromBus(name);
    return result;
}

void RequestReceiver::take(OutsideRequest request) {
    if (const auto refused = handler_(request); refused && calledFromDBus())
        sendErrorReply(refusal, QString::fromStdString(*refused));
}

void ApplicationInterface::Activate(const QVariantMap& platformData) {
    take({Kind::activate, {}, token(platformData)});
}

void ApplicationInterface::Open(const QStringList& uris, const QVariantMap& platformData) {
    take({Kind::open, strings(uris), token(platformData)});
}

void ApplicationInterface::ActivateAction(const QString& name, const QVariantList& parameter,
                                          const QVariantMap& platformData) {
    if (name == newWindowAction)
        take({Kind::newWindow,
              parameter.isEmpty() ? std::vector<std::string>() : strings(parameter.front().toStringList()),
              token(platformData)});
}

void FileManagerInterface::ShowFolders(const QStringList& uris, const QString& startup) {
    take({Kind::open, strings(uris), startup.toStdString()});
}

void FileManagerInterface::ShowItems(const QStringList& uris, const QString& startup) {
    take({Kind::showItems, strings(uris), startup.toStdString()});
}

void FileManagerInterface::ShowItemProperties(const QStringList& uris, const QString& startup) {
    take({Kind::showProperties, strings(uris), startup.toStdString()});
}

ApplicationService::ApplicationService(Handler handler, QObject* parent)
    : QObject(parent), bus_(QDBusConnection::sessionBus()),
      application_(std::make_unique<ApplicationInterface>(handler)),
      fileManager_(std::make_unique<FileManagerInterface>(handler)) {}

ApplicationService::~ApplicationService() = default;

ApplicationService::Ownership ApplicationService::own() {
    if (!bus_.isConnected())
        return Ownership::noBus;
    bus_.registerObject(applicationPath, application_.get(), QDBusConnection::ExportScriptableSlots);
    bus_.registerObject(fileManagerPath, fileManager_.get(), QDBusConnection::ExportScriptableSlots);
    if (!bus_.registerService(applicationName)) {
        bus_.unregisterObject(applicationPath);
        bus_.unregisterObject(fileManagerPath);
        return Ownership::taken;
    }
    ownFileManager();
    // Another file manager may have it for as long as it runs; queueing for it would take it by surprise.
    auto* watcher =
        new QDBusServiceWatcher(fileManagerName, bus_, QDBusServiceWatcher::WatchForUnregistration, this);
    connect(watcher, &QDBusServiceWatcher::serviceUnregistered, this, &ApplicationService::ownFileManager);
    return Ownership::owned;
}

void ApplicationService::ownFileManager() {
    bus_.interface()->registerService(fileManagerName, QDBusConnectionInterface::DontQueueService,
                                      QDBusConnectionInterface::DontAllowReplacement);
}

} // namespace morv
