// The insights of the folders that one collection has in sight: asked for when they have come to rest there,
// withdrawn when they are gone. Scrolling past ten thousand folders asks for none of them. Main thread.
#pragma once

#include "MorvApp/Model/FolderInsightCache.h"

#include <QObject>
#include <QTimer>
#include <functional>
#include <vector>

namespace morv {

class VisibleInsights : public QObject {
    Q_OBJECT

public:
    /// `inSight` gives what can be seen now; nothing while the view is hidden. The pointers are used at once.
    VisibleInsights(FolderInsightCache& cache, std::function<std::vector<const FileEntry*>()> inSight,
                    QObject* parent);

    /// Something else may be in sight, as when it is scrolled: asked for when that has come to rest.
    void changed();
    /// As changed(), but not put off by the next call: a folder that is being read grows all the time.
    void grown();
    const FolderInsight* known(const FileEntry& entry) const { return cache_.known(entry); }

Q_SIGNALS:
    /// Some insights have come since the last time.
    void arrived();

private:
    void ask();

    FolderInsightCache& cache_;
    std::function<std::vector<const FileEntry*>()> inSight_;
    std::vector<FolderInsightWish> wishes_;
    QTimer rest_;
    QTimer telling_;
};

} // namespace morv
