// The real window under a hand's keys, on real files, a real engine and a real Trash in the test's own folders.
#pragma once

#include "MorvApp/Views/Collection/MorvCollectionView.h"
#include "MorvApp/Views/Window/MainWindow.h"
#include "Tests/MorvApp/Support.h"

#include <QApplication>
#include <QTest>
#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace morv::test {

class WindowTest : public FolderTest {
protected:
    void open() {
        services.emplace(environment());
        window.emplace(*services, board, work);
        window->show();
        window->activateWindow();
        ASSERT_TRUE(eventually([&] { return window->isActiveWindow() && window->collection().hasFocus(); }));
        ASSERT_TRUE(settled());
    }
    AppModel& app() { return window->model(); }
    bool settled() {
        return eventually([&] {
            return !app().isOperating() && !app().activePane().isLoading() &&
                   app().activePane().loadedLocation();
        });
    }
    /// To whatever has the keyboard, as a hand would; shortcuts of the window included.
    void key(int code, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        auto* target = QApplication::focusWidget();
        ASSERT_TRUE(target);
        QTest::keyClick(target, static_cast<Qt::Key>(code), modifiers);
    }
    void type(const QString& text) { QTest::keyClicks(QApplication::focusWidget(), text); }
    /// Long enough at a sheet that came by itself for it to take its keys.
    void look() {
        ASSERT_TRUE(window->sheet());
        window->sheet()->guardKeys(
            [now = std::chrono::steady_clock::time_point()]() mutable { return now += KeyGuard::pause; });
    }
    template <class Widget>
    Widget* find(const char* name) {
        return window->findChild<Widget*>(QLatin1String(name));
    }
    std::vector<std::string> selected() {
        std::vector<std::string> result;
        for (const auto* entry : app().activePane().selectedEntries())
            result.push_back(entry->name);
        return result;
    }
    bool becomes(const FileURL& folder, const std::vector<std::string>& expected) {
        return eventually([&] { return names(folder) == expected; }) && settled();
    }

    MemoryBoard board;
    std::optional<MorvServices> services;
    std::optional<MainWindow> window;
};

} // namespace morv::test
