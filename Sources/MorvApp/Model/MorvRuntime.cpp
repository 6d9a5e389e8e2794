#include "MorvApp/Model/MorvRuntime.h"

#include "MorvCore/Platform/UserFolders.h"

#include <string_view>
#include <unistd.h>
#include <utility>

namespace morv {

namespace {

ItemOpener& sharedOpener() {
    static ItemOpener opener;
    return opener;
}

} // namespace

Environment processEnvironment() {
    Environment result;
    for (char** entry = environ; entry && *entry; ++entry) {
        const std::string_view text = *entry;
        if (const auto equals = text.find('='); equals != std::string_view::npos)
            result.emplace(text.substr(0, equals), text.substr(equals + 1));
    }
    return result;
}

MorvServices::MorvServices(Environment given, ItemOpener itemOpener, EngineObservers observers)
    : environment(std::move(given)), directory(dataDirectory(environment)), defaults(defaultsFile()),
      look(defaults), lock_(directory), store(directory.child("Morv.sqlite")),
      engine(store, std::make_shared<SystemTrashProvider>(), std::move(observers)),
      opener(std::move(itemOpener)), layout(defaults, environment), keys(store, pools), library(store, pools),
      tags(store, pools), spaces(pools), insights(pools), thumbnails(pools), appearances(store, pools),
      windows(engine, pools, defaults), trash(pools), tasks_(pools) {
    // The Activity list reports a history that cannot be read; at launch nobody has asked for it.
    tasks_.run(
        TaskLane::reading, [this](const std::stop_token& stop) { engine.history(stop); }, [] {},
        [](const std::exception_ptr&) {});
    // Behind one that was left and is resolved now there may be the next.
    QObject::connect(&trash, &FinderTrashController::leaseEnded, &trash, [this] { presentPendingHandoff(); });
    presentPendingHandoff();
}

void MorvServices::presentPendingHandoff() {
    tasks_.run(
        // The lane on which leases begin and end: what is found here is still so when it is shown.
        TaskLane::records, [this](const std::stop_token&) { return engine.activeExternalMaintenance(); },
        [this](const std::optional<SystemOperationReceipt>& lease) {
            if (lease && lease->status == SystemOperationStatus::requiresReview)
                trash.restorePendingMaintenance(lease->id, lease->outcome.value_or(std::string()),
                                                TrashHandoff::of(engine).end);
        },
        // Every operation says why it cannot run, and the next question asks the engine again.
        [](const std::exception_ptr&) {});
}

FileURL MorvServices::dataDirectory(const Environment& environment) {
    if (const auto directory = value(environment, "MORV_DATA_DIRECTORY"))
        return FileURL::fromArgument(*directory).asFolder();
    return dataHome().child("Morv").asFolder();
}

FileURL MorvServices::defaultsFile() {
    return configurationHome().child("Morv").child("Morv.conf");
}

FileURL MorvServices::firstFolder() const {
    if (const auto start = value(environment, "MORV_START_DIRECTORY")) {
        try {
            return FileURL::fromArgument(*start).asFolder();
        } catch (const PosixError&) {
            // Relative to a folder that is gone: it names nothing.
        }
    }
    const auto place = defaults.firstFolder();
    if (place == FirstFolder::home)
        return homeFolder();
    if (const auto chosen = defaults.chosenFirstFolder(); chosen && place == FirstFolder::chosen)
        return *chosen;
    if (const auto last = defaults.lastLocation(); last && place == FirstFolder::last)
        return *last;
    if (auto downloads = userFolder(UserFolder::downloads))
        return *downloads;
    return homeFolder();
}

MorvRuntime& MorvRuntime::shared() {
    // Never released: workers may still be using the services while the process ends.
    static auto* runtime = new MorvRuntime(processEnvironment(), sharedOpener());
    return *runtime;
}

void MorvRuntime::setSharedOpener(ItemOpener opener) {
    sharedOpener() = std::move(opener);
}

MorvRuntime::MorvRuntime(Environment environment, ItemOpener opener) {
    try {
        services_ = std::make_unique<MorvServices>(std::move(environment), std::move(opener));
    } catch (const std::exception& error) {
        startupError_ = error.what();
    }
}

} // namespace morv
