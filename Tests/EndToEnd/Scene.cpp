#include "Scene.h"

#include <array>
#include <cctype>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <grp.h>
#include <spawn.h>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <utility>

namespace {

std::string makeTemporary(const std::string& folder) {
    std::string pattern = folder + "/morv-e2e-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr)
        throw std::runtime_error("No temporary folder in " + folder);
    return pattern;
}

std::string preload() {
    const std::string runtime = SANITIZER_RUNTIME;
    return runtime.empty() ? FAULT_SHIM : runtime + ":" FAULT_SHIM;
}

} // namespace

Scene::Scene()
    : root(makeTemporary(std::filesystem::canonical(std::filesystem::temp_directory_path()))),
      home(root + "/home"), data(root + "/data"), from(root + "/from"), to(root + "/to"),
      other(makeTemporary("/dev/shm")) {
    makeFolder(home);
    makeFolder(from);
    makeFolder(to);
}

Scene::~Scene() {
    if (HasFailure()) {
        std::fprintf(stderr, "The test's folders were kept: %s %s\n", root.c_str(), other.c_str());
        return;
    }
    emptyTrashes();
    removeTree(root);
    removeTree(other);
}

void Scene::emptyTrashes() const {
    removeTree(home + "/.local");
    // The other volume's Trash is everybody's.
    const auto mine = "Path=" + other.substr(other.rfind('/') + 1) + "/";
    const auto trash = other.substr(0, other.rfind('/')) + "/.Trash-" + std::to_string(geteuid());
    for (const auto& name : namesIn(trash + "/info")) {
        const auto information = trash + "/info/" + name;
        if (readFile(information).find(mine) != std::string::npos) {
            removeTree(trash + "/files/" + name.substr(0, name.rfind('.')));
            unlink(information.c_str());
        }
    }
}

bool Scene::canInjectFaults() {
#if defined(__SANITIZE_THREAD__)
    return false;
#else
    return true;
#endif
}

pid_t Scene::start(const std::vector<std::string>& arguments, const RunOptions& options) const {
    std::map<std::string, std::string> environment = {
        {"HOME", home},
        {"XDG_DATA_HOME", home + "/.local/share"},
        {"XDG_CONFIG_HOME", home + "/.config"},
        {"XDG_CACHE_HOME", home + "/.cache"},
        {"XDG_RUNTIME_DIR", home},
        {"MORV_DATA_DIRECTORY", data},
        {"PATH", "/usr/bin:/bin"},
        {"LANG", "C.UTF-8"},
        {"ASAN_OPTIONS", "verify_asan_link_order=0"},
    };
    for (const auto& [name, value] : options.environment)
        environment[name] = value;
    if (!options.fault.empty()) {
        environment["LD_PRELOAD"] = preload();
        environment["MORV_FAULT"] = options.fault;
        if (!options.faultLog.empty())
            environment["MORV_FAULT_LOG"] = options.faultLog;
    }
    std::vector<std::string> variables;
    std::vector<char*> variablePointers;
    for (const auto& [name, value] : environment)
        variables.push_back(name + "=" + value);
    for (auto& variable : variables)
        variablePointers.push_back(variable.data());
    variablePointers.push_back(nullptr);
    std::vector<std::string> words = arguments;
    words.insert(words.begin(), MORVCTL);
    std::vector<char*> wordPointers;
    for (auto& word : words)
        wordPointers.push_back(word.data());
    wordPointers.push_back(nullptr);

    const auto folder = options.folder.empty() ? root : options.folder;
    writeFile(root + "/.input", options.input);
    const pid_t process = fork();
    if (process == 0) {
        const int in = open((root + "/.input").c_str(), O_RDONLY);
        const int out = open((root + "/.out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const int err = open((root + "/.err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(in, 0);
        dup2(out, 1);
        dup2(err, 2);
        for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE})
            std::signal(number, SIG_DFL);
        bool ready = chdir(folder.c_str()) == 0;
        if (options.user)
            ready = ready && setgroups(0, nullptr) == 0 && setgid(*options.user) == 0 &&
                    setuid(*options.user) == 0;
        if (ready)
            execve(MORVCTL, wordPointers.data(), variablePointers.data());
        _exit(127);
    }
    return process;
}

