// The preview in its window, by real keys: what it shows, and what it shows of hostile or slow files.
#include "MorvApp/Model/MediaDecoder.h"
#include "MorvApp/Model/TextHighlighter.h"
#include "MorvApp/Views/Preview/ArchiveListView.h"
#include "MorvApp/Views/Preview/PreviewCanvas.h"
#include "MorvApp/Views/Preview/PreviewStateView.h"
#include "MorvApp/Views/Preview/PreviewWindow.h"
#include "MorvApp/Views/Preview/TextPreviewView.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvApp/Views/Window/WindowActions.h"
#include "MorvCore/Folders/DirectoryService.h"
#include "MorvCore/Foundation/Mutex.h"
#include "Tests/MorvApp/WindowFixture.h"
#include "Tests/Support/ArchiveBuilder.h"
#include "Tests/Support/Gate.h"

#include <QClipboard>
#include <QImage>
#include <QLabel>
#include <QMouseEvent>
#include <QScopeGuard>
#include <QTextBlock>
#include <QTextLayout>
#include <QTreeView>
#include <QWheelEvent>
#include <algorithm>
#include <atomic>
#include <filesystem>
#include <memory>

namespace morv {
namespace {

using test::eventually;

/// A picture of one colour for each name, as large as asked for, of an original of 4000 × 2000. Documents have
/// three pages. "slow" waits for the gate; "broken" is damaged, and of "torn" the second page.
class FakeDecoder : public MediaDecoder {
public:
    DecodedMedia decode(const MediaRequest& request, const std::stop_token&) const override {
        {
            const MutexLock lock(mutex_);
            requests_.push_back(request);
        }
        if (request.file.stem() == "slow")
            gate.wait();
        if (request.file.stem() == "broken" || (request.file.stem() == "torn" && request.page == 1))
            throw MediaError("The picture is damaged.");
        const int side = std::min(request.side, 4000);
        auto image = std::make_shared<QImage>(side, side / 2, QImage::Format_ARGB32_Premultiplied);
        image->fill(colourOf(request.file, request.page));
        const auto* bytes = reinterpret_cast<const std::byte*>(image->constBits());
        const bool isDocument = request.file.extension() == "pdf";
        return {{side, side / 2, std::shared_ptr<const std::byte>(image, bytes)},
                isDocument ? 800 : 4000,
                isDocument ? 400 : 2000,
                isDocument ? 3 : 0,
                {{"Dimensions", "4000 × 2000"}, {"Camera", "made \xE2\x80\xAE up"}}};
    }
    bool understands(const FileURL& file) const override {
        return file.extension() == "png" || file.extension() == "pdf";
    }
    /// By the name alone: the same in every run, so that two names that share one are noticed at once.
    static QRgb colourOf(const FileURL& file, int page = 0) {
        const auto hue = static_cast<int>(std::hash<std::string_view>()(file.lastComponent()) % 300);
        return QColor::fromHsv(hue + 20 * page, 255, 255).rgb();
    }
    std::vector<MediaRequest> requests() const {
        const MutexLock lock(mutex_);
        return requests_;
    }

    mutable test::Gate gate;

private:
    mutable Mutex mutex_;
    mutable std::vector<MediaRequest> requests_ MORV_GUARDED_BY(mutex_);
};

/// Each "int" is a type. "slow.c" waits for the gate; of "hard.c" nothing is known in time.
class FakeHighlighter : public TextHighlighter {
public:
    std::vector<TextHighlight> highlight(const HighlightRequest& request,
                                         const std::stop_token& stop) const override {
        if (request.name == "slow.c") {
            gate.wait();
            wasStopped = stop.stop_requested();
        }
        if (request.name == "hard.c")
            throw MediaError("The file took too long to decode.");
        std::vector<TextHighlight> found;
        for (auto at = request.text.find("int"); at != std::string::npos;
             at = request.text.find("int", at + 1))
            found.push_back({at, 3, TextStyle::type});
        return found;
    }

