#include "MorvApp/Views/Theme/Theme.h"
#include "Tests/MorvApp/Support.h"

#include <QApplication>
#include <cstdlib>

int main(int argc, char** argv) {
    morv::test::usePrivateHome();
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    testing::InitGoogleTest(&argc, argv);
    const QApplication application(argc, argv);
    morv::Theme::shared().apply(morv::Appearance::light);
    return RUN_ALL_TESTS();
}
