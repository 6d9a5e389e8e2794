// The program is killed at every call that changes a file, and what it leaves is checked after each.
#include "FaultCalls.h"
#include "OperationChecks.h"

#include <algorithm>
#include <csignal>

namespace {

class KillPoints : public Scene, public testing::WithParamInterface<std::size_t> {};

// The calls of one undisturbed run, by number.
std::vector<std::string> callsOf(const Scene& scene, const std::vector<std::string>& arguments) {
    const auto log = scene.root + "/calls";
    writeFile(log, std::string(100'000, '\0'));
    RunOptions options;
    options.fault = "any=0:kill";
    options.faultLog = log;
    EXPECT_EQ(scene.run(arguments, options).status, 0);
    std::vector<std::string> names;
    for (const char number : readFile(log)) {
        if (number == 0)
            break;
        names.emplace_back(FaultCalls::all[static_cast<unsigned char>(number) - 1U].name);
    }
    return names;
}

TEST_P(KillPoints, loseNothingReplaceNothingAndAreTold) {
    if (!canInjectFaults())
        GTEST_SKIP() << "The sanitizer's runtime does not share its place with a preloaded library.";
    OperationChecks checks(*this, other + "/to");
    const auto operation = OperationChecks::operations(*this)[GetParam()];
    checks.reset(operation);
    const auto calls = callsOf(*this, operation.arguments);
    checks.check(operation);
    ASSERT_GT(calls.size(), 10U);

    // More points than this would not fit the suite's time; then every n-th is taken, the first and last
    // always.
#if defined(__SANITIZE_ADDRESS__)
    constexpr std::size_t most = 30;
#else
    constexpr std::size_t most = 150;
#endif
    const auto stride = std::max<std::size_t>(1, (calls.size() + most - 1) / most);
    if (stride > 1)
        std::printf("%s: %zu calls, killed at every %zu.\n", operation.name.c_str(), calls.size(), stride);
    // After one call is before the next, except after the last.
    std::vector<std::string> faults;
    for (std::size_t n = 1; n <= calls.size(); n += stride)
        faults.push_back("any=" + std::to_string(n) + ":kill");
    faults.push_back("any=" + std::to_string(calls.size()) + ":killafter");

    std::size_t killed = 0;
    for (const auto& fault : faults) {
        SCOPED_TRACE(operation.name + " " + fault);
        checks.reset(operation);
        RunOptions options;
        options.fault = fault;
        const auto result = run(operation.arguments, options);
        killed += result.signal == SIGKILL ? 1 : 0;
        checks.check(operation);
        if (HasFailure())
            return;
    }
    // Threads may save a call now and then, and the last ones are then not reached.
    EXPECT_GE(killed + 5, faults.size());
}

class KillPointsOfRepair : public Scene {};

// A history that is cut off while it marks what an earlier crash left is read again, with the same end.
TEST_F(KillPointsOfRepair, leaveTheRepairToTheNextReading) {
    if (!canInjectFaults())
        GTEST_SKIP() << "The sanitizer's runtime does not share its place with a preloaded library.";
    OperationChecks checks(*this, other + "/to");
    const auto operation = OperationChecks::operations(*this)[0];
    checks.reset(operation);
    const auto middle = callsOf(*this, operation.arguments).size() / 2;
    const auto crash = [&] {
        checks.reset(operation);
        RunOptions options;
        options.fault = "any=" + std::to_string(middle) + ":kill";
        ASSERT_EQ(run(operation.arguments, options).signal, SIGKILL);
    };
    crash();
    const auto calls = callsOf(*this, {"history"}).size();
    ASSERT_GE(calls, 3U);
    for (std::size_t n = 1; n <= calls; ++n) {
        SCOPED_TRACE(n);
        crash();
        RunOptions options;
        options.fault = "any=" + std::to_string(n) + ":kill";
        EXPECT_EQ(run({"history"}, options).signal, SIGKILL);
        const auto receipts = checks.newReceipts();
        ASSERT_EQ(receipts.size(), 1U);
        EXPECT_EQ(receipts[0].at("status"), "interrupted");
        checks.check(operation);
    }
}

std::string operationName(const testing::TestParamInfo<std::size_t>& parameter) {
    constexpr std::array names = {
        "copy", "move",        "moveAcrossVolumes",        "rename",       "trash",      "newFolder",
        "tags", "undoOfAMove", "undoOfAMoveAcrossVolumes", "undoOfATrash", "compressZIP"};
    return names[parameter.param];
}

INSTANTIATE_TEST_SUITE_P(Operations, KillPoints, testing::Range<std::size_t>(0, 11), operationName);

} // namespace