Result Scene::finish(pid_t process) const {
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    Result result;
    if (WIFEXITED(status))
        result.status = WEXITSTATUS(status);
    if (WIFSIGNALED(status))
        result.signal = WTERMSIG(status);
    result.out = readFile(root + "/.out");
    result.err = readFile(root + "/.err");
    return result;
}

Result Scene::run(const std::vector<std::string>& arguments, const RunOptions& options) const {
    return finish(start(arguments, options));
}

nlohmann::json Scene::json(std::vector<std::string> arguments, int expectedStatus) const {
    arguments.insert(arguments.begin(), "--json");
    const auto result = run(arguments);
    EXPECT_EQ(result.status, expectedStatus) << result.err << result.out;
    auto value = nlohmann::json::parse(result.out, nullptr, false);
    EXPECT_FALSE(value.is_discarded()) << result.out;
    return value;
}

void writeFile(const std::string& path, const std::string& content, mode_t mode) {
    std::ofstream(path, std::ios::binary) << content;
    ASSERT_EQ(chmod(path.c_str(), mode), 0) << path;
}

std::string readFile(const std::string& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return std::move(content).str();
}

void makeFolder(const std::string& path) {
    ASSERT_EQ(mkdir(path.c_str(), 0755), 0) << path;
}

void setAttribute(const std::string& path, const std::string& name, const std::string& value) {
    ASSERT_EQ(lsetxattr(path.c_str(), name.c_str(), value.data(), value.size(), 0), 0) << path;
}

void setModified(const std::string& path, long long nanoseconds) {
    const timespec time{nanoseconds / 1'000'000'000, nanoseconds % 1'000'000'000};
    const std::array times = {time, time};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times.data(), AT_SYMLINK_NOFOLLOW), 0) << path;
}

void removeTree(const std::string& path) {
    // The C++ library keeps a descriptor for each level; this program does not.
    std::string program = "rm";
    std::string options = "-rf";
    std::string place = path;
    std::array<char*, 4> words = {program.data(), options.data(), place.data(), nullptr};
    pid_t process = 0;
    if (posix_spawn(&process, "/bin/rm", nullptr, nullptr, words.data(), environ) == 0)
        waitpid(process, nullptr, 0);
}

std::string fileURL(const std::string& path) {
    std::string text = "file://";
    for (const char c : path) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80 && (std::isalnum(byte) != 0 || std::string("-._~/").find(c) != std::string::npos)) {
            text += c;
        } else {
            constexpr auto digits = "0123456789ABCDEF";
            text += {'%', digits[byte >> 4U], digits[byte & 15U]};
        }
    }
    return text;
}

std::string pathOf(const std::string& fileURL) {
    std::string path;
    for (std::size_t i = std::string("file://").size(); i < fileURL.size(); ++i) {
        if (fileURL[i] == '%') {
            path += static_cast<char>(std::stoi(fileURL.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            path += fileURL[i];
        }
    }
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

void makeSmallTree(const std::string& path, const std::string& mark) {
    makeFolder(path);
    makeFolder(path + "/inner");
    makeFolder(path + "/empty");
    writeFile(path + "/text.txt", "text of " + mark, 0640);
    setAttribute(path + "/text.txt", "user.note", "a note on " + mark);
    std::string large;
    while (large.size() < 300'000)
        large += "block " + std::to_string(large.size()) + " of " + mark;
    writeFile(path + "/inner/large.bin", large, 0600);
    writeFile(path + "/inner/nothing", "");
    ASSERT_EQ(symlink("../text.txt", (path + "/inner/link").c_str()), 0);
    setModified(path + "/text.txt", 1'234'567'890'123'456'789);
    setModified(path + "/inner/link", 1'111'111'111'000'000'001);
    setAttribute(path + "/inner", "user.note", "a folder's");
    ASSERT_EQ(chmod((path + "/empty").c_str(), 0750), 0);
    setModified(path + "/inner", 1'000'000'000'000'000'007);
    setModified(path, 999'999'999'999'999'999);
}
