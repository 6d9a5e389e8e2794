#include "MorvCommand/Commands.h"

#include "MorvCommand/Interruption.h"
#include "MorvCommand/Presentation.h"
#include "MorvCommand/ProgressLine.h"
#include "MorvCommand/RecordCommands.h"
#include "MorvCore/Folders/DirectoryEventMonitor.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Inspection/DeveloperTools.h"
#include "MorvCore/Inspection/FolderInsights.h"
#include "MorvCore/Operations/OperationFiles.h"
#include "MorvCore/Operations/SafeArchiveService.h"
#include "MorvCore/Operations/TreePass.h"
#include "MorvCore/Platform/Descriptor.h"
#include "MorvCore/Records/SQLiteStore.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <fmt/format.h>
#include <optional>
#include <string>
#include <string_view>
#include <unistd.h>

namespace morv {

namespace {

void print(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size())
        throw PosixError(errno, "standard output");
}

void printLine(std::string_view text) {
    print(text);
    print("\n");
}

// Draws what the engine tells until it is gone. The engine wakes from whichever thread counts, so taking and
// drawing are one step; a wake-up that is under way may outlive the stream, so what it uses is shared.
class ProgressReader {
public:
    ProgressReader(FileOperationEngine& engine, ProgressLine& line)
        : shared_(std::make_shared<Shared>()), line_(line) {
        auto stream = engine.progress([shared = shared_, &line] {
            const MutexLock lock(shared->mutex);
            while (const auto moment = shared->stream ? shared->stream->take() : std::nullopt)
                line.show(*moment);
        });
        const MutexLock lock(shared_->mutex);
        shared_->stream = std::move(stream);
    }
    ~ProgressReader() {
        {
            const MutexLock lock(shared_->mutex);
            shared_->stream.reset();
        }
        line_.erase();
    }
    ProgressReader(const ProgressReader&) = delete;
    ProgressReader& operator=(const ProgressReader&) = delete;

private:
    struct Shared {
        Mutex mutex;
        std::unique_ptr<EngineStream<OperationProgress>> stream MORV_GUARDED_BY(mutex);
    };

    const std::shared_ptr<Shared> shared_;
    ProgressLine& line_;
};

class Command {
public:
    Command(const CommandLine& line, const Interruption& interruption)
        : line_(line), interruption_(interruption) {}

    int list() const {
        const auto entries =
            DirectoryService().entries(line_.paths.front(), line_.hidden, interruption_.token());
        if (json()) {
            printLine(jsonArray(entries));
        } else {
            for (const auto& entry : entries)
                print(listingLine(entry));
        }
        return ExitStatus::done;
    }

    int search() const {
        const auto result = SearchService().search(line_.search, interruption_.token());
        if (json())
            printLine(toJSON(result));
        else
            print(searchText(result));
        return ExitStatus::done;
    }

    int watch() const {
        const auto& folder = line_.paths.front();
        DirectoryEventMonitor monitor;
        const auto watch = monitor.watch(folder);
        fmt::print(stderr, "Watching.\n");
        while (watch->next(interruption_.token()) == DirectoryWatch::Signal::changed) {
            printLine(json() ? fmt::format("{{\"url\":\"{}\"}}", folder.asFolder().absoluteString())
                             : displayText(folder.path()));
            if (std::fflush(stdout) != 0)
                throw PosixError(errno, "standard output");
        }
        return ExitStatus::done;
    }

    int archive() const {
        const auto& file = line_.paths.front();
        std::size_t count = 0;
        std::uint64_t size = 0;
        // Printed as they come: nothing comes before the whole archive has passed.
        SafeArchiveService::entries(file, interruption_.token(), [&](const auto& entry) {
            if (json())
                print((count == 0 ? "[" : ",") + toJSON(entry));
            else if (line_.verb == Verb::listArchive)
                print(archiveLine(entry));
            ++count;
            size += entry.size;
        });
        if (json())
            printLine(count == 0 ? "[]" : "]");
        else if (line_.verb == Verb::checkArchive)
            print(archiveText(count, size));
        return ExitStatus::done;
    }

    int info() const {
        std::vector<FileEntry> entries;
        for (const auto& path : line_.paths)
            entries.push_back(DirectoryService::entry(path));
        if (json()) {
            printLine(jsonArray(entries));
        } else {
            for (const auto& entry : entries)
                print(infoText(entry));
        }
        return ExitStatus::done;
    }

    int fingerprint() {
        ProgressMeter meter(UUID::random(), ProgressMeter::Items::found, observer());
        const ReadingContext reading{.stop = interruption_.token(), .progress = &meter};
        std::vector<FileFingerprint> fingerprints;
        for (const auto& path : line_.paths)
            fingerprints.push_back(readFingerprint(OperationFiles::normalized(path), reading));
        progress_.erase();
        if (json()) {
            printLine(jsonArray(fingerprints));
        } else {
            for (std::size_t i = 0; i < fingerprints.size(); ++i)
                print(fingerprintText(line_.paths[i], fingerprints[i]));
        }
        return ExitStatus::done;
    }

