#include "MorvApp/Integration/DecoderHelper.h"
#include "MorvApp/Integration/SharedThumbnails.h"
#include "MorvCore/Foundation/Errors.h"
#include "Tests/MorvApp/Support.h"

#include <QImage>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>

namespace morv {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;

MediaPicture plain(int side, std::byte grey) {
    auto pixels = std::make_shared<std::vector<std::byte>>(static_cast<std::size_t>(side * side * 4), grey);
    for (std::size_t i = 3; i < pixels->size(); i += 4)
        (*pixels)[i] = std::byte{0xFF};
    return {side, side, std::shared_ptr<const std::byte>(pixels, pixels->data())};
}

class CountingDecoder : public MediaDecoder {
public:
    DecodedMedia decode(const MediaRequest& request, const std::stop_token&) const override {
        asked.push_back(request.side);
        if (meanwhile)
            meanwhile();
        if (fault)
            fault();
        DecodedMedia media;
        media.picture = plain(request.side, std::byte{0x40});
        return media;
    }
    bool understands(const FileURL&) const override { return true; }

    mutable std::vector<int> asked;
    std::function<void()> fault;
    std::function<void()> meanwhile;
};

class SharedThumbnailTest : public test::FolderTest {
protected:
    /// One that nobody has written for an hour.
    FileURL settled(const std::string& name) {
        const auto made = file(name);
        setTime(made, ::time(nullptr) - 3600);
        return made;
    }
    static void setTime(const FileURL& item, std::time_t seconds) {
        const timespec times[] = {{seconds, 5}, {seconds, 5}};
        ASSERT_EQ(::utimensat(AT_FDCWD, item.path().c_str(), times, 0), 0);
    }
    static std::time_t timeOf(const FileURL& item) {
        struct stat found {};
        EXPECT_EQ(::stat(item.path().c_str(), &found), 0);
        return found.st_mtime;
    }
    FileURL png(const char* bucket, const FileURL& of) {
        return cache.child(bucket).child(thumbnailName(thumbnailURI(of)));
    }
    /// As another program would.
    void foreign(const FileURL& at, const FileURL& of, std::time_t modified, int side = 100) {
        QImage image(side, side, QImage::Format_RGB32);
        image.fill(QColor(0x70, 0x70, 0x70));
        image.setText(QStringLiteral("Thumb::URI"), QString::fromStdString(thumbnailURI(of)));
        image.setText(QStringLiteral("Thumb::MTime"), QString::number(modified));
        fs::create_directories(at.parent().path());
        ASSERT_TRUE(image.save(QString::fromStdString(at.path()), "PNG"));
    }
    MediaPicture make(const FileURL& of, int side = 128) { return thumbnails.make(of, side, {}); }
    static std::byte grey(const MediaPicture& picture) { return picture ? *picture.pixels : std::byte{0}; }

