// Servers that do what a test tells them.
#pragma once

#include "MorvApp/Model/ServerConnector.h"

#include <string>
#include <vector>

namespace morv::test {

class FakeServers : public ServerConnector {
public:
    std::unique_ptr<ServerAttempt> reach(const std::string& wanted, Listener told) override {
        address = wanted;
        listener = std::move(told);
        return std::make_unique<Attempt>(*this);
    }

    std::string address;
    Listener listener;
    std::vector<std::string> answers; ///< passwords
    int choice = -1;
    int abandoned = 0;

private:
    class Attempt : public ServerAttempt {
    public:
        explicit Attempt(FakeServers& servers) : servers_(servers) {}
        ~Attempt() override {
            ++servers_.abandoned;
            // As with a real attempt, which ends while its listener is being told.
            servers_.listener = {};
        }
        void answer(const ServerAnswer& answer) override {
            servers_.answers.push_back(answer.password);
            servers_.choice = answer.choice;
        }

    private:
        FakeServers& servers_;
    };
};

} // namespace morv::test
