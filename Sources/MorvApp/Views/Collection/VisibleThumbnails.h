// The pictures of the files that one collection has in sight: asked for when they have come to rest there,
// withdrawn when they are gone, and drawn once for the size and density in which they are shown. Scrolling past ten
// thousand photographs asks for none of them. Main thread.
#pragma once

#include "MorvApp/Model/EntrySelection.h"
#include "MorvApp/Model/ThumbnailCache.h"

#include <QObject>
#include <QPixmap>
#include <QTimer>
#include <functional>
#include <optional>
#include <unordered_map>
#include <vector>

namespace morv {

struct ThemeColours;

class VisibleThumbnails : public QObject {
    Q_OBJECT

public:
    /// `inSight` gives the files that can be seen now, nothing while the view is hidden (the pointers are used at
    /// once), and `size` the points of their pictures.
    VisibleThumbnails(ThumbnailCache& cache, std::function<std::vector<const FileEntry*>()> inSight,
                      std::function<int()> size, QObject* parent);
    ~VisibleThumbnails() override;

    /// Something else may be in sight, or in another size, as when it is scrolled: asked for when that has come to
    /// rest.
    void changed();
    /// As changed(), but not put off by the next call: a folder that is being read grows all the time.
    void grown();
    /// The picture with its frame, at most `size` points wide and high; null: there is none yet, or never. Until the
    /// one of this size has come, the one of the last size is given.
    QPixmap picture(const FileEntry& entry, int size, qreal density);
    /// Whether its picture has come since arrived() was told last; to be asked while that is told.
    bool hasArrived(const FileEntry& entry) const;
    /// The frames have other colours now.
    void redraw();

    /// Draws without keeping: on a hairline where the picture fills its frame, with a mark for films.
    static QPixmap render(const MediaPicture& picture, FileKind kind, int size, qreal density,
                          const ThemeColours& colours);

Q_SIGNALS:
    void arrived();

private:
    struct Shown {
        std::optional<Date> modifiedAt;
        MediaPicture picture;
        int madeFor = 0; ///< points; of another size than wanted: it only stands in
        QPixmap pixmap;
        int size = 0;
        qreal density = 0;
        bool isNew = false;
    };
    struct Asked {
        ThumbnailCache::Wish wish = 0;
        std::optional<Date> modifiedAt;
        int size = 0;
        bool isOver = false;

        bool isFor(int points, std::optional<Date> date) const {
            return size == points && modifiedAt == date;
        }
    };
    template <class Value>
    using ByEntry = std::unordered_map<EntryKey, Value, EntryKeyHash, std::equal_to<>>;

    void ask();
    void tell();
    void come(const EntryKey& key, std::optional<Date> modifiedAt, int size, const MediaPicture& picture);

    ThumbnailCache& cache_;
    std::function<std::vector<const FileEntry*>()> inSight_;
    std::function<int()> size_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    ByEntry<Shown> shown_;
    ByEntry<Asked> asked_;
    QTimer rest_;
    QTimer telling_;
};

} // namespace morv
