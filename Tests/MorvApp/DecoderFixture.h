// What the tests of morv-decoder share: the helper itself, and one that misbehaves.
#pragma once

#include "MorvApp/Integration/DecoderProcess.h"
#include "Tests/MorvApp/Support.h"
#include "Tests/Support/TemporaryFolder.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace morv::test {

/// Of this process.
inline std::vector<pid_t> children() {
    std::vector<pid_t> result;
    for (const auto& process : std::filesystem::directory_iterator("/proc")) {
        std::ifstream status(process.path() / "status");
        for (std::string line; std::getline(status, line);)
            if (line == "PPid:\t" + std::to_string(::getpid()))
                result.push_back(std::stoi(process.path().filename()));
    }
    return result;
}

class DecoderTest : public FolderTest {
protected:
    FileURL path(const std::string& name) { return work.child(name); }
    static DecoderLimits limits() {
        auto limits = DecoderLimits::standard();
        limits.program = FileURL::fromPath(MORV_DECODER);
        // A busy machine is no fault.
        limits.patience = limits.highlightPatience = std::chrono::seconds(60);
        return limits;
    }
    static DecoderLimits partner() {
        auto limits = DecoderTest::limits();
        limits.program = FileURL::fromPath(DECODER_PARTNER);
        return limits;
    }
};

} // namespace morv::test