    mutable test::Gate gate;
    mutable std::atomic<bool> wasStopped = false; ///< when the gate opened
};

/// What is coloured, in the order of the text: the words, a blank after each.
QString coloured(const TextPreviewView& view, const QColor& colour) {
    QString words;
    for (auto block = view.document()->begin(); block.isValid(); block = block.next())
        for (const auto& range : block.layout()->formats())
            if (range.format.foreground().color() == colour)
                words += block.text().mid(range.start, range.length) + QLatin1Char(' ');
    return words;
}

class PreviewTest : public test::WindowTest {
protected:
    void openWithDecoder() {
        services.emplace(environment());
        services->mediaDecoder = decoder;
        services->textHighlighter = highlighter;
        window.emplace(*services, board, work);
        window->show();
        window->activateWindow();
        ASSERT_TRUE(eventually([&] { return window->isActiveWindow() && window->collection().hasFocus(); }));
        ASSERT_TRUE(settled());
    }
    PreviewPane& pane() { return window->preview()->pane(); }
    /// Selects the first item and presses Space.
    void preview() {
        key(Qt::Key_Home);
        key(Qt::Key_Space);
        ASSERT_TRUE(window->preview());
        ASSERT_TRUE(eventually([&] { return window->preview()->isActiveWindow(); }));
    }
    bool shows(const std::string& name) { return pane().entry() && pane().entry()->name == name; }
    QRgb middle() {
        const auto image = pane().canvas().grab().toImage();
        return image.pixel(image.rect().center());
    }
    bool showsPicture(const std::string& name, int page = 0) {
        return eventually([&] {
            return shows(name) && pane().content() == &pane().canvas() &&
                   middle() == FakeDecoder::colourOf(work.child(name), page);
        });
    }

    bool showsWords(const QString& words) {
        return eventually([&] {
            return pane().content() == &pane().text() &&
                   coloured(pane().text(), Theme::shared().colours().source.type) == words;
        });
    }

