#include "MorvApp/Model/ThumbnailCache.h"
#include "MorvCore/Folders/DirectoryService.h"
#include "Tests/MorvApp/Support.h"

#include <condition_variable>
#include <mutex>

namespace morv {
namespace {

using test::eventually;
using testing::ElementsAre;
using testing::IsEmpty;

/// Makes pictures as wide as they were asked for, when the test lets it.
class HeldMaker : public ThumbnailMaker {
public:
    bool understands(const FileURL& file) const override { return file.extension() == "jpg"; }
    MediaPicture make(const FileURL& file, int side, const std::stop_token&) const override {
        std::unique_lock lock(mutex_);
        begun_.emplace_back(file.lastComponent());
        if (file.lastComponent().starts_with("dead")) {
            changed_.wait(lock, [&] { return isReleased_; });
        } else {
            changed_.wait(lock, [&] { return permits_ > 0; });
            --permits_;
        }
        if (fails)
            throw MediaError("damaged");
        auto pixels = std::make_shared<std::vector<std::byte>>(static_cast<std::size_t>(side * side * 4));
        return {side, side, std::shared_ptr<const std::byte>(pixels, pixels->data())};
    }
    void permit(int count) {
        const std::lock_guard lock(mutex_);
        permits_ += count;
        changed_.notify_all();
    }
    /// Those of files called dead….
    void release() {
        const std::lock_guard lock(mutex_);
        isReleased_ = true;
        changed_.notify_all();
    }
    std::vector<std::string> begun() const {
        const std::lock_guard lock(mutex_);
        return begun_;
    }

    std::atomic<bool> fails = false;

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    mutable int permits_ = 0;
    bool isReleased_ = false;
    mutable std::vector<std::string> begun_;
};

class ThumbnailCacheTest : public test::FolderTest {
protected:
    ThumbnailCacheTest() { cache.setMaker(maker); }
    ~ThumbnailCacheTest() override {
        maker->permit(1000);
        maker->release();
    }

    FileEntry photo(const std::string& name) { return DirectoryService::entry(file(name + ".jpg")); }
    ThumbnailCache::Wish ask(const FileEntry& entry, int size = 10) {
        return cache.image(entry, size, [this, name = entry.name](const MediaPicture& picture) {
            answers.push_back(name + (picture ? "" : " none"));
        });
    }
    bool answered(std::size_t count) {
        return eventually([&] { return answers.size() == count; });
    }
    bool begun(std::size_t count) {
        return eventually([&] { return maker->begun().size() == count; });
    }

