// How much a folder holds, of which kinds, and the names of two levels, as soon as it is known. Main thread.
#pragma once

#include "MorvApp/Model/FolderInsightCache.h"

#include <QWidget>

class QLabel;
class QTreeWidget;
class QVBoxLayout;

namespace morv {

class AppModel;
class KindBar;

class FolderGlance : public QWidget {
    Q_OBJECT

public:
    FolderGlance(AppModel& app, QWidget* parent);

    /// Asks for the folder's insight; another one's is forgotten.
    void setFolder(const FileEntry& folder);
    /// Withdraws the request.
    void clear();

private:
    QWidget* buildFacts();
    QLabel* addFact(QWidget* row, const char* title, const char* name);
    QLabel* addText(const QString& text, const char* role = "secondary");
    void fill(const FolderInsight& insight);
    void fillTree(const FolderInsight& insight);

    AppModel& app_;
    QVBoxLayout* column_;
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
