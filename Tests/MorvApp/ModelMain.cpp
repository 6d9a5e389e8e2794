#include "Tests/MorvApp/Support.h"

#include <QCoreApplication>

int main(int argc, char** argv) {
    morv::test::usePrivateHome();
    testing::InitGoogleTest(&argc, argv);
    const QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
