// What must hold after any fault whatsoever: the promises of an operation, checked from outside.
#pragma once

#include "Scene.h"

#include <set>
#include <string>
#include <vector>

/// An operation on a fresh pair of folders.
struct Operation {
    std::string name;
    std::vector<std::string> arguments;
    std::string destination;         ///< the folder in which results appear
    std::vector<std::string> finals; ///< names that it may make there
    std::vector<std::string> before; ///< what is run first, undisturbed: the operation that is undone
};

/// The scene's originals and bystanders, remade before every run and compared afterwards.
class OperationChecks {
public:
    OperationChecks(Scene& scene, const std::string& across);

    /// Copy, moves within and across volumes, rename, trash, new folder, tags, undo, and packing.
    static std::vector<Operation> operations(const Scene& scene);

    /// Fresh work folders, an empty trash, and a data directory with one completed receipt; then what the
    /// operation needs to come first.
    void reset(const Operation& operation);
    /// Everything that must hold.
    void check(const Operation& operation);
    /// The receipts that the run made; the earlier one is checked and left out.
    nlohmann::json newReceipts() const;

private:
    void checkContents(const std::set<std::string>& recordedStaging) const;
    void checkDestination(const Operation& operation, const std::set<std::string>& recordedStaging) const;
    void checkSucceededItems(const nlohmann::json& receipt) const;

    Scene& scene_;
    std::string across_;
    TreeSnapshot originals_;
    TreeSnapshot bystanders_;
    nlohmann::json earlier_;
};
