#include "MorvApp/Views/Window/SystemClipboard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>

namespace morv {

SystemClipboard::SystemClipboard(QObject* parent) : QObject(parent) {
    connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, this, [this] { ++changes_; });
}

bool SystemClipboard::write(const Contents& contents) {
    auto* data = new QMimeData;
    for (const auto& [type, bytes] : contents)
        data->setData(QString::fromStdString(type), QByteArray::fromStdString(bytes));
    QGuiApplication::clipboard()->setMimeData(data);
    return QGuiApplication::clipboard()->ownsClipboard();
}

std::optional<std::string> SystemClipboard::read(const std::string& type) const {
    const auto* data = QGuiApplication::clipboard()->mimeData();
    const auto name = QString::fromStdString(type);
    if (!data || !data->hasFormat(name))
        return std::nullopt;
    return data->data(name).toStdString();
}

} // namespace morv
