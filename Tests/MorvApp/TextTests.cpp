#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Window/ProgressStrip.h"
#include "MorvCore/Platform/UserFolders.h"
#include "Tests/MorvApp/Support.h"

#include <QDateTime>
#include <QGuiApplication>
#include <QScopeGuard>
#include <QTextLayout>

namespace morv {
namespace {

TEST(Text, aTypedPathBecomesALocationAndNothingElse) {
    const auto base = FileURL::folder("/base/sub");
    struct Row {
        const char* typed;
        std::string expected;
    };
    const Row rows[] = {
        {"/tmp/x/", "/tmp/x"},
        {"  /tmp/x  ", "/tmp/x"},
        {"~", homeFolder().path()},
        {"~/Music", homeFolder().path() + "/Music"},
        {"~other", "/base/sub/~other"},
        {"deeper/and/../on", "/base/sub/deeper/on"},
        {"..", "/base"},
        {"../../../..", "/"},
        {"file:///a%20b", "/a b"},
        {"https://example.org", "/base/sub/https:/example.org"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(typedLocation(QString::fromUtf8(row.typed), base).path(), row.expected) << row.typed;
}

TEST(Text, namesFromOutsideCannotDisguiseThemselves) {
    EXPECT_EQ(shown("plain é.txt"), QString::fromUtf8("plain é.txt"));
    for (const auto* name : {"cod\xe2\x80\xaegnp.exe", "line\nbreak", "tab\there", "bad\xff"}) {
        const auto text = shown(name);
        for (const auto character : text)
            EXPECT_FALSE(character.category() == QChar::Other_Control ||
                         character.category() == QChar::Other_Format)
                << name;
    }
    EXPECT_EQ(shownPath(homeFolder().child("Music")), QStringLiteral("~/Music"));
    EXPECT_EQ(shownPath(FileURL::fromPath(homeFolder().path() + "2/x")), shown(homeFolder().path() + "2/x"))
        << "only what lies in the home folder";
}

TEST(Text, ofALongNameBothEndsAreShownAndNoCharacterIsBroken) {
    const std::string longest(4096, 'n');
    EXPECT_EQ(shownBriefly(longest).size(), 4096) << "what a file system can hold is shown whole";
    std::string huge = "begin";
    while (huge.size() < 10'000'000)
        huge += "é";
    huge += "end.txt";
    const auto brief = shownBriefly(huge);
    EXPECT_LT(brief.size(), 1100);
    EXPECT_TRUE(brief.startsWith(QLatin1String("begin")) && brief.endsWith(QLatin1String("end.txt")));
    EXPECT_FALSE(brief.contains(QChar::ReplacementCharacter));
}

TEST(Text, datesAndKindsReadAsPeopleSayThem) {
    const auto at = [](const QDateTime& moment) {
        return shownDate(Date::fromUnix(static_cast<double>(moment.toSecsSinceEpoch())));
    };
    const auto noon = QDateTime(QDate::currentDate(), QTime(12, 5));
    EXPECT_EQ(at(noon), QStringLiteral("Today 12:05"));
    EXPECT_EQ(at(QDateTime(noon.date(), QTime(0, 0))), QStringLiteral("Today 00:00"));
    EXPECT_EQ(at(noon.addDays(-1)), QStringLiteral("Yesterday 12:05"));
    EXPECT_EQ(at(QDateTime(QDate(2024, 3, 3), QTime(14, 2))), QStringLiteral("3 Mar 2024 14:02"));
    EXPECT_FALSE(at(noon.addDays(1)).startsWith(QLatin1String("Today")));

    const auto kind = [](const char* name, FileKind family) {
        FileEntry entry;
        entry.name = name;
        entry.kind = family;
        return shownKind(entry);
    };
    EXPECT_EQ(kind("a.png", FileKind::image), QStringLiteral("PNG image"));
    EXPECT_EQ(kind("Makefile", FileKind::other), QStringLiteral("File"));
    EXPECT_EQ(kind(".profile", FileKind::other), QStringLiteral("File"));
    EXPECT_EQ(kind("a.verylong", FileKind::other), QStringLiteral("File"));
    EXPECT_EQ(shownCount(1), QStringLiteral("1 item"));
    EXPECT_EQ(shownCount(0), QStringLiteral("0 items"));
}

TEST(ProgressStrip, saysOnlyWhatIsKnown) {
    OperationProgress progress;
    EXPECT_EQ(ProgressStrip::amounts(progress), QString());
    progress.bytesDone = 1'200'000'000;
    EXPECT_EQ(ProgressStrip::amounts(progress), QStringLiteral("1.2 GB"));
    progress.itemsDone = 123;
    EXPECT_EQ(ProgressStrip::amounts(progress), QStringLiteral("123 items · 1.2 GB"))
        << "while a tree is read nobody knows how much it holds";
    progress.itemsDone = 0;
    progress.bytesTotal = 3'600'000'000;
    progress.itemsTotal = 1;
    EXPECT_EQ(ProgressStrip::amounts(progress), QStringLiteral("1.2 GB of 3.6 GB"));
    progress.bytesPerSecond = 20'000'000;
    EXPECT_EQ(ProgressStrip::amounts(progress),
              QStringLiteral("1.2 GB of 3.6 GB · 20 MB/s · about 2 minutes left"));
    progress.bytesDone = progress.bytesTotal - 1;
    EXPECT_TRUE(ProgressStrip::amounts(progress).endsWith(QLatin1String("a few seconds left")));
}

TEST(Text, namesPathsAndAmountsReadInTheirOwnDirectionInAMirroredWindow) {
    const auto back = qScopeGuard([] { QGuiApplication::setLayoutDirection(Qt::LeftToRight); });
    for (const auto* text : {"~/Documents/Harbour", "49.45 GB free", "2025.pdf", "(draft)"})
        for (const auto direction : {Qt::LeftToRight, Qt::RightToLeft}) {
            SCOPED_TRACE(testing::Message() << text << (direction == Qt::RightToLeft ? ", mirrored" : ""));
            QGuiApplication::setLayoutDirection(direction);
            const auto drawn = inOwnDirection(QString::fromUtf8(text));
            QTextLayout layout(drawn);
            QTextOption option;
            option.setTextDirection(direction);
            layout.setTextOption(option);
            layout.beginLayout();
            const auto line = layout.createLine();
            layout.endLayout();
            const auto first = static_cast<int>(drawn.indexOf(QString::fromUtf8(text)));
            const auto last = first + static_cast<int>(qstrlen(text)) - 1;
            for (int at = first + 1; at < last; ++at)
                EXPECT_LT(line.cursorToX(at), line.cursorToX(at + 1)) << at;
        }
}

} // namespace
} // namespace morv
