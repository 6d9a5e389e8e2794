// The clipboard of a real window system, with a second program at the other end.
#include "MorvApp/Views/Window/SystemClipboard.h"
#include "Tests/MorvApp/Support.h"

#include <QClipboard>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QMimeData>
#include <QProcess>
#include <condition_variable>
#include <csignal>
#include <fstream>
#include <memory>
#include <mutex>
#include <sstream>
#include <thread>

namespace morv {
namespace {

using test::eventually;
using testing::ElementsAre;
using testing::IsEmpty;
using Contents = ClipboardBoard::Contents;
using Mode = FileClipboard::Mode;
using namespace std::chrono_literals;

const auto plain = FileURL::fromPath("/a/one file.txt");
const auto bytes = FileURL::fromPath("/a/\xff");

class SystemClipboardTest : public test::FolderTest {
protected:
    /// Another program owns the clipboard from here on.
    void offerByAnother(const Contents& contents) {
        QStringList words = {QStringLiteral("offer")};
        for (std::size_t i = 0; i < contents.size(); ++i) {
            const auto path = file("offer" + std::to_string(i), contents[i].second).path();
            words << QString::fromStdString(contents[i].first) << QString::fromStdString(path);
        }
        const auto before = board.changeCount();
        partner = std::make_unique<QProcess>();
        start(words);
        // The end of an earlier owner is a change too: nothing is offered then.
        ASSERT_TRUE(eventually([&] {
            return board.changeCount() != before &&
                   !QGuiApplication::clipboard()->mimeData()->formats().isEmpty();
        }));
    }
    std::vector<std::string> readByAnother(const std::vector<const char*>& types) {
        const auto place = folder("read");
        QStringList words = {QStringLiteral("read"), QString::fromStdString(place.path())};
        for (const auto* type : types)
            words << QLatin1String(type);
        partner = std::make_unique<QProcess>();
        start(words);
        std::vector<std::string> found;
        for (std::size_t i = 0; i < types.size(); ++i) {
            std::ostringstream text;
            text << std::ifstream(place.path() + "/" + std::to_string(i), std::ios::binary).rdbuf();
            found.push_back(std::move(text).str());
        }
        return found;
    }
    void start(const QStringList& words) {
        partner->start(QStringLiteral(CLIPBOARD_PARTNER), words);
        // The event loop goes on: the partner may have to ask this process.
        ASSERT_TRUE(eventually([&] { return partner->canReadLine(); }));
    }
    pid_t partnerID() const { return static_cast<pid_t>(partner->processId()); }
    static void kill(QProcess& process) {
        process.kill();
        process.waitForFinished();
    }

    ~SystemClipboardTest() override {
        if (partner)
            kill(*partner);
    }

