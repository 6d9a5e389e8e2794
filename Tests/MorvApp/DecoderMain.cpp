#include "Tests/MorvApp/Support.h"

#include <QGuiApplication>
#include <cstdlib>

int main(int argc, char** argv) {
    morv::test::usePrivateHome();
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    testing::InitGoogleTest(&argc, argv);
    const QGuiApplication application(argc, argv);
    return morv::test::runTests();
}