    std::shared_ptr<FakeDecoder> decoder = std::make_shared<FakeDecoder>();
    std::shared_ptr<FakeHighlighter> highlighter = std::make_shared<FakeHighlighter>();
};

TEST_F(PreviewTest, spaceOpensArrowsMoveWithTheSelectionAndEscapeGivesTheKeyboardBack) {
    for (const auto* name : {"a.png", "b.png", "c.txt"})
        file(name, "some text");
    openWithDecoder();
    ASSERT_TRUE(WindowActions::isOffered(FileCommand::preview));
    key(Qt::Key_Space);
    EXPECT_FALSE(window->preview() && window->preview()->isVisible()) << "nothing is selected";

    preview();
    EXPECT_TRUE(showsPicture("a.png"));
    EXPECT_EQ(pane().accessibleName(), QStringLiteral("Preview of a.png"));
    EXPECT_EQ(pane().findChild<QLabel*>(QStringLiteral("previewCaption"))->toolTip(),
              QStringLiteral("Camera made ␦ up"))
        << "the dimensions stand in the line above";
    key(Qt::Key_Right);
    EXPECT_TRUE(showsPicture("b.png"));
    EXPECT_EQ(selected(), std::vector<std::string>{"b.png"});
    key(Qt::Key_Down);
    ASSERT_TRUE(eventually([&] { return pane().content() == &pane().text(); }));
    EXPECT_EQ(pane().text().toPlainText(), QStringLiteral("some text"));
    key(Qt::Key_Right);
    EXPECT_EQ(selected(), std::vector<std::string>{"c.txt"}) << "there is nothing behind the last";
    key(Qt::Key_Left);
    EXPECT_EQ(selected(), std::vector<std::string>{"b.png"});

    key(Qt::Key_Escape);
    EXPECT_FALSE(window->preview()->isVisible());
    ASSERT_TRUE(eventually([&] { return window->isActiveWindow() && window->collection().hasFocus(); }));
    key(Qt::Key_Right, Qt::ShiftModifier);
    EXPECT_EQ(selected().size(), 2U) << "the collection goes on from where the preview was";
    key(Qt::Key_Space);
    ASSERT_TRUE(eventually([&] { return window->preview()->isActiveWindow(); }));
    key(Qt::Key_Space);
    EXPECT_FALSE(window->preview()->isVisible());
}

TEST_F(PreviewTest, ofSeveralSelectedTheArrowsShowEachAndTheSelectionStays) {
    for (const auto* name : {"a.png", "b.png", "c.png", "d.png"})
        file(name);
    openWithDecoder();
    key(Qt::Key_Home);
    key(Qt::Key_Right, Qt::ShiftModifier);
    key(Qt::Key_Space);
    ASSERT_TRUE(eventually([&] { return window->preview()->isActiveWindow(); }));
    EXPECT_TRUE(showsPicture("a.png"));
    const auto both = selected();
    ASSERT_GE(both.size(), 2U);
    for (std::size_t i = 0; i < both.size(); ++i)
        key(Qt::Key_Right);
    EXPECT_TRUE(showsPicture(both.back()));
    EXPECT_EQ(selected(), both);
    // It follows what happens in the window meanwhile, and closes with it.
    app().activePane().setSelection({EntryKey(app().activePane().displayedEntry(3))});
    EXPECT_TRUE(showsPicture("d.png"));
    std::filesystem::remove(work.child("d.png").path());
    EXPECT_TRUE(eventually([&] {
        return pane().content() == &pane().state() &&
               pane().state().title().contains(QStringLiteral("no longer there"));
    }));
    window->close();
    EXPECT_FALSE(window->preview()->isVisible());
}

TEST_F(PreviewTest, itsKeysAreTheUsersAndFollowTheReadingDirection) {
    file("a.png");
    file("b.png");
    openWithDecoder();
    const auto* action = window->findChild<WindowActions*>()->action(FileCommand::preview);
    EXPECT_EQ(action->text(), QStringLiteral("Quick Look\tSpace"))
        << "a menu shows it, and the window has no such key";
    EXPECT_EQ(action->toolTip(), QStringLiteral("Quick Look"));
    services->keys.setKeys(FileCommand::preview, {"Space", "F8"});
    EXPECT_EQ(action->text(), QStringLiteral("Quick Look")) << "F8 is the window's own";
    preview();
    EXPECT_TRUE(showsPicture("a.png"));
    window->preview()->setLayoutDirection(Qt::RightToLeft);
    key(Qt::Key_Left);
    EXPECT_TRUE(showsPicture("b.png"));
    key(Qt::Key_Right);
    EXPECT_TRUE(showsPicture("a.png"));
    EXPECT_LE(window->preview()->width(), window->width());
    EXPECT_LE(window->preview()->height(), window->height());
    key(Qt::Key_F8);
    EXPECT_FALSE(window->preview()->isVisible()) << "the key that opens it closes it";
}

TEST_F(PreviewTest, spaceInATypedNameIsTextAndAButtonKeepsItsOwnSpace) {
    file("a b.txt");
    file("a.txt");
    open();
    type(QStringLiteral("a"));
    key(Qt::Key_Space);
    EXPECT_EQ(selected(), std::vector<std::string>{"a b.txt"});
    EXPECT_FALSE(window->preview() && window->preview()->isVisible());
    for (auto* action : window->actions())
        EXPECT_FALSE(action->shortcuts().contains(QKeySequence(Qt::Key_Space)));
}

TEST_F(PreviewTest, anAnswerThatComesLateIsDroppedAndAPictureIsAskedForLargerWhenItGrows) {
    file("next.png");
    file("slow.png");
    openWithDecoder();
    key(Qt::Key_End);
    key(Qt::Key_Space);
    ASSERT_TRUE(eventually([&] { return window->preview()->isActiveWindow(); }));
    ASSERT_TRUE(decoder->gate.waitUntilReached());
    key(Qt::Key_Left);
    EXPECT_TRUE(showsPicture("next.png"));
    decoder->gate.open();
    // The late answer has been delivered when a later one has.
    const auto before = decoder->requests().size();
    const int side = decoder->requests().back().side;
    key(Qt::Key_1);
    EXPECT_NEAR(pane().canvas().scale(), 1, 1e-9);
    ASSERT_TRUE(eventually([&] { return decoder->requests().size() > before; }));
    EXPECT_GT(decoder->requests().back().side, side);
    EXPECT_TRUE(showsPicture("next.png"));
    key(Qt::Key_0);
    EXPECT_TRUE(pane().canvas().fits());
    const auto asked = decoder->requests().size();
    key(Qt::Key_Minus);
    key(Qt::Key_Right);
    EXPECT_TRUE(showsPicture("slow.png"));
    EXPECT_TRUE(pane().canvas().fits()) << "another picture is fitted";
    EXPECT_EQ(decoder->requests().size(), asked + 1) << "smaller asks for nothing";
}

TEST_F(PreviewTest, aTextIsThereAtOnceAndItsColoursComeLaterOrNever) {
    file("hard.c", "int c;");
    file("next.c", "char b; int c;");
    file("slow.c", "int a; int b;");
    openWithDecoder();
    key(Qt::Key_End);
    key(Qt::Key_Space);
    ASSERT_TRUE(eventually([&] { return window->preview()->isActiveWindow(); }));
    ASSERT_TRUE(eventually([&] { return highlighter->gate.isReached(); }));
    EXPECT_TRUE(showsWords({}));
    EXPECT_EQ(pane().text().toPlainText(), QStringLiteral("int a; int b;"));
    key(Qt::Key_Left);
    EXPECT_TRUE(showsWords(QStringLiteral("int ")));
    highlighter->gate.open();
    EXPECT_TRUE(eventually([&] { return highlighter->wasStopped.load(); })) << "nobody waits for it any more";
    key(Qt::Key_Right);
    EXPECT_TRUE(showsWords(QStringLiteral("int int ")));
    const auto back = qScopeGuard([] { Theme::shared().apply(Look{}); });
    Theme::shared().apply(Appearance::dark);
    EXPECT_TRUE(showsWords(QStringLiteral("int int "))) << "in the colours of the new look";
    key(Qt::Key_Left);
    key(Qt::Key_Left);
    EXPECT_TRUE(eventually([&] { return shows("hard.c") && pane().content() == &pane().text(); }));
    EXPECT_TRUE(showsWords({}));
    EXPECT_EQ(pane().text().toPlainText(), QStringLiteral("int c;"));
}

TEST_F(PreviewTest, pagesTurnWithinTheDocument) {
    file("report.pdf");
    openWithDecoder();
    preview();
    ASSERT_TRUE(showsPicture("report.pdf", 0));
    key(Qt::Key_PageUp);
    key(Qt::Key_PageDown);
    EXPECT_TRUE(showsPicture("report.pdf", 1));
    key(Qt::Key_End);
    EXPECT_TRUE(showsPicture("report.pdf", 2));
    key(Qt::Key_PageDown);
    key(Qt::Key_PageUp);
    EXPECT_TRUE(showsPicture("report.pdf", 1));
    // However near: more than the decoder makes is never asked for.
    for (int i = 0; i < 20; ++i)
        key(Qt::Key_Plus);
    EXPECT_TRUE(eventually([&] { return decoder->requests().back().side == MediaRequest::largestSide; }));
    key(Qt::Key_Plus);
    key(Qt::Key_PageDown);
    EXPECT_TRUE(showsPicture("report.pdf", 2));
    for (const auto& request : decoder->requests()) {
        EXPECT_TRUE(request.page >= 0 && request.page < 3) << request.page;
        EXPECT_LE(request.side, MediaRequest::largestSide);
    }
}

TEST_F(PreviewTest, aPageThatCannotBeShownIsPassedOver) {
    file("torn.pdf");
    openWithDecoder();
    preview();
    ASSERT_TRUE(showsPicture("torn.pdf", 0));
    key(Qt::Key_PageDown);
    ASSERT_TRUE(eventually([&] { return pane().content() == &pane().state(); }));
    EXPECT_EQ(pane().state().sentence(), QStringLiteral("The picture is damaged."));
    key(Qt::Key_PageDown);
    EXPECT_TRUE(showsPicture("torn.pdf", 2));
}

TEST_F(PreviewTest, whatHasNoPictureHasAStateWithASentence) {
    file("broken.png");
    std::filesystem::create_symlink("nowhere", work.path() + "/dead link");
    file("empty.txt", "");
    file("not really.zip");
    file("\xE2\x80\xAE"
         "cod.exe",
         std::string(64, '\0'));
    openWithDecoder();
    preview();
    const struct {
        const char* name;
        const char* title;
        const char* sentence;
    } rows[] = {
        {"broken.png", "broken.png", "damaged"},
        {"dead link", "cannot be shown", "original"},
        {"empty.txt", "empty.txt", "empty"},
        {"not really.zip", "cannot be shown", ""},
        {"\xE2\x80\xAE"
         "cod.exe",
         "␦cod.exe", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto& order = app().activePane().displayedEntries();
        for (std::size_t i = 0; i < order.size(); ++i)
            if (app().activePane().displayedEntry(i).name == row.name)
                app().activePane().setSelection({EntryKey(app().activePane().displayedEntry(i))});
        EXPECT_TRUE(eventually([&] {
            return shows(row.name) && pane().content() == &pane().state() &&
                   pane().state().title().contains(QString::fromUtf8(row.title)) &&
                   pane().state().sentence().contains(QString::fromUtf8(row.sentence));
        })) << pane().state().title().toStdString()
            << pane().state().sentence().toStdString();
    }
    auto cloud = app().activePane().displayedEntry(0);
    cloud.availability = FileAvailability::notDownloaded;
    const auto before = decoder->requests().size();
    pane().show(cloud);
    EXPECT_TRUE(pane().state().sentence().contains(QStringLiteral("cloud")));
    EXPECT_EQ(decoder->requests().size(), before);
}

TEST_F(PreviewTest, anArchiveIsAListAndAColumnShowsTheSameBesideFacts) {
    test::ArchivePlan plan;
    plan.members = {{.name = "notes/", .data = "", .mode = 040755},
                    {.name = "notes/\xE2\x80\xAEtxt.a", .data = "12345"}};
    file("a.zip", test::archiveBytes(plan));
    file("b.png");
    openWithDecoder();
    preview();
    ASSERT_TRUE(eventually([&] { return pane().content() == &pane().archive(); }));
    const auto* model = pane().archive().list().model();
    ASSERT_EQ(model->rowCount(), 2);
    EXPECT_EQ(model->index(1, 0).data().toString(), QStringLiteral("notes/␦txt.a"));
    EXPECT_EQ(model->index(1, 1).data().toString(), QStringLiteral("5 bytes"));
    key(Qt::Key_Escape);

    PreviewPane column(app(), PreviewPane::Detail::column);
    column.resize(280, 600);
    column.QWidget::show();
    column.show(DirectoryService::entry(work.child("b.png")));
    EXPECT_TRUE(eventually([&] { return column.content() == &column.canvas(); }));
    const auto facts = column.findChildren<QWidget*>(QStringLiteral("factValue"));
    EXPECT_TRUE(std::ranges::any_of(facts, [](const QWidget* fact) {
        return fact->accessibleName() == QStringLiteral("Camera: made ␦ up");
    }));
    column.clear();
    EXPECT_FALSE(column.entry());
    EXPECT_EQ(column.content(), &column.state());
}

TEST(PreviewTextView, aLineWithoutEndIsQuickAndCopiedWhole) {
    TextPreviewView view(TextPreviewView::LineNumbers::show, nullptr);
    view.resize(600, 400);
    QString text = QStringLiteral("first\n");
    while (text.size() < static_cast<qsizetype>(previewTextLimit))
        text += QStringLiteral("function(){return a😀b};");
    text += QStringLiteral("\nlast\n\n");
    view.setPreview({text, "UTF-8", true});
    view.show();
    view.grab();
    // Shaped as one line it would take minutes.
    EXPECT_EQ(view.document()->begin().userState(), 1);
    EXPECT_EQ(view.document()->lastBlock().userState(), 5) << "pieces count as one line";
    view.selectAll();
    view.copy();
    EXPECT_EQ(QApplication::clipboard()->text(), text);
    auto cursor = view.textCursor();
    cursor.setPosition(3);
    cursor.setPosition(3000, QTextCursor::KeepAnchor);
    view.setTextCursor(cursor);
    view.copy();
    EXPECT_TRUE(text.contains(QApplication::clipboard()->text()));
    EXPECT_EQ(QApplication::clipboard()->text().count(QLatin1Char('\n')), 1);
}

TEST(PreviewTextView, coloursStandWhereTheyBelongAlsoInLinesThatAreInPieces) {
    TextPreviewView view(TextPreviewView::LineNumbers::hide, nullptr);
    const QString line(TextPreviewView::longestPiece - 2, QLatin1Char('.'));
    const auto text = QStringLiteral("/* one\n\ntwo */ ") + line + QStringLiteral("abcd\nlast");
    view.setPreview({text, "UTF-8", true});
    const auto at = [&](const char* word) {
        return static_cast<std::size_t>(text.indexOf(QLatin1String(word)));
    };
    view.setHighlights({{0, at(" .."), TextStyle::comment},
                        {at("abcd"), 4, TextStyle::type},
                        {at("last"), 4, TextStyle::type}});
    const auto& colours = Theme::shared().colours().source;
    EXPECT_EQ(coloured(view, colours.comment), QStringLiteral("/* one two */ "));
    EXPECT_EQ(coloured(view, colours.type).remove(QLatin1Char(' ')), QStringLiteral("abcdlast"));
    view.setPreview({text, "UTF-8", true});
    EXPECT_TRUE(coloured(view, colours.type).isEmpty()) << "another text has its own";
}

TEST(PreviewCanvas, zoomsAroundThePointerAndKeepsThePictureInSight) {
    PreviewCanvas canvas(PreviewCanvas::Hands::zoom, nullptr);
    canvas.resize(400, 300);
    QImage image(1000, 500, QImage::Format_RGB32);
    image.fill(Qt::red);
    canvas.begin(image, {4000, 2000}, PreviewCanvas::Content::picture);
    EXPECT_NEAR(canvas.scale(), 0.1, 1e-9);
    EXPECT_EQ(canvas.wantedSide(), 400);
    const QPointF pointer(100, 150);
    const auto under = [&] {
        const auto place = canvas.pictureRect();
        return (pointer.x() - place.left()) / place.width();
    };
    const auto before = under();
    QWheelEvent wheel(pointer, canvas.mapToGlobal(pointer), {}, QPoint(0, 1200), Qt::NoButton,
                      Qt::ControlModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(&canvas, &wheel);
    EXPECT_GT(canvas.scale(), 0.5);
    EXPECT_NEAR(under(), before, 1e-6);
    const auto scale = canvas.scale();
    canvas.refine(image.scaled(2000, 1000), {4000, 2000});
    EXPECT_EQ(canvas.scale(), scale) << "sharper, not elsewhere";
    const auto mouse = [&](QEvent::Type type, QPointF at) {
        const auto held = type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
        QMouseEvent event(type, at, canvas.mapToGlobal(at), Qt::LeftButton, held, Qt::NoModifier);
        QApplication::sendEvent(&canvas, &event);
    };
    mouse(QEvent::MouseButtonPress, {200, 150});
    mouse(QEvent::MouseMove, {4000, 4000});
    mouse(QEvent::MouseButtonRelease, {4000, 4000});
    EXPECT_NEAR(canvas.pictureRect().left(), 0, 1e-6) << "no further than its edge";
    canvas.zoomBy(1000);
    EXPECT_LE(canvas.scale(), 16);
    EXPECT_LE(static_cast<double>(canvas.wantedSide()) * canvas.wantedSide() / 2, 41e6);
    canvas.zoomBy(1e-6);
    EXPECT_GE(canvas.scale(), 0.099);
    EXPECT_TRUE(canvas.rect().contains(canvas.pictureRect().toAlignedRect()));

    QImage icon(16, 16, QImage::Format_RGB32);
    icon.fill(Qt::blue);
    canvas.begin(icon, {16, 16}, PreviewCanvas::Content::picture);
    EXPECT_NEAR(canvas.scale(), 1, 1e-9) << "a fitted picture is not enlarged";
    canvas.begin(icon, {16, 16}, PreviewCanvas::Content::page);
    EXPECT_NEAR(canvas.pictureRect().height(), 300, 1e-6) << "a page fills the place";
}

} // namespace
} // namespace morv