    SystemClipboard board;
    FileClipboard clipboard{board};
    std::unique_ptr<QProcess> partner;
};

TEST_F(SystemClipboardTest, othersReceiveEveryByteAndACutStaysACut) {
    ASSERT_TRUE(clipboard.write({plain, bytes}, Mode::move));
    EXPECT_THAT(readByAnother({FileClipboard::uriListType, FileClipboard::copiedFilesType,
                               FileClipboard::cutSelectionType, FileClipboard::plainTextType}),
                ElementsAre("file:///a/one%20file.txt\r\nfile:///a/%FF\r\n",
                            "cut\nfile:///a/one%20file.txt\nfile:///a/%FF", "1",
                            "/a/one file.txt\n/a/\xef\xbf\xbd"));
    const auto offer = clipboard.read();
    EXPECT_EQ(offer.mode, Mode::move) << "being read by others is no change";
    EXPECT_THAT(offer.urls, ElementsAre(plain, bytes));

    std::vector<FileURL> many;
    for (int i = 0; i < 50'000; ++i)
        many.push_back(FileURL::fromPath("/a long folder name/\xff and item " + std::to_string(i)));
    ASSERT_TRUE(clipboard.write(many, Mode::copy));
    const auto list = readByAnother({FileClipboard::uriListType}).front();
    EXPECT_EQ(std::ranges::count(list, '\n'), 50'000);
    EXPECT_TRUE(list.ends_with("item%2049999\r\n"));
}

TEST_F(SystemClipboardTest, whatOthersOfferIsReadAsTheyMeantIt) {
    using namespace std::string_literals;
    std::string manyURIs = "copy";
    for (int i = 0; i < 50'000; ++i)
        manyURIs += "\nfile:///folder/item%20" + std::to_string(i);
    struct Row {
        const char* name;
        Contents contents;
        Mode mode;
        std::size_t count;
        FileURL first;
    };
    const Row rows[] = {
        {"cut with a mark",
         {{"x-special/gnome-copied-files", "cut\nfile:///a/%FF"}, {"text/uri-list", "file:///other\r\n"}},
         Mode::move,
         1,
         bytes},
        {"list and a mark",
         {{"text/uri-list", "file:///a/%FF\r\nfile:///b\r\n"}, {"application/x-kde-cutselection", "1"}},
         Mode::move,
         2,
         bytes},
        {"list alone", {{"text/uri-list", "file:///a/%FF\r\n"}}, Mode::copy, 1, bytes},
        {"text alone", {{"text/plain", "/a/one file.txt\nno path\n"}}, Mode::copy, 1, plain},
        {"many",
         {{"x-special/gnome-copied-files", manyURIs}},
         Mode::copy,
         50'000,
         FileURL::fromPath("/folder/item 0")},
        {"nothing known", {{"image/png", "\x89PNG"}}, Mode::copy, 0, {}},
        {"empty", {{"x-special/gnome-copied-files", ""}, {"text/uri-list", ""}}, Mode::copy, 0, {}},
        {"garbage",
         {{"x-special/gnome-copied-files", "\0\xff\xfe\n\ncut"s},
          {"text/uri-list", std::string(1 << 20, '%')}},
         Mode::copy,
         0,
         {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        offerByAnother(row.contents);
        const auto offer = clipboard.read();
        EXPECT_EQ(offer.mode, row.mode);
        ASSERT_EQ(offer.urls.size(), row.count);
        if (row.count > 0) {
            EXPECT_EQ(offer.urls.front(), row.first);
        }
        kill(*partner);
    }
}

TEST_F(SystemClipboardTest, aCutEndsWhenAnotherProgramTakesTheClipboard) {
    ASSERT_TRUE(clipboard.write({plain}, Mode::move));
    offerByAnother({{"text/uri-list", "file:///a/one%20file.txt\r\n"}});
    EXPECT_EQ(clipboard.read().mode, Mode::copy) << "the same file, but not our cut";
    clipboard.completedMove({{plain, bytes}});
    EXPECT_THAT(clipboard.read().urls, ElementsAre(plain)) << "another program's clipboard is left alone";
    const auto before = board.changeCount();
    kill(*partner);
    EXPECT_TRUE(eventually([&] { return board.changeCount() != before; }));
    EXPECT_THAT(clipboard.read().urls, IsEmpty());
}

TEST_F(SystemClipboardTest, anOwnerThatHangsOrDiesHoldsNobodyUpForLong) {
    const Contents contents = {{"text/uri-list", "file:///a/%FF\r\n"}};
    const auto readTime = [&] {
        QElapsedTimer time;
        time.start();
        EXPECT_THAT(clipboard.read().urls, IsEmpty());
        return time.elapsed();
    };
    offerByAnother(contents);
    ASSERT_EQ(::kill(partnerID(), SIGSTOP), 0);
    const auto hung = readTime();
    EXPECT_LT(hung, 8'000) << "one time limit, not one for each format";
    EXPECT_LT(readTime(), 1'000) << "it is not asked again";
    RecordProperty("hungOwnerMilliseconds", static_cast<int>(hung));
    kill(*partner);

    offerByAnother(contents);
    ASSERT_EQ(::kill(partnerID(), SIGSTOP), 0);
    std::mutex mutex;
    std::condition_variable_any never;
    const std::jthread killer([&, id = partnerID()](const std::stop_token& stop) {
        std::unique_lock lock(mutex);
        never.wait_for(lock, stop, 300ms, [] { return false; });
        ::kill(id, SIGKILL);
    });
    EXPECT_LT(readTime(), 8'000);
    partner->waitForFinished();

    offerByAnother(contents);
    EXPECT_THAT(clipboard.read().urls, ElementsAre(bytes)) << "the next owner is asked again";
}

} // namespace
} // namespace morv
