#include "MorvApp/Views/Window/SystemClipboard.h"

#include <QClipboard>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QMimeData>

namespace morv {

namespace {

/// An answer that took this long was none: milliseconds.
constexpr qint64 patience = 4'000;

} // namespace

SystemClipboard::SystemClipboard(QObject* parent) : QObject(parent) {
    connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, this, [this] {
        ++changes_;
        formats_.reset();
    });
}

bool SystemClipboard::write(const Contents& contents) {
    auto* data = new QMimeData;
    for (const auto& [type, bytes] : contents)
        data->setData(QString::fromStdString(type), QByteArray::fromStdString(bytes));
    QGuiApplication::clipboard()->setMimeData(data);
    formats_.reset();
    return QGuiApplication::clipboard()->ownsClipboard();
}

const QStringList& SystemClipboard::formats() const {
    if (!formats_) {
        const auto* data = QGuiApplication::clipboard()->mimeData();
        formats_ = data ? data->formats() : QStringList();
    }
    return *formats_;
}

std::optional<std::string> SystemClipboard::read(const std::string& type) const {
    auto name = QString::fromStdString(type);
    // Qt's own name for the text that every program offers.
    if (!formats().contains(name) && type == FileClipboard::plainTextType)
        name = QStringLiteral("text/plain");
    const auto* data = formats().contains(name) ? QGuiApplication::clipboard()->mimeData() : nullptr;
    if (!data)
        return std::nullopt;
    QElapsedTimer waited;
    waited.start();
    auto bytes = data->data(name).toStdString();
    if (bytes.empty() && waited.elapsed() >= patience)
        formats_ = QStringList();
    return bytes;
}

} // namespace morv
