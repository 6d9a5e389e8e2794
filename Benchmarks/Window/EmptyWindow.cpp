// An empty window of the toolkit, as large as Morv's: what a window costs before anything is in it.
#include <QApplication>
#include <QMainWindow>

int main(int argc, char** argv) {
    const QApplication application(argc, argv);
    QMainWindow window;
    window.resize(1440, 940);
    window.setWindowTitle(QStringLiteral("Empty"));
    window.show();
    return QApplication::exec();
}
