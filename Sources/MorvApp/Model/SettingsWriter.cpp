#include "MorvApp/Model/SettingsWriter.h"

#include <QSettings>
#include <utility>

namespace morv {

namespace {

using namespace std::chrono_literals;
constexpr auto together = 1s;

} // namespace

SettingsWriter::SettingsWriter(const QString& file)
    : SettingsWriter([file](const Values& values) {
          QSettings settings(file, QSettings::IniFormat);
          for (const auto& [key, value] : values)
              settings.setValue(key, value);
          settings.sync();
      }) {}

SettingsWriter::SettingsWriter(Write write, std::chrono::milliseconds patience)
    : write_(std::move(write)), patience_(patience), state_(std::make_shared<State>()) {}

SettingsWriter::~SettingsWriter() {
    if (!thread_.joinable())
        return;
    {
        const MutexLock lock(state_->mutex);
        state_->isEnding = true;
    }
    if (save())
        thread_.join();
    else
        thread_.detach();
}

void SettingsWriter::set(const QString& key, const QVariant& value) {
    {
        const MutexLock lock(state_->mutex);
        state_->pending[key] = value;
    }
    if (thread_.joinable())
        state_->changed.notify_all();
    else
        thread_ = std::thread([state = state_, write = write_] { run(*state, write); });
}

bool SettingsWriter::save() {
    const auto deadline = std::chrono::steady_clock::now() + patience_;
    MutexLock lock(state_->mutex);
    state_->isHurried = true;
    state_->changed.notify_all();
    while (!state_->pending.empty() || state_->isWriting)
        if (lock.waitUntil(state_->changed, deadline) == std::cv_status::timeout)
            break;
    return state_->pending.empty() && !state_->isWriting;
}

void SettingsWriter::run(State& state, const Write& write) {
    MutexLock lock(state.mutex);
    for (;;) {
        while (state.pending.empty()) {
            if (state.isEnding)
                return;
            state.isHurried = false;
            lock.wait(state.changed);
        }
        const auto due = std::chrono::steady_clock::now() + together;
        while (!state.isHurried && !state.isEnding)
            if (lock.waitUntil(state.changed, due) == std::cv_status::timeout)
                break;
        const auto values = std::exchange(state.pending, {});
        state.isWriting = true;
        lock.unlock();
        write(values);
        lock.lock();
        state.isWriting = false;
        state.changed.notify_all();
    }
}

} // namespace morv