    std::vector<std::string> answers;
    std::shared_ptr<HeldMaker> maker = std::make_shared<HeldMaker>();
    TaskPools pools;
    ThumbnailCache cache{pools};
};

TEST_F(ThumbnailCacheTest, oneRequestAnswersAllWhoAskForAKey) {
    auto a = photo("a");
    for (int i = 0; i < 3; ++i)
        ask(a);
    EXPECT_THAT(answers, IsEmpty());
    maker->permit(1);
    ASSERT_TRUE(answered(3));
    ask(a);
    EXPECT_EQ(answers.size(), 4U) << "at once, as it is kept";
    EXPECT_EQ(cache.known(a, 10).width, 20) << "two pixels for a point";
    EXPECT_THAT(maker->begun(), ElementsAre("a.jpg"));

    EXPECT_FALSE(cache.known(a, 11));
    a.modifiedAt->sinceReference += 0.5;
    EXPECT_FALSE(cache.known(a, 10)) << "a changed file has another key";
    ask(a);
    maker->permit(1);
    ASSERT_TRUE(answered(5));
    EXPECT_THAT(maker->begun(), ElementsAre("a.jpg", "a.jpg"));
}

TEST_F(ThumbnailCacheTest, theSeventhWaitsAndTheOldestGoesFirst) {
    std::vector<ThumbnailCache::Wish> wishes;
    for (int i = 0; i < 10; ++i)
        wishes.push_back(ask(photo(std::to_string(i))));
    ASSERT_TRUE(begun(6));
    cache.withdraw(wishes[7]);
    EXPECT_THAT(answers, ElementsAre("7.jpg none")) << "completed, though nothing was made";
    cache.withdraw(wishes[7]);
    cache.withdraw(wishes[0]);
    EXPECT_EQ(answers.size(), 1U) << "what is being made goes on";
    for (std::size_t i = 1; i <= 3; ++i) {
        EXPECT_EQ(maker->begun().size(), 5 + i);
        maker->permit(1);
        ASSERT_TRUE(answered(1 + i));
        ASSERT_TRUE(begun(6 + i));
    }
    const auto order = maker->begun();
    EXPECT_THAT(std::vector(order.begin() + 6, order.end()), ElementsAre("6.jpg", "8.jpg", "9.jpg"));
    maker->permit(10);
    ASSERT_TRUE(answered(10));
}

TEST_F(ThumbnailCacheTest, whatIsNotHereOrHasNoPictureIsAnsweredAtOnce) {
    auto away = photo("away");
    away.availability = FileAvailability::notDownloaded;
    ask(away);
    ask(DirectoryService::entry(folder("work/folder.jpg")));
    ask(DirectoryService::entry(file("text.txt")));
    cache.setMaker(nullptr);
    ask(photo("nobody"));
    EXPECT_THAT(answers, ElementsAre("away.jpg none", "folder.jpg none", "text.txt none", "nobody.jpg none"));
    EXPECT_THAT(maker->begun(), IsEmpty());
}

TEST_F(ThumbnailCacheTest, aFailureIsTriedAgain) {
    const auto a = photo("a");
    maker->permit(2);
    maker->fails = true;
    ask(a);
    ASSERT_TRUE(answered(1));
    maker->fails = false;
    ask(a);
    ASSERT_TRUE(answered(2));
    EXPECT_THAT(answers, ElementsAre("a.jpg none", "a.jpg"));
}

TEST_F(ThumbnailCacheTest, requestsThatHangDoNotHoldUpTheOthers) {
    cache.setPatience(std::chrono::milliseconds(50));
    const auto dead = photo("dead");
    ask(dead);
    for (int i = 1; i < 6; ++i)
        ask(photo("dead " + std::to_string(i)));
    ask(photo("live"));
    maker->permit(1);
    ASSERT_TRUE(answered(7));
    EXPECT_EQ(std::ranges::count(answers, "live.jpg"), 1);
    EXPECT_EQ(std::ranges::count(answers, "dead.jpg none"), 1);
    ask(dead);
    EXPECT_EQ(answers.size(), 8U) << "while it hangs it has no picture";
    EXPECT_EQ(maker->begun().size(), 7U);
    maker->release();
    EXPECT_TRUE(eventually([&] {
        ask(dead);
        return static_cast<bool>(cache.known(dead, 10));
    })) << "and can be asked for again when it is back";
}

TEST_F(ThumbnailCacheTest, keepsWhatWasAskedForLastWithinItsBounds) {
    maker->permit(1000);
    auto entry = photo("a");
    const auto named = [&entry](int i) {
        entry.name = std::to_string(i) + ".jpg";
        return entry;
    };
    const int all = static_cast<int>(ThumbnailCache::capacity);
    for (int i = 0; i < all; ++i)
        ask(named(i), 1);
    ASSERT_TRUE(answered(ThumbnailCache::capacity));
    ask(named(0), 1);
    ask(named(all), 1);
    ASSERT_TRUE(answered(ThumbnailCache::capacity + 2));
    EXPECT_TRUE(cache.known(named(0), 1)) << "asked for again";
    EXPECT_TRUE(cache.known(named(all), 1));
    int gone = 0;
    for (int i = 1; i < all; ++i)
        gone += cache.known(named(i), 1) ? 0 : 1;
    // Which of those that were made side by side is the oldest, the workers decide.
    EXPECT_EQ(gone, 1);
    // 2000 x 2000 pixels of four bytes: four of them are all that fits.
    for (int i = 0; i < 8; ++i)
        ask(named(i), 1000);
    ASSERT_TRUE(answered(ThumbnailCache::capacity + 10));
    int kept = 0;
    for (int i = 0; i < 8; ++i)
        kept += cache.known(named(i), 1000) ? 1 : 0;
    EXPECT_EQ(kept, 4);
    EXPECT_FALSE(cache.known(named(all), 1));
}

} // namespace
} // namespace morv