    int plan() {
        const auto plan = planOperation(line_.request, nullptr, interruption_.token(), observer());
        progress_.erase();
        print(planAnswer(plan));
        return ExitStatus::done;
    }

    int run() {
        Journal journal(line_.dataDirectory);
        refuseDuringHandoff(journal.engine);
        const auto plan = journal.engine.plan(line_.request, interruption_.token(), observer());
        progress_.erase();
        if (plan.requiresReview() && line_.review == Review::ask) {
            if (!canAsk()) {
                print(planAnswer(plan));
                fmt::print(stderr,
                           "This plan needs review. Nothing was changed. Repeat with --yes to accept it.\n");
                return ExitStatus::needsReview;
            }
            if (!accepted(plan)) {
                if (json())
                    print(planAnswer(plan));
                return interruption_.signal() != 0 ? ExitStatus::stopped(interruption_.signal())
                                                   : ExitStatus::needsReview;
            }
        } else if (!json()) {
            print(planText(plan));
        }
        return execute(journal.engine, plan);
    }

    int executePlanFile() {
        FileOperationPlan plan;
        fromJSON(planDocument(), plan);
        Journal journal(line_.dataDirectory);
        refuseDuringHandoff(journal.engine);
        return execute(journal.engine, plan);
    }

    int undo() {
        Journal journal(line_.dataDirectory);
        refuseDuringHandoff(journal.engine);
        auto id = line_.operation;
        if (!id) {
            const auto receipts = journal.engine.history(interruption_.token());
            const auto newest =
                std::ranges::find_if(receipts, [](const auto& receipt) { return receipt.canUndo(); });
            if (newest == receipts.end())
                throw FileOperationError::unavailable("There is no operation that can be undone.");
            id = newest->id;
        }
        return answer(
            withProgress(journal.engine, [&] { return journal.engine.undo(*id, interruption_.token()); }));
    }

    int history() const {
        Journal journal(line_.dataDirectory);
        const auto receipts = journal.engine.history(interruption_.token());
        if (json()) {
            printLine(jsonArray(receipts));
        } else {
            for (const auto& receipt : receipts)
                print(historyText(receipt));
        }
        return ExitStatus::done;
    }

    int handoffs() const {
        Journal journal(line_.dataDirectory);
        const auto handoffs = journal.engine.externalHistory(interruption_.token());
        if (json()) {
            printLine(jsonArray(handoffs));
        } else {
            for (const auto& handoff : handoffs)
                print(handoffText(handoff));
        }
        return ExitStatus::done;
    }

    int acknowledgeHandoff() const {
        Journal journal(line_.dataDirectory);
        journal.engine.endExternalMaintenance(line_.handoff, line_.outcome);
        const auto handoffs = journal.engine.externalHistory();
        const auto ended = std::ranges::find(handoffs, line_.handoff, &SystemOperationReceipt::id);
        if (ended != handoffs.end())
            print(json() ? toJSON(*ended) + "\n" : handoffText(*ended));
        return ExitStatus::done;
    }

    int downloads() const {
        const auto snapshot = SmartDownloadsService().scan(
            line_.paths.front(), SmartDownloadsOptions(line_.downloads), interruption_.token());
        print(json() ? toJSON(snapshot) + "\n" : downloadsText(snapshot));
        return ExitStatus::done;
    }

    int tidy() const {
        const auto plan = TidyPlanner::plan(
            DirectoryService().entries(line_.paths.front(), line_.hidden, interruption_.token()),
            line_.tidyDestination);
        print(json() ? toJSON(plan) + "\n" : tidyText(plan));
        return ExitStatus::done;
    }

    int git() const {
        const auto status =
            GitStatusService().status(line_.paths.front(), line_.gitTimeout, interruption_.token());
        if (json())
            printLine(status ? toJSON(*status) : "null");
        else
            print(status ? gitText(*status) : "This folder is in no Git repository.\n");
        return ExitStatus::done;
    }

    int insight() const {
        const auto& folder = line_.paths.front();
        const auto insight = FolderInsightScanner::read(folder, interruption_.token());
        print(json() ? toJSON(insight) + "\n" : insightText(folder, insight));
        return insight.error ? ExitStatus::unfinished : ExitStatus::done;
    }

private:
    /// The lock before the store before the engine, and the other way round at the end.
    struct Journal {
        explicit Journal(const FileURL& directory)
            : lock(directory), store(directory.child("Morv.sqlite")), engine(store) {}

