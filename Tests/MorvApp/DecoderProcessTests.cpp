#include "MorvCore/Foundation/Errors.h"
#include "Tests/MorvApp/DecoderFixture.h"

#include <QBuffer>
#include <QColorSpace>
#include <QImage>
#include <QPainter>
#include <QPdfWriter>
#include <filesystem>
#include <fstream>
#include <future>
#include <set>
#include <sys/stat.h>
#include <sys/wait.h>

namespace morv {
namespace {

using test::children;
using test::eventually;
using test::sentenceOf;
using testing::AnyOf;
using testing::Contains;
using testing::HasSubstr;
using testing::StrEq;
using namespace std::chrono_literals;

constexpr const char* tooLong = "The file took too long to decode.";
constexpr const char* ended = "The file could not be decoded: its reader ended unexpectedly.";

QRgb pixel(const MediaPicture& picture, int x, int y) {
    const auto* bytes = picture.pixels.get() + (y * picture.width + x) * 4;
    const auto at = [bytes](int i) { return std::to_integer<int>(bytes[i]); };
    return qRgba(at(2), at(1), at(0), at(3));
}

/// Compression leaves no colour exactly as it was.
bool isNear(QRgb a, QRgb b) {
    const auto close = [](int x, int y) { return std::abs(x - y) <= 6; };
    return close(qRed(a), qRed(b)) && close(qGreen(a), qGreen(b)) && close(qBlue(a), qBlue(b)) &&
           close(qAlpha(a), qAlpha(b));
}

class DecoderTest : public test::DecoderTest {
protected:
    FileURL image(const std::string& name, int width, int height, QColor colour, const char* format) {
        QImage made(width, height, QImage::Format_ARGB32);
        made.fill(colour);
        EXPECT_TRUE(made.save(QString::fromStdString(path(name).path()), format));
        return path(name);
    }
};

TEST_F(DecoderTest, showsImagesDrawingsDocumentsAndRecordings) {
    const DecoderProcess decoder(limits());
    image("opaque.png", 400, 200, {10, 120, 230}, "PNG");
    image("veil.png", 40, 20, {200, 100, 0, 128}, "PNG");
    image("photo.jpg", 3000, 1500, {10, 120, 230}, "JPEG");
    image("old.bmp", 400, 200, {10, 120, 230}, "BMP");
    file("drawing.svg", "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 20 10'>"
                        "<rect width='20' height='10' fill='#0a78e6'/></svg>");
    {
        QPdfWriter document(QString::fromStdString(path("paper.pdf").path()));
        document.setPageSize(QPageSize(QSizeF(200, 100), QPageSize::Millimeter));
        document.setTitle(QStringLiteral("Harbour"));
        QPainter painter(&document);
        document.newPage();
        painter.fillRect(QRect(0, 0, 100'000, 100'000), QColor(10, 120, 230));
    }
    QImage wide(400, 200, QImage::Format_RGB32);
    wide.fill(QColor(10, 120, 200));
    wide.setColorSpace(QColorSpace::DisplayP3);
    ASSERT_TRUE(wide.save(QString::fromStdString(path("wide.png").path()), "PNG"));
    const auto inSRGB = wide.convertedToColorSpace(QColorSpace::SRgb).pixel(0, 0);
    ASSERT_FALSE(isNear(inSRGB, wide.pixel(0, 0)));
    const struct {
        const char* name;
        int page;
        int width, height, naturalWidth, naturalHeight;
        QRgb colour;
        MediaFact fact;
    } rows[] = {
        {"opaque.png", 0, 100, 50, 400, 200, qRgb(10, 120, 230), {"Dimensions", "400 × 200"}},
        {"veil.png", 0, 40, 20, 40, 20, qRgba(100, 50, 0, 128), {"Depth", "8 bits per channel"}},
        {"photo.jpg", 0, 100, 50, 3000, 1500, qRgb(10, 120, 230), {"Colours", "RGB"}},
        {"wide.png", 0, 100, 50, 400, 200, inSRGB, {"Dimensions", "400 × 200"}},
        {"old.bmp", 0, 100, 50, 400, 200, qRgb(10, 120, 230), {"Dimensions", "400 × 200"}},
        {"drawing.svg", 0, 100, 50, 20, 10, qRgb(10, 120, 230), {"Dimensions", "20 × 10"}},
        {"paper.pdf", 1, 100, 50, 567, 283, qRgb(10, 120, 230), {"Title", "Harbour"}},
        {"paper.pdf", 0, 100, 50, 567, 283, qRgb(255, 255, 255), {"Pages", "2"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_TRUE(decoder.understands(path(row.name)));
        const auto media = decoder.decode({path(row.name), 100, row.page}, {});
        ASSERT_TRUE(media.picture);
        EXPECT_EQ(media.picture.width, row.width);
        EXPECT_EQ(media.picture.height, row.height);
        EXPECT_EQ(media.naturalWidth, row.naturalWidth);
        EXPECT_EQ(media.naturalHeight, row.naturalHeight);
        EXPECT_TRUE(isNear(pixel(media.picture, row.width / 2, row.height / 2), row.colour));
        EXPECT_THAT(media.facts, Contains(row.fact));
    }
    EXPECT_EQ(decoder.decode({path("paper.pdf"), 100, 0}, {}).pageCount, 2);
    EXPECT_EQ(sentenceOf<MediaError>([&] {
                  decoder.decode({path("paper.pdf"), 100, 2}, {});
              }),
              "The document has fewer pages.");

    // RIFF WAVE: PCM, two channels, 8000 Hz, 16 bits; two seconds.
    const std::string header(
        "RIFF\x24\xFA\0\0WAVEfmt \x10\0\0\0\x01\0\x02\0\x40\x1F\0\0\0\x7D\0\0\x04\0\x10\0data"
        "\0\xFA\0\0",
        44);
    file("sound.wav", header + std::string(64'000, '\0'));
    const auto sound = decoder.decode({path("sound.wav"), 100, 0}, {});
    EXPECT_FALSE(sound.picture);
    for (const auto& fact : {MediaFact{"Duration", "0:02"}, {"Sample rate", "8 kHz"}, {"Channels", "Stereo"}})
        EXPECT_THAT(sound.facts, Contains(fact));
}

std::string number(std::uint32_t value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}
std::string chunk(const char* type, const std::string& body) {
    return type + number(static_cast<std::uint32_t>(body.size())) + body + std::string(body.size() % 2, '\0');
}

/// AVI (RIFF) with photographs as its frames, 25 in a second: the first tenth is black.
std::string film(int frames) {
    const auto frame = [](QColor colour) {
        QImage made(320, 240, QImage::Format_RGB32);
        made.fill(colour);
        QByteArray bytes;
        QBuffer buffer(&bytes);
        made.save(&buffer, "JPEG");
        return chunk("00dc", bytes.toStdString());
    };
    std::string header;
    for (const int field : {40'000, 0, 0, 16, frames, 0, 1, 0, 320, 240, 0, 0, 0, 0})
        header += number(static_cast<std::uint32_t>(field));
    std::string stream = "vidsMJPG";
    for (const int field : {0, 0, 0, 1, 25, 0, frames, 0, 0, 0, 0, 320 | 240 << 16})
        stream += number(static_cast<std::uint32_t>(field));
    std::string format = number(40) + number(320) + number(240) + number(1 | 24 << 16) + "MJPG";
    format += number(320 * 240 * 3) + std::string(16, '\0');
    std::string pictures = "movi";
    std::string index;
    for (int i = 0; i < frames; ++i) {
        const auto picture = frame(i < frames / 10 ? Qt::black : QColor(10, 120, 230));
        index += "00dc" + number(16) + number(static_cast<std::uint32_t>(pictures.size())) +
                 number(static_cast<std::uint32_t>(picture.size() - 8));
        pictures += picture;
    }
    return chunk(
        "RIFF", "AVI " +
                    chunk("LIST", "hdrl" + chunk("avih", header) +
                                      chunk("LIST", "strl" + chunk("strh", stream) + chunk("strf", format))) +
                    chunk("LIST", pictures) + chunk("idx1", index));
}

TEST_F(DecoderTest, aFilmShowsAFrameFromBehindItsBeginning) {
    const DecoderProcess decoder(limits());
    const auto media = decoder.decode({file("film.avi", film(50)), 160, 0}, {});
    EXPECT_EQ(media.naturalWidth, 320);
    ASSERT_EQ(media.picture.width, 160);
    EXPECT_TRUE(isNear(pixel(media.picture, 80, 60), qRgb(10, 120, 230)));
    for (const auto& fact :
         {MediaFact{"Dimensions", "320 × 240"}, {"Duration", "0:02"}, {"Video", "Motion JPEG"}})
        EXPECT_THAT(media.facts, Contains(fact));
}

TEST_F(DecoderTest, turnsAPhotographAsItsCameraWasHeld) {
    QImage made(300, 100, QImage::Format_RGB32);
    made.fill(Qt::blue);
    QPainter(&made).fillRect(0, 0, 150, 100, Qt::red);
    const auto photo = path("photo.jpg");
    ASSERT_TRUE(made.save(QString::fromStdString(photo.path()), "JPEG"));
    std::ifstream reading(photo.path(), std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(reading), {}};
    // EXIF: one entry, Orientation 6: the first column is the top.
    const std::string exif("\xFF\xE1\0\x22"
                           "Exif\0\0II*\0\x08\0\0\0\x01\0\x12\x01\x03\0\x01\0\0\0\x06\0\0\0\0\0\0\0",
                           36);
    file("photo.jpg", bytes.insert(2, exif));
    const DecoderProcess decoder(limits());
    const auto media = decoder.decode({photo, 90, 0}, {});
    EXPECT_EQ(media.naturalWidth, 100);
    EXPECT_EQ(media.naturalHeight, 300);
    ASSERT_EQ(media.picture.height, 90);
    EXPECT_TRUE(isNear(pixel(media.picture, 15, 10), qRgb(255, 0, 0)));
    EXPECT_TRUE(isNear(pixel(media.picture, 15, 80), qRgb(0, 0, 255)));
}

TEST_F(DecoderTest, hostileFilesCostTheirPictureAndNothingElse) {
    auto all = limits();
    all.helpers = 1;
    const DecoderProcess decoder(all);
    const auto good = image("good.png", 40, 20, Qt::green, "PNG");
    // A header of 100,000 x 100,000 pixels with a right checksum, and nothing behind it.
    file("gigapixels.png",
         std::string("\x89PNG\r\n\x1A\n\0\0\0\rIHDR\0\x01\x86\xA0\0\x01\x86\xA0\x08\x06\0\0\0"
                     "\xA8\x52\x0B\xC8\0\0\0\0IDAT\x35\xAF\x06\x1E",
                     45));
    file("gigapixels.svg", "<svg xmlns='http://www.w3.org/2000/svg' width='900000' height='900000'/>");
    file("noise.jpg", std::string(5000, '\x5A'));
    file("empty.png", "");
    file("text.mp3", "not a sound at all\n");
    file("playlist.mp3", "#EXTM3U\nfile:///etc/passwd\n");
    file("broken.pdf", "%PDF-1.7\nnothing of one\n");
    file("broken.svg", "<svg xmlns='http://www.w3.org/2000/svg'><g></svg>");
    std::filesystem::create_directory(path("folder.png").path());
    ASSERT_EQ(::mkfifo(path("pipe.png").path().c_str(), 0600), 0);
    std::filesystem::create_symlink("loop.png", path("loop.png").path());
    file("away.png.nextcloud", "");
    for (const auto* name : {"gigapixels.png", "noise.jpg", "empty.png", "text.mp3", "playlist.mp3",
                             "broken.pdf", "broken.svg", "folder.png", "pipe.png", "away.png.nextcloud"}) {
        SCOPED_TRACE(name);
        EXPECT_THROW(decoder.decode({path(name), 100, 0}, {}), MediaError);
        EXPECT_TRUE(decoder.decode({good, 100, 0}, {}).picture);
    }
    EXPECT_EQ(sentenceOf<MediaError>([&] {
                  decoder.decode({path("gigapixels.png"), 100, 0}, {});
              }),
              "The picture is too large for a preview.");
    EXPECT_EQ(decoder.decode({path("gigapixels.svg"), 100, 0}, {}).picture.width, 100)
        << "drawn, not decoded";
    EXPECT_THROW(decoder.decode({path("loop.png"), 100, 0}, {}), PosixError);
    EXPECT_THROW(decoder.decode({path("missing.png"), 100, 0}, {}), PosixError);

    image("cut.jpg", 2000, 1000, Qt::red, "JPEG");
    std::filesystem::resize_file(path("cut.jpg").path(), 9000);
    EXPECT_EQ(decoder.decode({path("cut.jpg"), 100, 0}, {}).naturalWidth, 2000) << "what there is of it";
}

TEST_F(DecoderTest, aDrawingReadsNoOtherFile) {
    const auto secret = "file://" + image("secret.png", 10, 10, Qt::red, "PNG").path();
    const auto text = "file://" + file("secret.txt", "red").path();
    const auto other =
        "file://" +
        file("other.svg",
             "<svg xmlns='http://www.w3.org/2000/svg'><rect width='20' height='20' fill='red'/></svg>")
            .path();
    file("style.css", "rect { fill: red !important; }");
    const struct {
        const char* name;
        std::string before, inside;
    } rows[] = {
        {"an image by its address", "", "<image xlink:href='" + secret + "' width='20' height='20'/>"},
        {"an image beside it", "", "<image href='secret.png' width='20' height='20'/>"},
        {"another drawing", "", "<use xlink:href='" + other + "#a'/><image href='" + other + "'/>"},
        {"an inclusion", "", "<xi:include href='" + other + "'><xi:fallback/></xi:include>"},
        {"a style", "<?xml-stylesheet href='style.css' type='text/css'?>",
         "<style>@import 'style.css';</style>"},
        {"an entity", "<!DOCTYPE svg [<!ENTITY secret SYSTEM '" + text + "'>]>",
         "<rect width='20' height='20' fill='&secret;'/>"},
    };
    const DecoderProcess decoder(limits());
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        file("drawing.svg",
             row.before +
                 "<svg xmlns='http://www.w3.org/2000/svg' xmlns:xlink='http://www.w3.org/1999/xlink' "
                 "xmlns:xi='http://www.w3.org/2001/XInclude' width='20' height='20'>"
                 "<rect width='20' height='20' fill='lime'/>" +
                 row.inside + "</svg>");
        try {
            const auto media = decoder.decode({path("drawing.svg"), 20, 0}, {});
            ASSERT_TRUE(media.picture);
            EXPECT_EQ(pixel(media.picture, 5, 5), qRgb(0, 255, 0));
        } catch (const MediaError&) {
            EXPECT_THAT(row.name, AnyOf(StrEq("an inclusion"), StrEq("an entity"))) << "refused as a whole";
        }
    }
}

TEST_F(DecoderTest, theHelperHasGivenUpItsRights) {
    const DecoderProcess decoder(limits());
    decoder.decode({image("good.png", 4, 4, Qt::green, "PNG"), 100, 0}, {});
    const auto running = children();
    ASSERT_EQ(running.size(), 1U);
    const auto folder = "/proc/" + std::to_string(running.front());
    std::ifstream status(folder + "/status");
    const std::string facts{std::istreambuf_iterator<char>(status), {}};
    EXPECT_THAT(facts, HasSubstr("NoNewPrivs:\t1\n"));
    EXPECT_THAT(facts, HasSubstr("Seccomp:\t2\n"));
    std::ifstream resources(folder + "/limits");
    const std::string bounds{std::istreambuf_iterator<char>(resources), {}};
    EXPECT_THAT(bounds, testing::ContainsRegex("Max file size +0 +0 "));
    EXPECT_THAT(bounds, testing::ContainsRegex("Max open files +64 +64 "));
    // Its socket, the three standard ones, and nothing that it has read.
    std::size_t open = 0;
    for ([[maybe_unused]] const auto& each : std::filesystem::directory_iterator(folder + "/fd"))
        ++open;
    EXPECT_LE(open, 8U);
}

TEST_F(DecoderTest, aHelperThatMisbehavesIsReplaced) {
    auto few = partner();
    few.helpers = 1;
    const auto any = file("any.png");
    const struct {
        const char* name;
        int page;
        std::chrono::milliseconds patience;
        const char* sentence;
    } rows[] = {
        {"hangs", 1, 100ms, tooLong},
        {"dies", 2, 60s, ended},
        {"half an answer", 3, 60s, ended},
        {"wider than asked", 4, 60s, ended},
        {"a negative size", 5, 60s, ended},
        {"fewer facts than said", 6, 60s, ended},
        {"longer than is allowed", 8, 60s, ended},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        few.patience = row.patience;
        const DecoderProcess impatient(few);
        EXPECT_EQ(sentenceOf<MediaError>([&] { impatient.decode({any, 10, row.page}, {}); }), row.sentence);
        EXPECT_TRUE(children().empty());
        EXPECT_EQ(impatient.decode({any, 10, 0}, {}).picture.width, 1) << "the next one works";
    }
    EXPECT_EQ(DecoderProcess(few).decode({any, 10, 7}, {}).facts.front().value, "a\xEF\xBF\xBD");
    const auto silent = path("silent");
    std::filesystem::create_symlink(DECODER_PARTNER, silent.path());
    few.program = silent;
    EXPECT_THROW(DecoderProcess(few).decode({any, 10, 0}, {}), DecoderGone);
    few.program = path("missing");
    EXPECT_THROW(DecoderProcess(few).decode({any, 10, 0}, {}), PosixError);
    EXPECT_TRUE(children().empty());
}

TEST_F(DecoderTest, oneThatWasKilledWhileIdleIsNoticed) {
    const DecoderProcess decoder(partner());
    const auto any = file("any.png");
    const auto first = decoder.decode({any, 10, 0}, {}).facts.front().value;
    ASSERT_EQ(::kill(std::stoi(first), SIGKILL), 0);
    siginfo_t info{};
    ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(std::stoi(first)), &info, WEXITED | WNOWAIT), 0);
    EXPECT_NE(decoder.decode({any, 10, 0}, {}).facts.front().value, first);
}

TEST_F(DecoderTest, aStopEndsWhatWaitsAndWhatRuns) {
    auto few = partner();
    few.helpers = 1;
    const DecoderProcess decoder(few);
    const auto any = file("any.png");
    std::stop_source running;
    std::stop_source waiting;
    const auto cancelled = [&](std::stop_source& source) {
        return std::async(std::launch::async, [&decoder, &source, any] {
            EXPECT_THROW(decoder.decode({any, 10, 1}, source.get_token()), CancellationError);
        });
    };
    auto first = cancelled(running);
    ASSERT_TRUE(eventually([] { return !children().empty(); }));
    auto second = cancelled(waiting);
    waiting.request_stop();
    second.get();
    EXPECT_EQ(children().size(), 1U) << "the other one still runs";
    running.request_stop();
    first.get();
    EXPECT_TRUE(children().empty());
}

TEST_F(DecoderTest, helpersAreFewAndDoNotStay) {
    auto few = partner();
    few.helpers = 2;
    const auto any = file("any.png");
    std::set<std::string> processes;
    {
        const DecoderProcess decoder(few);
        std::vector<std::future<std::string>> all;
        for (int i = 0; i < 12; ++i)
            all.push_back(std::async(std::launch::async, [&] {
                return decoder.decode({any, 10, 0}, {}).facts.front().value;
            }));
        for (auto& each : all)
            processes.insert(each.get());
        EXPECT_LE(processes.size(), 2U);
        EXPECT_FALSE(children().empty());
    }
    EXPECT_TRUE(children().empty()) << "they end with their owner";
    few.helpers = 1;
    few.requestsPerHelper = 2;
    few.idle = 1ms;
    const DecoderProcess renewing(few);
    processes.clear();
    for (int i = 0; i < 6; ++i)
        processes.insert(renewing.decode({any, 10, 0}, {}).facts.front().value);
    EXPECT_GE(processes.size(), 3U);
    EXPECT_TRUE(eventually([] { return children().empty(); })) << "nobody needs them any more";
}

} // namespace
} // namespace morv
