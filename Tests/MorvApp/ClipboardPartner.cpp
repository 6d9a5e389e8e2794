// Another program at the clipboard, told what to do by its arguments:
//     offer TYPE FILE [TYPE FILE]…   owns the clipboard with the files' bytes, until it is killed
//     read FOLDER TYPE…              writes what the clipboard offers into FOLDER/0, FOLDER/1, …
// It prints "ready" when that is done.
#include <QClipboard>
#include <QFile>
#include <QGuiApplication>
#include <QMimeData>
#include <cstdio>

int main(int argc, char** argv) {
    const QGuiApplication application(argc, argv);
    const auto arguments = QGuiApplication::arguments();
    auto* clipboard = QGuiApplication::clipboard();
    if (arguments.value(1) == QStringLiteral("read")) {
        for (qsizetype i = 3; i < arguments.size(); ++i) {
            QFile file(arguments[2] + QLatin1Char('/') + QString::number(i - 3));
            if (!file.open(QIODevice::WriteOnly) || !clipboard->mimeData()->hasFormat(arguments[i]))
                return 1;
            file.write(clipboard->mimeData()->data(arguments[i]));
        }
        std::puts("ready");
        return 0;
    }
    auto* data = new QMimeData;
    for (qsizetype i = 2; i + 1 < arguments.size(); i += 2) {
        QFile file(arguments[i + 1]);
        if (!file.open(QIODevice::ReadOnly))
            return 1;
        data->setData(arguments[i], file.readAll());
    }
    clipboard->setMimeData(data);
    std::puts("ready");
    std::fflush(stdout);
    return QGuiApplication::exec();
}
