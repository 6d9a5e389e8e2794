#include "MorvApp/Integration/ApplicationService.h"
#include "MorvApp/Integration/Applications.h"
#include "MorvApp/Integration/DecoderProcess.h"
#include "MorvApp/Integration/DefaultFolderHandler.h"
#include "MorvApp/Integration/DesktopApplications.h"
#include "MorvApp/Integration/DesktopPreferences.h"
#include "MorvApp/Integration/DesktopToolLauncher.h"
#include "MorvApp/Integration/MailSender.h"
#include "MorvApp/Integration/ProcessLife.h"
#include "MorvApp/Integration/ServerMounts.h"
#include "MorvApp/Integration/SharedThumbnails.h"
#include "MorvApp/Integration/SystemTrashService.h"
#include "MorvApp/Integration/SystemVolumes.h"
#include "MorvApp/Model/LaunchArguments.h"
#include "MorvApp/Model/MorvRuntime.h"
#include "MorvApp/Views/Settings/SettingsPresenter.h"
#include "MorvApp/Views/Sheets/TrashBand.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvApp/Views/Window/ManagedFileWindow.h"
#include "MorvApp/Views/Window/StartupFailureView.h"
#include "MorvApp/Views/Window/SystemClipboard.h"
#include "MorvCore/Platform/UserFolders.h"

#include <QApplication>
#include <QFile>
#include <QIcon>
#include <QMessageBox>
#include <QSessionManager>
#include <QTimer>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace {

using morv::ApplicationService;
using morv::Forwarding;
using morv::LaunchArguments;
using morv::OutsideRequest;

namespace ExitStatus {
constexpr int done = 0;
constexpr int badUsage = 2;
constexpr int refused = 3;
} // namespace ExitStatus

constexpr const char* endingSentence =
    "Morv is ending and waits for its last operation. Start it again when that has ended.";

/// The user's own choice stands; otherwise the desktop's, now and whenever it changes.
void followLook(morv::MorvServices& services, QObject& owner) {
    auto& look = services.look;
    look.setPlatformAppearance(morv::Theme::ofPlatform());
    auto* desktop = new morv::DesktopPreferences(services.pools, &owner);
    QObject::connect(desktop, &morv::DesktopPreferences::changed, &look,
                     [&look, desktop] { look.setDesktop(desktop->look()); });
    morv::Theme::shared().follow(look);
}

/// A session with places of its own has nothing to do with the user's, and is not reached by the same name.
bool runsAlone(const morv::Environment& environment) {
    return environment.contains("MORV_DATA_DIRECTORY") || environment.contains("MORV_START_DIRECTORY") ||
           environment.contains("MORV_DESKTOP_DIRECTORY");
}

std::string activationToken(const morv::Environment& environment) {
    for (const auto* name : {"XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID"})
        if (auto token = morv::value(environment, name); token && !token->empty())
            return *token;
    return {};
}

/// The exit status, when the running Morv has the request or refuses it.
std::optional<int> ended(const Forwarding& forwarding) {
    if (forwarding.outcome == Forwarding::Outcome::nobody)
        return std::nullopt;
    if (forwarding.outcome == Forwarding::Outcome::done)
        return ExitStatus::done;
    std::fprintf(stderr, "%s\n", forwarding.sentence.c_str());
    return ExitStatus::refused;
}

/// Tells when the window was drawn for the first time, and goes.
class FirstPicture : public QObject {
public:
    FirstPicture(QWidget& window, std::function<void()> drawn) : QObject(&window), drawn_(std::move(drawn)) {
        window.installEventFilter(this);
    }
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint) {
            watched->removeEventFilter(this);
            // The picture is on its way when this event has been handled.
            QTimer::singleShot(0, this, [this] {
                drawn_();
                deleteLater();
            });
        }
        return QObject::eventFilter(watched, event);
    }

private:
    std::function<void()> drawn_;
};

/// The process with its windows, or with the reason why there are none.
class Morv : public QObject {
public:
    explicit Morv(LaunchArguments arguments) : arguments_(std::move(arguments)) {}

    /// Absent when the event loop is to run; else the exit status.
    std::optional<int> start(bool alone) {
        if (!alone) {
            service_.emplace([this](const OutsideRequest& request) { return take(request); });
            const auto ownership = service_->own();
            if (ownership == ApplicationService::Ownership::taken &&
                arguments_.mode == LaunchArguments::Mode::service)
                return ExitStatus::done;
            if (ownership == ApplicationService::Ownership::taken)
                return ended(morv::forwardToRunning(arguments_.request)).value_or(ExitStatus::refused);
            isReachable_ = ownership == ApplicationService::Ownership::owned;
        }
        morv::MorvRuntime::setSharedOpener(morv::openWithDefaultApplication);
        auto& runtime = morv::MorvRuntime::shared();
        services_ = runtime.services();
        if (services_) {
            followLook(*services_, *this);
            openWindows();
        } else {
            morv::Theme::shared().apply(morv::Theme::ofPlatform());
            showFailure(runtime.startupError().value_or(std::string()));
        }
        return std::nullopt;
    }

private:
    void showFailure(const std::string& sentence) {
        std::fprintf(stderr, "%s\n", sentence.c_str());
        failure_.emplace(sentence);
        failure_->show();
    }

