#include "MorvApp/Model/UserDefaults.h"

#include <QByteArray>
#include <QFile>

namespace morv {

UserDefaults::UserDefaults(const FileURL& file)
    : settings_(QFile::decodeName(QByteArray::fromStdString(file.path())), QSettings::IniFormat) {}

std::optional<FileURL> UserDefaults::lastLocation() const {
    const auto bytes = settings_.value(QStringLiteral("lastLocation")).toByteArray();
    if (!bytes.startsWith('/'))
        return std::nullopt;
    return FileURL::folder(bytes.toStdString());
}

void UserDefaults::setLastLocation(const FileURL& folder) {
    settings_.setValue(QStringLiteral("lastLocation"), QByteArray::fromStdString(folder.path()));
}

std::string UserDefaults::appearance() const {
    return settings_.value(QStringLiteral("appearance.preference.v2"), QStringLiteral("system"))
        .toString()
        .toStdString();
}

} // namespace morv
