// Folder at a Glance: how much a folder holds, of which kinds, and the names of two levels. Main thread.
#pragma once

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Views/Sheets/Sheet.h"

class QLabel;
class QTreeWidget;

namespace morv {

class KindBar;

class FolderGlanceSheet : public Sheet {
    Q_OBJECT

public:
    FolderGlanceSheet(AppModel& app, const FileEntry& folder, QWidget* window);

private:
    QWidget* buildHead();
    QWidget* buildFacts();
    QLabel* addFact(QWidget* row, const char* title, const char* name);
    void fill(const FolderInsight& insight);
    void fillTree(const FolderInsight& insight);

    AppModel& app_;
    const FileEntry folder_;
    QLabel* waiting_;
    QWidget* facts_;
    QLabel* count_ = nullptr;
    QLabel* size_ = nullptr;
    QLabel* kindsTitle_;
    KindBar* kinds_;
    QTreeWidget* tree_;
    QLabel* shown_;
    QLabel* coverage_;
    FolderInsightWish wish_;
};

} // namespace morv
