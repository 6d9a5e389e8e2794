#include "MorvApp/Integration/Applications.h"
#include "MorvApp/Integration/ColourScheme.h"
#include "MorvApp/Model/MorvRuntime.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvApp/Views/Window/MainWindow.h"
#include "MorvApp/Views/Window/StartupFailureView.h"
#include "MorvApp/Views/Window/SystemClipboard.h"
#include "MorvCore/Foundation/Errors.h"

#include <QApplication>
#include <QIcon>
#include <cstdio>
#include <optional>
#include <string_view>

namespace {

/// The user's own choice stands; otherwise the desktop's, now and whenever it changes.
void followAppearance(morv::MorvRuntime& runtime, QObject& owner) {
    using morv::Appearance;
    auto& theme = morv::Theme::shared();
    const auto chosen = runtime.services() ? runtime.services()->defaults.appearance() : "system";
    if (chosen == "light" || chosen == "dark")
        return theme.apply(chosen == "dark" ? Appearance::dark : Appearance::light);
    theme.apply(morv::Theme::ofPlatform());
    auto* scheme = new morv::ColourScheme(&owner);
    const auto follow = [&theme](Appearance wanted) {
        if (theme.appearance() != wanted)
            theme.apply(wanted);
    };
    QObject::connect(scheme, &morv::ColourScheme::darkPreferred, &theme,
                     [follow] { follow(Appearance::dark); });
    QObject::connect(scheme, &morv::ColourScheme::lightPreferred, &theme,
                     [follow] { follow(Appearance::light); });
}

} // namespace

int main(int argc, char** argv) {
    std::optional<morv::FileURL> folder;
    QApplication::setApplicationName(QStringLiteral("Morv"));
    QApplication::setDesktopFileName(QStringLiteral("org.morv.Morv"));
    QApplication application(argc, argv);
    if (argc > 2 || (argc == 2 && std::string_view(argv[1]).starts_with("--"))) {
        const bool asked = argc == 2 && std::string_view(argv[1]) == "--help";
        std::fputs("Usage: morv [FOLDER]\n", asked ? stdout : stderr);
        return asked ? 0 : 2;
    }
    try {
        if (argc == 2)
            folder = morv::FileURL::fromArgument(argv[1]).asFolder();
    } catch (const morv::PosixError& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 3;
    }

    morv::MorvRuntime::setSharedOpener(morv::openWithDefaultApplication);
    auto& runtime = morv::MorvRuntime::shared();
    followAppearance(runtime, application);
    if (!runtime.services()) {
        morv::StartupFailureView failure(runtime.startupError().value_or(std::string()));
        failure.show();
        return QApplication::exec();
    }
    morv::SystemClipboard clipboard;
    morv::MainWindow window(*runtime.services(), clipboard, folder);
    window.show();
    return QApplication::exec();
}
