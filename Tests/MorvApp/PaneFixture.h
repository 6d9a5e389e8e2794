// A pane on a real folder and a real store, with readers that a test can slow down or let fail.
#pragma once

#include "MorvApp/Model/PaneModel.h"
#include "Tests/MorvApp/Support.h"

#include <algorithm>
#include <string>
#include <vector>

namespace morv::test {

class PaneTest : public FolderTest {
protected:
    PaneServices services(DirectoryService directories = DirectoryService()) {
        return {store, pools, nullptr, std::move(directories)};
    }
    static bool settled(const PaneModel& pane) {
        return eventually([&] { return !pane.isLoading(); });
    }
    static std::vector<std::string> displayed(const PaneModel& pane) {
        std::vector<std::string> result;
        for (std::size_t i = 0; i < pane.displayedEntries().size(); ++i)
            result.push_back(pane.displayedEntry(i).name);
        return result;
    }
    static void select(PaneModel& pane, const std::vector<std::string>& wanted) {
        EntrySelection selection;
        pane.entries().forEach([&](const FileEntry& entry) {
            if (std::ranges::find(wanted, entry.name) != wanted.end())
                selection.emplace(entry);
        });
        pane.setSelection(selection);
    }
    static void search(PaneModel& pane, const std::string& query) {
        pane.setQuery(query);
        pane.runSearch();
    }
    /// Serves the event loop for a while in which nothing is expected.
    static void pass(std::chrono::milliseconds time) {
        const auto end = std::chrono::steady_clock::now() + time;
        eventually([end] { return std::chrono::steady_clock::now() >= end; });
    }

    SQLiteStore store{root.child("pane.sqlite")};
    TaskPools pools;
};

} // namespace morv::test
