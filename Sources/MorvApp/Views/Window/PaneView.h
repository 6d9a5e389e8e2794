// One pane on the screen: its files, and above them what they are a search for. Main thread.
#pragma once

#include "MorvApp/Model/AppModel.h"

#include <QFrame>

class QLabel;
class QToolButton;

namespace morv {

class MorvCollectionView;
class WindowActions;

class PaneView : public QFrame {
    Q_OBJECT

public:
    /// The pane must not go before this view.
    PaneView(AppModel& app, PaneModel& pane, WindowActions& actions, QWidget* parent = nullptr);

    PaneModel& pane() const { return pane_; }
    MorvCollectionView& collection() const { return *collection_; }
    /// In a split the pane names its folder, and the active one is marked.
    void setSplit(bool split, bool active);

private:
    QWidget* buildSearchLine();
    void updateTitle();
    void updateSearchLine();

    AppModel& app_;
    PaneModel& pane_;
    MorvCollectionView* collection_;
    QLabel* title_;
    QFrame* searchLine_ = nullptr;
    QLabel* searchText_ = nullptr;
    QToolButton* saveSearch_ = nullptr;
    bool isSplit_ = false;
};

} // namespace morv