    FileURL cache = root.child("cache").child("thumbnails");
    std::shared_ptr<CountingDecoder> decoder = std::make_shared<CountingDecoder>();
    SharedThumbnails thumbnails{decoder, cache, "9"};
};

TEST(ThumbnailFile, namesAreMadeOfBytes) {
    EXPECT_EQ(thumbnailName(thumbnailURI(FileURL::fromPath("/home/jens/photos/me.png"))),
              "c6ee772d9e49320e97ec29a7eb5b1697.png");
    EXPECT_EQ(thumbnailURI(FileURL::fromPath("/a\xFF \xC3\xA4#%?[]\"<>;!$&'()*+,-.:=@_~^`{|}")),
              "file:///a%FF%20%C3%A4%23%25%3F%5B%5D%22%3C%3E%3B!$&'()*+,-.:=@_~%5E%60%7B%7C%7D");
}

TEST_F(SharedThumbnailTest, isMadeOnceAndReadableByItsOwnerOnly) {
    const auto photo = settled("photo ä.jpg");
    EXPECT_EQ(make(photo, 200).width, 200);
    EXPECT_THAT(decoder->asked, ElementsAre(256));
    const auto written = png("large", photo);
    for (const auto& [item, mode] : {std::pair{written, 0600U}, {written.parent(), 0700U}, {cache, 0700U}}) {
        struct stat found {};
        ASSERT_EQ(::stat(item.path().c_str(), &found), 0);
        EXPECT_EQ(found.st_mode & 07777U, mode) << item.path();
    }
    EXPECT_EQ(names(written.parent()).size(), 1U) << "nothing temporary is left";
    std::ifstream reading(written.path(), std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(reading), {}};
    for (const auto& text : {"Thumb::URI" + std::string(1, '\0') + thumbnailURI(photo),
                             "Thumb::MTime" + std::string(1, '\0') + std::to_string(timeOf(photo))})
        EXPECT_LT(bytes.find("tEXt" + text), bytes.find("IDAT")) << text;
    EXPECT_EQ(QImage(QString::fromStdString(written.path())).text(QStringLiteral("Thumb::MTime")),
              QString::number(timeOf(photo)))
        << "whole for other readers too";
    for (const int side : {256, 130, 100}) {
        const auto again = make(photo, side);
        EXPECT_EQ(again.width, side);
        EXPECT_EQ(grey(again), std::byte{0x40});
    }
    EXPECT_EQ(decoder->asked.size(), 1U);
    EXPECT_EQ(make(photo, 2000).width, 2000) << "larger than any that are kept";
    setTime(photo, timeOf(photo) + 1);
    make(photo, 200);
    EXPECT_THAT(decoder->asked, ElementsAre(256, 2000, 256)) << "it is of an older file";
}

TEST_F(SharedThumbnailTest, usesWhatOthersMadeOnlyWhileItIsOfThisFile) {
    const auto photo = settled("photo.jpg");
    const auto other = settled("other.jpg");
    const auto modified = timeOf(photo);
    const auto normal = png("normal", photo);
    const struct {
        const char* name;
        std::function<void()> put;
        bool isUsed;
    } rows[] = {
        {"of this file", [&] { foreign(normal, photo, modified); }, true},
        {"older", [&] { foreign(normal, photo, modified - 1); }, false},
        {"newer", [&] { foreign(normal, photo, modified + 1); }, false},
        {"of another file", [&] { foreign(normal, other, modified); }, false},
        {"larger than its folder says", [&] { foreign(normal, photo, modified, 300); }, false},
        {"larger, in its place", [&] { foreign(png("x-large", photo), photo, modified, 300); }, true},
        {"cut off",
         [&] {
             foreign(normal, photo, modified);
             fs::resize_file(normal.path(), 60);
         },
         false},
        {"a folder", [&] { fs::create_directories(normal.path()); }, false},
        {"a pipe",
         [&] {
             fs::create_directories(normal.parent().path());
             ASSERT_EQ(::mkfifo(normal.path().c_str(), 0600), 0);
         },
         false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        fs::remove_all(cache.path());
        decoder->asked.clear();
        row.put();
        const auto picture = make(photo, 128);
        EXPECT_EQ(grey(picture), row.isUsed ? std::byte{0x70} : std::byte{0x40});
        EXPECT_EQ(decoder->asked.empty(), row.isUsed);
    }
}

TEST_F(SharedThumbnailTest, failuresAreRememberedWhileTheFileStaysAsItIs) {
    const auto broken = settled("broken.jpg");
    decoder->fault = [] { throw MediaError("damaged"); };
    for (int i = 0; i < 2; ++i)
        EXPECT_THROW(make(broken), MediaError);
    EXPECT_EQ(decoder->asked.size(), 1U);
    EXPECT_THAT(names(cache.child("fail").child("morv-9")), ElementsAre(thumbnailName(thumbnailURI(broken))));
    const auto newer = SharedThumbnails(decoder, cache, "10");
    EXPECT_THROW(newer.make(broken, 128, {}), MediaError);
    EXPECT_EQ(decoder->asked.size(), 2U) << "another version may show more";
    setTime(broken, timeOf(broken) + 1);
    decoder->fault = nullptr;
    EXPECT_TRUE(make(broken));

    const std::function<void()> faults[] = {[] { throw DecoderGone("gone"); },
                                            [] { throw CancellationError(); },
                                            [] { throw PosixError(EACCES); }};
    const auto unlucky = settled("unlucky.jpg");
    for (const auto& fault : faults) {
        decoder->fault = fault;
        EXPECT_ANY_THROW(make(unlucky));
        decoder->fault = nullptr;
        EXPECT_TRUE(make(unlucky)) << "of the file that said nothing";
        fs::remove_all(cache.child("normal").path());
    }
}

TEST_F(SharedThumbnailTest, writesNothingOfWhatIsStillBeingWrittenOrOfItself) {
    const auto fresh = file("fresh.jpg");
    EXPECT_TRUE(make(fresh));
    decoder->fault = [] { throw MediaError("damaged"); };
    EXPECT_THROW(make(fresh), MediaError);
    decoder->fault = nullptr;
    const auto growing = settled("growing.jpg");
    decoder->meanwhile = [&] { setTime(growing, timeOf(growing) + 1); };
    EXPECT_TRUE(make(growing));
    EXPECT_FALSE(fs::exists(cache.path()));
    decoder->meanwhile = nullptr;

    make(settled("photo.jpg"));
    decoder->asked.clear();
    EXPECT_THROW(make(png("normal", work.child("photo.jpg"))), MediaError);
    EXPECT_THAT(decoder->asked, IsEmpty());
    fs::remove_all(cache.path());
    std::ofstream(cache.path()) << "in the way";
    EXPECT_TRUE(make(settled("other.jpg"))) << "a cache that cannot be written costs no picture";
}

} // namespace
} // namespace morv