        DataDirectoryLock lock;
        SQLiteStore store;
        FileOperationEngine engine;
    };

    /// The engine would wait for a handoff that an earlier process left, and that one cannot end while this
    /// process holds the data directory: it would be for ever.
    static void refuseDuringHandoff(FileOperationEngine& engine) {
        if (const auto lease = engine.activeExternalMaintenance())
            throw FileOperationError::unavailable(handoffRefusal(*lease));
    }

    bool json() const { return line_.output == OutputForm::json; }

    ProgressMeter::Observer observer() {
        return [this](const OperationProgress& progress) { progress_.show(progress); };
    }

    std::string planAnswer(const FileOperationPlan& plan) const {
        return json() ? toJSON(plan) + "\n" : planText(plan);
    }

    static bool canAsk() { return isatty(STDIN_FILENO) == 1 && isatty(STDERR_FILENO) == 1; }

    bool accepted(const FileOperationPlan& plan) const {
        fmt::print(stderr, "{}Carry out this plan? [y/N] ", planText(plan));
        std::fflush(stderr);
        if (interruption_.awaitInput(STDIN_FILENO) == Interruption::Input::interrupted)
            return false;
        char reply = 'n';
        return read(STDIN_FILENO, &reply, 1) == 1 && (reply == 'y' || reply == 'Y');
    }

    std::string planDocument() const {
        constexpr std::size_t limit = 512U << 20U;
        Descriptor opened;
        int input = STDIN_FILENO;
        if (line_.planFile != "-") {
            opened = Descriptor(open(line_.planFile.c_str(), O_RDONLY | O_CLOEXEC));
            if (!opened)
                throw PosixError(errno, line_.planFile);
            input = opened.get();
        }
        std::string text;
        std::array<char, 65536> piece{};
        for (;;) {
            if (interruption_.awaitInput(input) == Interruption::Input::interrupted)
                throw CancellationError();
            const auto count = read(input, piece.data(), piece.size());
            if (count == 0)
                return text;
            if (count < 0 && errno != EINTR)
                throw PosixError(errno, line_.planFile);
            if (count > 0)
                text.append(piece.data(), static_cast<std::size_t>(count));
            if (text.size() > limit)
                throw FileOperationError::unsupported("The plan is too large.");
        }
    }

    template <class Work>
    OperationReceipt withProgress(FileOperationEngine& engine, Work work) {
        const ProgressReader reader(engine, progress_);
        return work();
    }

    int execute(FileOperationEngine& engine, const FileOperationPlan& plan) {
        return answer(withProgress(engine, [&] { return engine.execute(plan, interruption_.token()); }));
    }

    int answer(const OperationReceipt& receipt) const {
        print(json() ? toJSON(receipt) + "\n" : receiptText(receipt));
        if (receipt.status == OperationStatus::completed || receipt.status == OperationStatus::undone)
            return ExitStatus::done;
        return interruption_.signal() != 0 ? ExitStatus::stopped(interruption_.signal())
                                           : ExitStatus::unfinished;
    }

    const CommandLine& line_;
    const Interruption& interruption_;
    ProgressLine progress_;
};

} // namespace

int runCommand(const CommandLine& line, const Interruption& interruption) {
    Command command(line, interruption);
    switch (line.verb) {
    case Verb::list:
        return command.list();
    case Verb::search:
        return command.search();
    case Verb::watch:
        return command.watch();
    case Verb::checkArchive:
    case Verb::listArchive:
        return command.archive();
    case Verb::info:
        return command.info();
    case Verb::fingerprint:
        return command.fingerprint();
    case Verb::plan:
        return command.plan();
    case Verb::run:
        return command.run();
    case Verb::execute:
        return command.executePlanFile();
    case Verb::undo:
        return command.undo();
    case Verb::history:
        return command.history();
    case Verb::listHandoffs:
        return command.handoffs();
    case Verb::acknowledgeHandoff:
        return command.acknowledgeHandoff();
    case Verb::downloads:
        return command.downloads();
    case Verb::tidy:
        return command.tidy();
    case Verb::git:
        return command.git();
    case Verb::insight:
        return command.insight();
    case Verb::listSuggestions:
    case Verb::clearSuggestions:
    case Verb::exportSuggestions:
    case Verb::configureSuggestions:
    case Verb::suggest:
    case Verb::forgetSuggestions:
    case Verb::removeSuggestion:
        print(suggestionsAnswer(line));
        return ExitStatus::done;
    case Verb::listWorkspaces:
    case Verb::createWorkspace:
    case Verb::addToWorkspace:
    case Verb::removeFromWorkspace:
    case Verb::renameWorkspace:
    case Verb::deleteWorkspace:
        print(workspaceAnswer(line));
        return ExitStatus::done;
    }
    return ExitStatus::badUsage;
}

} // namespace morv
