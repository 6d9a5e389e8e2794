// A real engine on a real store and a real Trash, everything below one temporary folder.
#pragma once

#include "MorvCore/Operations/FileOperationEngine.h"
#include "MorvCore/Records/SQLiteStore.h"
#include "Tests/Support/PrivateHome.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Support/TreeSnapshot.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace morv::test {

class EngineFixture : public testing::Test {
protected:
    EngineFixture() { useEngine(); }

    void useEngine(EngineObservers observers = {},
                   std::shared_ptr<const OperationTrashProvider> trash = nullptr) {
        engine_.reset();
        if (!store_)
            store_ = std::make_unique<SQLiteStore>(at("data/Morv.sqlite"));
        if (!trash)
            trash = std::make_shared<SystemTrashProvider>();
        engine_ = std::make_unique<FileOperationEngine>(*store_, std::move(trash), std::move(observers));
    }
    FileOperationEngine& engine() { return *engine_; }
    SQLiteStore& store() { return *store_; }

    FileURL at(const std::string& path) const { return folder_.url(path); }
    FileURL write(const std::string& path, const std::string& text) const {
        return folder_.write(path, text);
    }
    FileURL makeFolder(const std::string& path) const { return folder_.makeFolder(path); }
    std::string read(const FileURL& url) const { return readFile(url); }

    FileOperationPlan plan(OperationRequest request) { return engine_->plan(request, {}); }
    OperationReceipt run(OperationRequest request) { return engine_->execute(plan(std::move(request)), {}); }
    OperationReceipt undo(const OperationReceipt& receipt) { return engine_->undo(receipt.id, {}); }

private:
    TemporaryFolder folder_;
    PrivateHome home_{folder_.url("home")};
    std::unique_ptr<SQLiteStore> store_;
    std::unique_ptr<FileOperationEngine> engine_;
};

} // namespace morv::test
