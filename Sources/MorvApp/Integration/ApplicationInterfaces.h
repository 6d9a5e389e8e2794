// The two interfaces of ApplicationService, as Qt exports them: slots named as the methods are.
#pragma once

#include "MorvApp/Integration/ApplicationService.h"

#include <QDBusContext>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>

namespace morv {

/// Hands requests on and words a refusal as an error of the bus.
class RequestReceiver : public QObject, protected QDBusContext {
    Q_OBJECT

public:
    explicit RequestReceiver(const ApplicationService::Handler& handler) : handler_(handler) {}

protected:
    void take(OutsideRequest request);

private:
    ApplicationService::Handler handler_;
};

/// org.freedesktop.Application.
class ApplicationInterface : public RequestReceiver {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    using RequestReceiver::RequestReceiver;

public Q_SLOTS:
    Q_SCRIPTABLE void Activate(const QVariantMap& platformData);
    Q_SCRIPTABLE void Open(const QStringList& uris, const QVariantMap& platformData);
    /// "new-window", with a list of URLs or nothing. Other actions are ignored.
    Q_SCRIPTABLE void ActivateAction(const QString& name, const QVariantList& parameter,
                                     const QVariantMap& platformData);
};

/// org.freedesktop.FileManager1.
class FileManagerInterface : public RequestReceiver {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")

public:
    using RequestReceiver::RequestReceiver;

public Q_SLOTS:
    Q_SCRIPTABLE void ShowFolders(const QStringList& uris, const QString& startupID);
    Q_SCRIPTABLE void ShowItems(const QStringList& uris, const QString& startupID);
    Q_SCRIPTABLE void ShowItemProperties(const QStringList& uris, const QString& startupID);
};

} // namespace morv
