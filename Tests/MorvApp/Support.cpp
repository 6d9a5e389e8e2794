#include "Tests/MorvApp/Support.h"

#include "MorvCore/Foundation/Errors.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QSettings>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <system_error>

namespace morv::test {

namespace fs = std::filesystem;

void usePrivateHome() {
    std::string path = (fs::temp_directory_path() / "morv-app-XXXXXX").string();
    if (!mkdtemp(path.data()))
        std::abort();
    const auto set = [&path](const char* name, const std::string& child) {
        const auto value = path + "/" + child;
        fs::create_directories(value);
        fs::permissions(value, fs::perms::owner_all);
        setenv(name, value.c_str(), 1);
    };
    set("HOME", "home");
    set("XDG_DATA_HOME", "data");
    set("XDG_CONFIG_HOME", "config");
    set("XDG_CACHE_HOME", "cache");
    set("XDG_RUNTIME_DIR", "run");
    setenv("MORV_DATA_DIRECTORY", (path + "/morv").c_str(), 1);
    unsetenv("MORV_START_DIRECTORY");
    setenv("MORV_TEST_ROOT", path.c_str(), 1);
    setenv("LC_ALL", "C.UTF-8", 1);
}

void removeWhole(const std::string& folder) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    std::error_code failure;
    do
        fs::remove_all(folder, failure);
    while (failure && std::chrono::steady_clock::now() < deadline);
    if (failure)
        std::cerr << "left: " << folder << ": " << failure.message() << '\n';
}

int runTests() {
    const int result = RUN_ALL_TESTS();
    if (result == 0)
        removeWhole(std::getenv("MORV_TEST_ROOT"));
    return result;
}

FolderTest::FolderTest() {
    std::string path = std::string(std::getenv("MORV_TEST_ROOT")) + "/test-XXXXXX";
    if (!mkdtemp(path.data()))
        std::abort();
    root = FileURL::folder(path);
    work = folder("work");
    // The configuration is the process's: no test finds what another one remembered, and none is greeted.
    QSettings configuration(
        QString::fromStdString(std::string(std::getenv("XDG_CONFIG_HOME")) + "/Morv/Morv.conf"),
        QSettings::IniFormat);
    configuration.clear();
    configuration.setValue(QStringLiteral("onboarding.completed.v1"), true);
}

FolderTest::~FolderTest() {
    if (HasFailure())
        std::cerr << "kept: " << root.path() << '\n';
    else
        removeWhole(root.path());
}

FileURL FolderTest::folder(const std::string& name) {
    fs::create_directories(root.path() + "/" + name);
    return FileURL::folder(root.path() + "/" + name);
}

FileURL FolderTest::file(const std::string& name, const std::string& content) {
    std::ofstream(work.path() + "/" + name, std::ios::binary) << content;
    return FileURL::fromPath(work.path() + "/" + name);
}

std::vector<std::string> FolderTest::names(const FileURL& folder) {
    std::vector<std::string> found;
    if (fs::is_directory(folder.path()))
        for (const auto& entry : fs::directory_iterator(folder.path()))
            found.push_back(entry.path().filename().string());
    std::ranges::sort(found);
    return found;
}

bool FolderTest::exists(const FileURL& url) {
    return fs::exists(fs::symlink_status(url.path()));
}

Environment FolderTest::environment() const {
    auto result = processEnvironment();
    result["MORV_DATA_DIRECTORY"] = root.path() + "/data/deep/Morv";
    return result;
}

bool eventually(const std::function<bool()>& condition) {
    const QDeadlineTimer deadline(std::chrono::seconds(10));
    QTimer heartbeat; // so that waiting for events ends also when none comes
    heartbeat.start(10);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return true;
}

bool MemoryBoard::write(const Contents& written) {
    contents = written;
    ++changes;
    return true;
}

std::optional<std::string> MemoryBoard::read(const std::string& type) const {
    const auto found = std::ranges::find(contents, type, &Contents::value_type::first);
    return found == contents.end() ? std::nullopt : std::optional(found->second);
}

void RecordingLauncher::install(const std::string& what, const FileURL& application) {
    const MutexLock lock(mutex_);
    installed_[what] = application;
}

void RecordingLauncher::refuse(const std::string& sentence) {
    const MutexLock lock(mutex_);
    refusal_ = sentence;
}

RecordingLauncher::Opened RecordingLauncher::opened() const {
    const MutexLock lock(mutex_);
    return opened_;
}

void RecordingLauncher::forget() {
    const MutexLock lock(mutex_);
    opened_.clear();
}

std::optional<DeveloperTool> RecordingLauncher::find(const DeveloperPathIntent& intent) const {
    const auto what = intent.editor ? "editor " + std::string(rawValue(*intent.editor))
                      : intent.tool == DeveloperPathIntent::Tool::warp ? std::string("warp")
                                                                       : std::string("terminal");
    const MutexLock lock(mutex_);
    const auto found = installed_.find(what);
    return found == installed_.end() ? std::nullopt : std::optional(DeveloperTool{found->second});
}

std::optional<DeveloperTool> RecordingLauncher::terminal(const std::string& line) const {
    const MutexLock lock(mutex_);
    const auto found = installed_.find("own " + line);
    return found == installed_.end() ? std::nullopt : std::optional(DeveloperTool{found->second});
}

void RecordingLauncher::open(const DeveloperTool& tool, const FileURL& folder) const {
    const MutexLock lock(mutex_);
    if (!refusal_.empty())
        throw FileOperationError::unavailable(refusal_);
    opened_.emplace_back(tool.application, folder);
}

std::vector<InstalledApplication> RecordingLauncher::editors() const {
    const MutexLock lock(mutex_);
    std::vector<InstalledApplication> result;
    for (const auto& [name, file] : installed_)
        result.push_back({file, name, {}});
    return result;
}

bool ModelTest::idle(AppModel& app) {
    return eventually([&] { return !app.isOperating() && !app.activePane().isLoading(); });
}

void ModelTest::select(AppModel& app, const std::vector<std::string>& wanted) {
    EntrySelection selection;
    app.activePane().entries().forEach([&](const FileEntry& entry) {
        if (std::ranges::find(wanted, entry.name) != wanted.end())
            selection.emplace(entry);
    });
    app.activePane().setSelection(selection);
}

bool ModelTest::ended(AppModel& app, std::size_t receipts) {
    return eventually(
               [&] { return app.receipts().size() == receipts && !app.receipts().front().isActive(); }) &&
           idle(app);
}

} // namespace morv::test
