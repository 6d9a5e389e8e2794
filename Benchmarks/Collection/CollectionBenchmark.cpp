// Drawing a folder of 100,000 files while it is scrolled, beside Qt's own list view on the same files in the
// same run: medians and worst frames, what selecting everything costs, and memory. Without a display.
#include "MorvApp/Views/Collection/MorvCollectionView.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvApp/Views/Window/WindowActions.h"

#include <QAbstractListModel>
#include <QApplication>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QListView>
#include <QMainWindow>
#include <QScrollBar>
#include <QWindow>
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <tuple>
#include <unistd.h>

namespace {

using namespace morv;

constexpr int fileCount = 100'000;
constexpr int frames = 300;
constexpr int selections = 9;
constexpr QSize windowSize(1440, 960);

class NoBoard : public ClipboardBoard {
public:
    bool write(const Contents&) override { return false; }
    std::optional<std::string> read(const std::string&) const override { return std::nullopt; }
    std::uint64_t changeCount() const override { return 0; }
};

/// The same names and pictures for Qt's view.
class ListModel : public QAbstractListModel {
public:
    explicit ListModel(const PaneModel& pane) : pane_(pane) {}
    int rowCount(const QModelIndex&) const override { return fileCount; }
    QVariant data(const QModelIndex& index, int role) const override {
        const auto& entry = pane_.displayedEntry(static_cast<std::size_t>(index.row()));
        if (role == Qt::DisplayRole)
            return QString::fromStdString(entry.name);
        return role == Qt::DecorationRole ? QVariant(icons_.file(entry, 72, 1)) : QVariant();
    }

private:
    const PaneModel& pane_;
    mutable IconCache icons_;
};

void serveUntil(const std::function<bool()>& condition) {
    const QDeadlineTimer deadline(std::chrono::seconds(60));
    while (!condition()) {
        if (deadline.hasExpired())
            throw std::runtime_error("the pane never got there");
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    }
}

double milliseconds(const QElapsedTimer& timer) {
    return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

double residentMiB() {
    std::ifstream status("/proc/self/statm");
    std::size_t total = 0, resident = 0;
    status >> total >> resident;
    return static_cast<double>(resident) * static_cast<double>(::sysconf(_SC_PAGESIZE)) / (1 << 20);
}

void print(const char* what, std::vector<double> values) {
    std::ranges::sort(values);
    std::printf("  %-44s %8.2f ms   (99 %%: %.2f, worst %.2f)\n", what, values[values.size() / 2],
                values[values.size() * 99 / 100], values.back());
}

/// Each frame shows rows that were not to be seen in the frame before.
std::vector<double> scroll(QAbstractScrollArea& area, int step) {
    std::vector<double> times;
    auto* bar = area.verticalScrollBar();
    bar->setValue(0);
    area.viewport()->repaint();
    for (int frame = 1; frame <= frames; ++frame) {
        QElapsedTimer timer;
        timer.start();
        bar->setValue(frame * step);
        area.viewport()->repaint();
        times.push_back(milliseconds(timer));
    }
    return times;
}

void measure(MorvServices& services, const FileURL& folder) {
    NoBoard board;
    AppModel app(services, board, folder);
    QMainWindow window;
    const WindowActions actions(app, window, [](FileCommand) {});
    auto& pane = app.activePane();
    serveUntil([&] { return !pane.isLoading() && pane.displayedEntries().size() == fileCount; });
    const auto before = residentMiB();
    auto* view = new MorvCollectionView(app, pane, actions, {});
    window.setCentralWidget(view);
    window.resize(windowSize);
    window.show();
    // A window that is not exposed draws nothing, however often it is asked.
    serveUntil([&] { return view->count() == fileCount && window.windowHandle()->isExposed(); });
    for (const auto& [name, mode, grouping] :
         {std::tuple{"grid", BrowserViewMode::grid, FileGrouping::none},
          std::tuple{"grid by kind", BrowserViewMode::grid, FileGrouping::kind},
          std::tuple{"list", BrowserViewMode::list, FileGrouping::none}}) {
        auto preferences = pane.preferences();
        preferences.view = mode;
        preferences.grouping = grouping;
        QElapsedTimer timer;
        timer.start();
        pane.setPreferences(preferences);
        std::printf("%s (changing to it: %.2f ms)\n", name, milliseconds(timer));
        print("a page further", scroll(*view, view->viewport()->height()));
        print("a notch of the wheel further", scroll(*view, 120));
        std::vector<double> all, none;
        for (int round = 0; round < selections; ++round) {
            timer.restart();
            view->selectAll();
            view->viewport()->repaint();
            all.push_back(milliseconds(timer));
            timer.restart();
            pane.setSelection({});
            view->viewport()->repaint();
            none.push_back(milliseconds(timer));
        }
        print("selecting everything", all);
        print("selecting nothing", none);
    }
    std::printf("  memory of the view %41.1f MiB\n", residentMiB() - before);

    ListModel model(pane);
    for (const bool isGrid : {true, false}) {
        auto* list = new QListView;
        list->setUniformItemSizes(true);
        if (isGrid) {
            list->setViewMode(QListView::IconMode);
            list->setGridSize({128, 150});
            list->setIconSize({72, 72});
            list->setWordWrap(true);
            list->setResizeMode(QListView::Adjust);
        }
        list->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
        list->setModel(&model);
        window.setCentralWidget(list);
        serveUntil([&] {
            return list->isVisible() && list->verticalScrollBar()->maximum() > frames * list->height();
        });
        std::printf("Qt's list view, %s\n", isGrid ? "icons" : "rows");
        print("a page further", scroll(*list, list->viewport()->height()));
        print("a notch of the wheel further", scroll(*list, 120));
    }
}

} // namespace

int main(int argc, char** argv) {
    // Nothing of the person who runs this is read or changed.
    const char* base = std::getenv("TMPDIR");
    auto place = std::string(base ? base : "/tmp") + "/MorvCollectionXXXXXX";
    if (!::mkdtemp(place.data()))
        return 1;
    for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_RUNTIME_DIR"})
        ::setenv(name, place.c_str(), 1);
    ::setenv("MORV_DATA_DIRECTORY", (place + "/data").c_str(), 1);
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    int status = 0;
    {
        const QApplication application(argc, argv);
        Theme::shared().apply(Appearance::light);
        try {
            std::filesystem::create_directories(place + "/files");
            static constexpr std::array extensions = {"jpg", "txt", "pdf", "png", "mp3", "zip", "cpp", "mkv"};
            for (int i = 0; i < fileCount; ++i)
                std::ofstream(place + "/files/Holiday picture " + std::to_string(i) + " of many." +
                              extensions[static_cast<std::size_t>(i) % extensions.size()]);
            MorvServices services(processEnvironment());
            measure(services, FileURL::folder(place + "/files"));
        } catch (const std::exception& error) {
            std::fprintf(stderr, "%s\n", error.what());
            status = 1;
        }
    }
    std::filesystem::remove_all(place);
    return status;
}
