// The tabs of a window and, below them, the one or two panes of the active tab. Panes of the other tabs keep
// their views, so that changing a tab costs nothing and loses no place. Main thread.
#pragma once

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Views/Browser/BrowserSizes.h"

#include <QWidget>
#include <map>
#include <optional>

class QSplitter;
class QStackedWidget;
class QTabBar;

namespace morv {

class MorvCollectionView;
class PaneView;
class SplitterLayout;
class WindowActions;

class TabArea : public QWidget {
    Q_OBJECT

public:
    TabArea(AppModel& app, WindowActions& actions, QWidget* parent = nullptr);
    ~TabArea() override;

    PaneView* activeView() const;
    MorvCollectionView& collection() const;
    /// Gives the keyboard to the active pane's files.
    void focusActive();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    /// One tab's panes.
    struct Page {
        QSplitter* splitter;
        SplitterLayout* layout = nullptr; ///< of the present two panes
        PaneView* first = nullptr;
        PaneView* second = nullptr;
    };

    void sync();
    void syncPage(Page& page, const FileTab& tab);
    void followSplit(Page& page);
    void syncBar();
    void markActive();
    void addCloseButton(int index);
    void acceptDrops();
    void updateTitle(const FileTab& tab, int index);
    void restoreLayout();

    AppModel& app_;
    WindowActions& actions_;
    BrowserSizes sizes_;
    QTabBar* bar_;
    QStackedWidget* stack_;
    std::map<UUID, Page> pages_;
    bool isSyncing_ = false;
    /// Of the restored session whose dividers the user has moved since: they no longer come back.
    std::optional<std::uint64_t> outdatedRestore_;
};

} // namespace morv
