// The pictures of the files that a window shows.
#include "MorvApp/Views/Collection/VisibleThumbnails.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvCore/Foundation/Mutex.h"
#include "Tests/MorvApp/WindowFixture.h"
#include "Tests/Support/Gate.h"

#include <QImage>
#include <QScopeGuard>
#include <QScrollBar>
#include <atomic>
#include <set>

namespace morv {
namespace {

using test::eventually;

MediaPicture filled(int width, int height, QColor colour) {
    auto image = std::make_shared<QImage>(width, height, QImage::Format_ARGB32_Premultiplied);
    image->fill(colour);
    const auto* pixels = reinterpret_cast<const std::byte*>(image->constBits());
    return {width, height, std::shared_ptr<const std::byte>(image, pixels)};
}

class ColourMaker : public ThumbnailMaker {
public:
    bool understands(const FileURL&) const override { return true; }
    MediaPicture make(const FileURL& file, int side, const std::stop_token&) const override {
        const MutexLock lock(mutex_);
        asked_.emplace(file.lastComponent());
        if (file.stem() == "broken")
            throw MediaError("damaged");
        return filled(side, side / 2, Qt::magenta);
    }
    bool wasAsked(const std::string& name) const {
        const MutexLock lock(mutex_);
        return asked_.contains(name);
    }

private:
    mutable Mutex mutex_;
    mutable std::set<std::string> asked_ MORV_GUARDED_BY(mutex_);
};

QImage render(const MediaPicture& picture, FileKind kind, int size, qreal density) {
    return VisibleThumbnails::render(picture, kind, size, density, Theme::shared().colours()).toImage();
}

TEST(ThumbnailFrame, fitsThePixelsOfTheScreenAndKeepsTransparency) {
    const auto photo = filled(240, 120, Qt::magenta);
    const auto fine = render(photo, FileKind::image, 100, 2);
    EXPECT_EQ(fine.size(), QSize(200, 100));
    EXPECT_EQ(fine.devicePixelRatio(), 2);
    EXPECT_EQ(qAlpha(fine.pixel(0, 0)), 0) << "round corners";
    EXPECT_EQ(fine.pixelColor(100, 50), QColor(Qt::magenta));
    EXPECT_NE(fine.pixelColor(0, 50), QColor(Qt::magenta)) << "a hairline";
    EXPECT_NE(render(photo, FileKind::video, 100, 2), fine) << "a film is told from a photograph";
    const auto small = render(filled(16, 8, Qt::magenta), FileKind::image, 100, 1);
    EXPECT_EQ(small.size(), QSize(16, 8)) << "pixels are not blown up";
    const auto glass = render(filled(240, 120, QColor(0, 0, 0, 0)), FileKind::image, 100, 1);
    EXPECT_EQ(glass.pixelColor(0, 30).alpha(), 0) << "no frame around what is transparent";
    EXPECT_EQ(render(filled(4000, 1, Qt::magenta), FileKind::image, 100, 1).size(), QSize(100, 1));
}

class ThumbnailViewTest : public test::WindowTest {
protected:
    void openWith(std::shared_ptr<const ThumbnailMaker> with) {
        open();
        services->thumbnails.setMaker(std::move(with));
        app().refresh();
    }
    bool isShown(std::int64_t index) {
        auto& collection = window->collection();
        const auto image = collection.viewport()->grab(collection.visualRect(index)).toImage();
        for (int y = 0; y < image.height(); ++y)
            if (image.pixelColor(image.width() / 2, y) == QColor(Qt::magenta))
                return true;
        return false;
    }

    std::shared_ptr<ColourMaker> maker = std::make_shared<ColourMaker>();
};

TEST_F(ThumbnailViewTest, aPictureTakesThePlaceOfTheIcon) {
    file("a.jpg");
    file("broken.jpg");
    openWith(maker);
    ASSERT_TRUE(eventually([&] { return isShown(0); }));
    ASSERT_TRUE(eventually([&] { return maker->wasAsked("broken.jpg"); }));
    EXPECT_FALSE(isShown(1)) << "its icon";
}

TEST_F(ThumbnailViewTest, whatIsOnlyScrolledPastIsNotAskedFor) {
    constexpr int count = 600;
    for (int i = 0; i < count; ++i)
        file(std::to_string(1000 + i) + ".jpg");
    openWith(maker);
    ASSERT_TRUE(eventually([&] { return maker->wasAsked("1000.jpg"); }));
    auto* bar = window->collection().verticalScrollBar();
    for (int step = 1; step <= 50; ++step) {
        bar->setValue(bar->maximum() * step / 50);
        QCoreApplication::processEvents();
    }
    ASSERT_TRUE(eventually([&] { return maker->wasAsked("1599.jpg"); }));
    EXPECT_FALSE(maker->wasAsked("1300.jpg"));
    ASSERT_TRUE(eventually([&] { return isShown(count - 1); }));
    bar->setValue(0);
    EXPECT_TRUE(isShown(0)) << "what is kept is there at once";
}

TEST_F(ThumbnailViewTest, aViewThatIsLaidOutAllTheTimeAsksAllTheSame) {
    file("a.jpg");
    open();
    services->thumbnails.setMaker(maker);
    int width = 1000;
    EXPECT_TRUE(eventually([&] {
        width = width == 1000 ? 1001 : 1000;
        window->resize(width, 700);
        return maker->wasAsked("a.jpg");
    })) << "as while a large folder is read";
}

/// Red and slow for a size of 100 points, green for others.
class SizedMaker : public ThumbnailMaker {
public:
    bool understands(const FileURL&) const override { return true; }
    MediaPicture make(const FileURL&, int side, const std::stop_token&) const override {
        if (side != 200)
            return filled(side, side, Qt::green);
        isWaiting = true;
        gate.wait();
        return filled(side, side, Qt::red);
    }

    mutable std::atomic<bool> isWaiting = false;
    mutable test::Gate gate;
};

TEST_F(ThumbnailViewTest, aPictureOfAnotherSizeThatComesLateIsDropped) {
    file("a.jpg");
    open();
    const auto entry = app().activePane().displayedEntry(0);
    const auto sized = std::make_shared<SizedMaker>();
    const auto letGo = qScopeGuard([&] { sized->gate.open(); });
    ThumbnailCache cache(services->pools);
    cache.setMaker(sized);
    int size = 100;
    VisibleThumbnails pictures(
        cache, [&] { return std::vector<const FileEntry*>{&entry}; }, [&] { return size; }, nullptr);
    const auto colour = [&] {
        const auto picture = pictures.picture(entry, size, 1).toImage();
        return picture.isNull() ? QColor() : picture.pixelColor(picture.rect().center());
    };
    pictures.changed();
    ASSERT_TRUE(eventually([&] { return sized->isWaiting.load(); }));
    size = 50;
    pictures.changed();
    ASSERT_TRUE(eventually([&] { return colour() == QColor(Qt::green); }));
    sized->gate.open();
    ASSERT_TRUE(eventually([&] { return bool(cache.known(entry, 100)); }));
    EXPECT_EQ(colour(), QColor(Qt::green));
}

} // namespace
} // namespace morv
