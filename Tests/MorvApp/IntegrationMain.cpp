#include "Tests/MorvApp/SessionBus.h"
#include "Tests/MorvApp/Support.h"

#include <QApplication>
#include <cstdlib>

int main(int argc, char** argv) {
    morv::test::usePrivateHome();
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    testing::InitGoogleTest(&argc, argv);
    // The bus hands its environment to what it starts: the private one stands before the bus does.
    const morv::test::SessionBus bus;
    const QApplication application(argc, argv);
    return morv::test::runTests();
}
