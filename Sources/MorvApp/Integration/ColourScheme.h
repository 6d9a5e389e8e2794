// Whether the desktop asks for dark windows, from the settings portal (org.freedesktop.appearance,
// color-scheme), and when it changes its mind. Without a portal there is no answer and no signal.
// Confined to the main thread; never waits for the bus.
#pragma once

#include <QDBusVariant>
#include <QObject>

namespace morv {

class ColourScheme : public QObject {
    Q_OBJECT

public:
    explicit ColourScheme(QObject* parent = nullptr);

Q_SIGNALS:
    void darkPreferred();
    void lightPreferred();

private Q_SLOTS:
    void settingChanged(const QString& group, const QString& key, const QDBusVariant& value);

private:
    void announce(const QVariant& value);
};

} // namespace morv
