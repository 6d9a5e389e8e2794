#include "Tests/MorvApp/Support.h"

#include <QApplication>
#include <QProcess>
#include <cstdlib>

int main(int argc, char** argv) {
    morv::test::usePrivateHome();
    testing::InitGoogleTest(&argc, argv);
    // The server chooses a free display itself and says which once it is ready for clients.
    QProcess server;
    server.start(QStringLiteral("Xvfb"), {QStringLiteral("-displayfd"), QStringLiteral("1"),
                                          QStringLiteral("-nolisten"), QStringLiteral("tcp")});
    if (!server.waitForReadyRead(20'000))
        return 1;
    setenv("DISPLAY", (":" + server.readLine().trimmed().toStdString()).c_str(), 1);
    setenv("QT_QPA_PLATFORM", "xcb", 1);
    int result = 1;
    {
        const QApplication application(argc, argv);
        result = morv::test::runTests();
    }
    server.kill();
    server.waitForFinished();
    return result;
}