    void openWindows() {
        auto& windows = services_->windows;
        QApplication::setQuitOnLastWindowClosed(false);
        life_.emplace(windows, services_->engine, morv::ProcessLife::Limits());
        services_->toolLauncher = std::make_shared<morv::DesktopToolLauncher>();
        services_->applications = std::make_shared<morv::DesktopApplications>();
        settings_.emplace(*services_);
        connect(&*life_, &morv::ProcessLife::endingBegan, &*settings_, &morv::SettingsPresenter::close);
        // Who opens folders is the user's choice; a session with places of its own does not make it.
        if (!runsAlone(services_->environment))
            services_->folderHandler = std::make_shared<morv::DesktopFolderHandler>(
                morv::FileURL::fromPath(
                    QFile::encodeName(QCoreApplication::applicationFilePath()).toStdString()),
                morv::MorvServices::defaultsFile());
        services_->itemSender = std::make_shared<morv::MailSender>();
        const auto decoder = std::make_shared<morv::DecoderProcess>(morv::DecoderLimits::standard());
        services_->mediaDecoder = decoder;
        services_->textHighlighter = decoder;
        services_->thumbnails.setMaker(std::make_shared<morv::SharedThumbnails>(
            services_->mediaDecoder, morv::cacheHome().child("thumbnails"), MORV_VERSION));
        volumes_.emplace(services_->pools);
        windows.setVolumes(&*volumes_);
        servers_.emplace(services_->pools);
        services_->servers = &*servers_;
        services_->trash.setOperations(
            {morv::emptyTrashAlert(), morv::trashFinishedAlert(),
             [](const std::stop_token& stop) { morv::emptySystemTrash(morv::emptyTrashLimit, stop); },
             morv::openSystemTrash});
        connect(&*life_, &morv::ProcessLife::endingBegan, &services_->trash,
                &morv::FinderTrashController::cancelRequest);
        windows.setReachable(isReachable_);
        windows.setFactory([this](const std::optional<morv::FileURL>& at) {
            auto* window = new morv::ManagedFileWindow(*services_, clipboard_, at);
            connect(window, &morv::ManagedFileWindow::closed, &*life_, &morv::ProcessLife::review);
            connect(&*life_, &morv::ProcessLife::endingBegan, window, &QWidget::hide);
            new FirstPicture(*window, [this] { volumes_->begin(); });
            return window;
        });
        connect(qApp, &QGuiApplication::commitDataRequest, this, &Morv::sessionEnds);
        if (arguments_.mode == LaunchArguments::Mode::service)
            return life_->awaitRequest();
        windows.handle(arguments_.request);
        // What names no file opens nothing, and a process for nothing does not stay.
        life_->awaitRequest();
    }

    std::optional<std::string> take(const OutsideRequest& request) {
        if (life_ && life_->isEnding())
            return endingSentence;
        // Where windows need a token to come forward, Qt takes it from here, once.
        if (!request.activationToken.empty() &&
            QGuiApplication::platformName().startsWith(QLatin1String("wayland")))
            qputenv("XDG_ACTIVATION_TOKEN", QByteArray::fromStdString(request.activationToken));
        if (services_) {
            services_->windows.handle(request);
        } else if (failure_) {
            failure_->raise();
            failure_->activateWindow();
        }
        return std::nullopt;
    }

    /// The session manager asks before it ends the session; an operation under way is a reason against it.
    void sessionEnds(QSessionManager& manager) {
        const auto answer = services_->windows.applicationShouldTerminate();
        if (answer.verdict != morv::QuitAnswer::Verdict::refuse || !manager.allowsInteraction())
            return;
        QMessageBox box(QMessageBox::Information, QStringLiteral("Morv"),
                        QString::fromStdString(answer.title));
        box.setInformativeText(QString::fromStdString(answer.text));
        box.addButton(QString::fromStdString(answer.buttons.front()), QMessageBox::AcceptRole);
        box.exec();
        manager.release();
        manager.cancel();
    }

    LaunchArguments arguments_;
    bool isReachable_ = false;
    morv::MorvServices* services_ = nullptr;
    morv::SystemClipboard clipboard_;
    std::optional<ApplicationService> service_;
    std::optional<morv::ProcessLife> life_;
    std::optional<morv::SettingsPresenter> settings_;
    std::optional<morv::SystemVolumes> volumes_;
    std::optional<morv::ServerMounts> servers_;
    std::optional<morv::StartupFailureView> failure_;
};

} // namespace

int main(int argc, char** argv) {
    const auto environment = morv::processEnvironment();
    LaunchArguments arguments;
    try {
        arguments = morv::parseLaunchArguments({argv + 1, argv + argc});
    } catch (const morv::LaunchError& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return ExitStatus::badUsage;
    }
    if (arguments.mode == LaunchArguments::Mode::help || arguments.mode == LaunchArguments::Mode::version) {
        std::fputs(arguments.mode == LaunchArguments::Mode::help ? morv::launchHelp().c_str()
                                                                 : "Morv " MORV_VERSION "\n",
                   stdout);
        return ExitStatus::done;
    }
    arguments.request.activationToken = activationToken(environment);
    const bool alone = runsAlone(environment);
    if (!alone && arguments.mode != LaunchArguments::Mode::service) {
        // Without a display: a second start is over before a window system has heard of it.
        int count = argc;
        const QCoreApplication gate(count, argv);
        if (const auto status = ended(morv::forwardToRunning(arguments.request))) {
            // The bus's own thread may still be at work, and must not find Qt's statics gone.
            std::fflush(nullptr);
            std::_Exit(*status);
        }
    }
    QApplication::setApplicationName(QStringLiteral("Morv"));
    QApplication::setApplicationVersion(QStringLiteral(MORV_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("org.morv.Morv"));
    const QApplication application(argc, argv);
    QApplication::setWindowIcon(QIcon::fromTheme(QStringLiteral("org.morv.Morv")));
    Morv morv(std::move(arguments));
    if (const auto status = morv.start(alone))
        return *status;
    const int status = QApplication::exec();
    // The services are never released: what was chosen in the last second is still to be written.
    if (auto* services = morv::MorvRuntime::shared().services())
        services->defaults.save();
    return status;
}
