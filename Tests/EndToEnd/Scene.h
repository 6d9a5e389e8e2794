// A private world for morvctl: its own home, data directory and folders on two volumes, gone after a test
// that passes and kept and named after one that fails.
#pragma once

#include "Tests/Support/PrivateHome.h"
#include "Tests/Support/TreeSnapshot.h"

#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

struct Result {
    int status = -1; ///< exit status, or -1
    int signal = 0;  ///< what killed it
    std::string out;
    std::string err;
};

struct RunOptions {
    std::map<std::string, std::string> environment;
    std::string input;
    std::string fault;         ///< MORV_FAULT
    std::string faultLog;      ///< MORV_FAULT_LOG
    std::optional<uid_t> user; ///< runs as this user
    std::string folder;        ///< working directory; the scene's root when empty
};

class Scene : public testing::Test {
public:
    Scene();
    ~Scene() override;

    /// Runs morvctl to its end.
    Result run(const std::vector<std::string>& arguments, const RunOptions& options = {}) const;
    /// Runs it and gives the JSON it printed; fails the test when it does not parse.
    nlohmann::json json(std::vector<std::string> arguments, int expectedStatus = 0) const;
    /// Starts morvctl; `finish` waits for it.
    pid_t start(const std::vector<std::string>& arguments, const RunOptions& options = {}) const;
    Result finish(pid_t process) const;

    std::string root; ///< on the disk of the temporary folder
    std::string home; ///< $HOME, below root
    std::string data; ///< $MORV_DATA_DIRECTORY, below root
    std::string from; ///< work folders, below root
    std::string to;
    std::string other; ///< a folder on another volume, "/dev/shm"

    std::string trashFiles() const { return home + "/.local/share/Trash/files"; }
    /// Removes what the scene has put into the Trash of either volume, and nothing else.
    void emptyTrashes() const;
    /// Whether faults can be injected into this build of morvctl.
    static bool canInjectFaults();
};

void writeFile(const std::string& path, const std::string& content, mode_t mode = 0644);
std::string readFile(const std::string& path);
void makeFolder(const std::string& path);
void setAttribute(const std::string& path, const std::string& name, const std::string& value);
void setModified(const std::string& path, long long nanoseconds);
/// Removes a tree of any depth.
void removeTree(const std::string& path);
/// "file://" and the path, escaped as in records.
std::string fileURL(const std::string& path);
std::string pathOf(const std::string& fileURL);

/// A small tree with what trees hold: modes, attributes, odd times, a link, an empty folder, an empty file.
void makeSmallTree(const std::string& path, const std::string& mark);
