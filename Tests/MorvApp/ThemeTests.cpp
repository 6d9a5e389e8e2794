// Contrast as WCAG 2.1 computes it, and a look that changes while windows are open.
#include "MorvApp/Model/LookPreferences.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvApp/Views/Theme/Type.h"
#include "Tests/MorvApp/WindowFixture.h"

#include <QFontInfo>
#include <QImage>
#include <QLabel>
#include <QMessageBox>
#include <QScopeGuard>
#include <QToolTip>
#include <QVariantAnimation>
#include <QWindow>
#include <algorithm>
#include <cmath>

namespace morv {
namespace {

using test::eventually;
using test::WindowTest;

using Role = QColor ThemeColours::*;

double linear(double channel) {
    return channel <= 0.04045 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
}

double luminance(const QColor& colour) {
    return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
           0.0722 * linear(colour.blueF());
}

double ratio(const QColor& a, const QColor& b) {
    const auto [low, high] = std::minmax({luminance(a), luminance(b)});
    return (high + 0.05) / (low + 0.05);
}

QColor over(const QColor& veil, const QColor& ground) {
    const auto mix = [&](float top, float below) {
        return top * veil.alphaF() + below * (1 - veil.alphaF());
    };
    return QColor::fromRgbF(mix(veil.redF(), ground.redF()), mix(veil.greenF(), ground.greenF()),
                            mix(veil.blueF(), ground.blueF()));
}

struct ContrastRow {
    const char* name;
    std::vector<Role> signs;
    std::vector<Role> grounds;
    double least;
};

TEST(Theme, keepsTheContrastsOfTheDesign) {
    using C = ThemeColours;
    const std::vector<Role> plain{&C::window, &C::content, &C::raised};
    const std::vector<Role> all{&C::window, &C::content, &C::raised, &C::selection, &C::quietSelection};
    // Beneath the pointer lies the veil.
    const auto veiled = [](const ThemeColours& colours, Role ground) {
        return over(colours.hover, colours.*ground);
    };
    const std::vector<ContrastRow> standard{
        {"text", {&C::text}, all, 7},
        {"secondary text", {&C::secondaryText}, all, 4.5},
        {"accent as text", {&C::accent}, plain, 4.5},
        {"accent as a ring", {&C::accent}, all, 3},
        {"text on the accent", {&C::accentText}, {&C::accent}, 4.5},
        {"meanings", {&C::warning, &C::failure, &C::success}, plain, 4.5},
    };
    const std::vector<ContrastRow> high{
        {"text", {&C::text, &C::secondaryText}, all, 7},
        {"accent", {&C::accent, &C::warning, &C::failure, &C::success}, plain, 7},
        {"accent as a ring", {&C::accent}, all, 4.5},
        {"text on the accent", {&C::accentText}, {&C::accent}, 7},
        {"lines", {&C::separator}, plain, 7},
    };
    for (const auto appearance : {Appearance::light, Appearance::dark})
        for (const auto contrast : {Contrast::standard, Contrast::high}) {
            const auto& colours = coloursOf(appearance, contrast);
            for (const auto& row : contrast == Contrast::high ? high : standard)
                for (const auto sign : row.signs)
                    for (const auto ground : row.grounds) {
                        SCOPED_TRACE(testing::Message()
                                     << row.name << ": " << (colours.*sign).name().toStdString() << " on "
                                     << (colours.*ground).name().toStdString());
                        EXPECT_GE(ratio(colours.*sign, colours.*ground), row.least);
                    }
            for (const auto ground : plain) {
                EXPECT_GE(ratio(colours.text, veiled(colours, ground)), 7);
                EXPECT_GE(ratio(colours.secondaryText, veiled(colours, ground)), 4.5);
            }
            using S = SourceColours;
            for (const auto word : {&S::comment, &S::string, &S::keyword, &S::type, &S::number,
                                    &S::preprocessor, &S::function, &S::variable})
                EXPECT_GE(ratio(colours.source.*word, colours.content), contrast == Contrast::high ? 7 : 4.5)
                    << (colours.source.*word).name().toStdString();
            EXPECT_EQ(colours.hover.alpha() == 255, contrast == Contrast::high) << "no veil in high contrast";
        }
    EXPECT_NEAR(ratio(QColor(Qt::white), QColor(Qt::black)), 21, 0.01) << "the measure itself";
}

TEST(Type, scalesFontsInPointsAndInPixels) {
    QFont font;
    font.setPointSizeF(10);
    EXPECT_DOUBLE_EQ(Type::title(font).pointSizeF(), 14);
    EXPECT_EQ(Type::title(font).weight(), QFont::DemiBold);
    EXPECT_LT(Type::caption(font).pointSizeF(), 10);
    font.setPixelSize(20);
    EXPECT_EQ(Type::large(font).pixelSize(), 36);
}

/// The part of the pixels that have exactly this colour.
double share(const QImage& picture, const QColor& colour) {
    int found = 0;
    for (int y = 0; y < picture.height(); ++y)
        for (int x = 0; x < picture.width(); ++x)
            found += picture.pixel(x, y) == colour.rgb();
    return static_cast<double>(found) / (picture.width() * picture.height());
}

TEST_F(WindowTest, aLookThatChangesLeavesNothingInOldColours) {
    file("a.txt");
    open();
    const auto back = qScopeGuard([] { Theme::shared().apply(Look{}); });
    app().perform(FileCommand::about);
    Theme::shared().follow(services->look);
    Look last;
    for (const auto& look :
         {Look{Appearance::dark, Contrast::standard}, Look{Appearance::light, Contrast::high},
          Look{Appearance::dark, Contrast::high}, Look{}}) {
        services->look.setDesktop({look.appearance, look.contrast, look.motion});
        ASSERT_EQ(Theme::shared().look(), look);
        SCOPED_TRACE(static_cast<int>(look.appearance) * 2 + static_cast<int>(look.contrast));
        const auto& now = Theme::shared().colours();
        const auto& before = coloursOf(last.appearance, last.contrast);
        for (const auto* widget : window->findChildren<QWidget*>())
            EXPECT_EQ(widget->palette().color(QPalette::Link).rgb(), now.accent.rgb())
                << widget->metaObject()->className() << ' ' << widget->objectName().toStdString();
        const auto picture = window->grab().toImage();
        EXPECT_GT(share(picture, now.window), 0.02) << "the card of the sheet";
        for (const auto ground :
             {&ThemeColours::window, &ThemeColours::raised, &ThemeColours::quietSelection}) {
            const auto old = before.*ground;
            const bool isNew =
                old == now.window || old == now.content || old == now.raised || old == now.text;
            EXPECT_TRUE(isNew || share(picture, old) < 0.001) << old.name().toStdString();
        }
        last = look;
    }
    app().closeSheet();
}

TEST_F(WindowTest, sizesFollowTheFontOfTheSystem) {
    open();
    app().perform(FileCommand::about);
    auto* title = find<QLabel>("title");
    ASSERT_TRUE(title);
    const auto before = QFontInfo(title->font()).pointSizeF();
    const auto font = QApplication::font();
    const auto back = qScopeGuard([&font] { QApplication::setFont(font); });
    auto larger = font;
    larger.setPointSizeF(font.pointSizeF() * 1.5);
    QApplication::setFont(larger);
    EXPECT_TRUE(eventually([&] { return QFontInfo(title->font()).pointSizeF() > before * 1.4; }));
    app().closeSheet();
}

TEST_F(WindowTest, aTitleShowsEveryNameAsItIs) {
    folder("work/a[*] [*][*]b");
    open();
    app().showFolder(work.child("a[*] [*][*]b"));
    ASSERT_TRUE(settled());
    EXPECT_TRUE(eventually([&] {
        return window->windowHandle()->title().startsWith(QStringLiteral("a[*] [*][*]b — "));
    })) << window->windowHandle()->title().toStdString();
}

TEST_F(WindowTest, aNameThatLooksLikeHTMLIsShownAsAName) {
    open();
    const auto name = QStringLiteral("<img src='file:&#47;&#47;&#47;proc&#47;self&#47;maps'>");
    const auto gone = qScopeGuard([] { QToolTip::hideText(); });
    QToolTip::showText({}, name, &*window);
    const auto all = QApplication::topLevelWidgets();
    const auto tip =
        std::ranges::find_if(all, [](const QWidget* each) { return each->inherits("QTipLabel"); });
    ASSERT_NE(tip, all.end());
    EXPECT_EQ(qobject_cast<QLabel*>(*tip)->textFormat(), Qt::PlainText);
    QMessageBox box(QMessageBox::Warning, name, name, QMessageBox::Ok, &*window);
    box.setInformativeText(name);
    box.open();
    for (const auto* label : box.findChildren<QLabel*>())
        EXPECT_EQ(label->textFormat(), Qt::PlainText) << label->objectName().toStdString();
}

TEST_F(WindowTest, aSheetTakesNoTimeWhenMotionIsReduced) {
    open();
    const auto back = qScopeGuard([] { Theme::shared().apply(Look{}); });
    const auto card = [this] { return window->sheet()->findChild<QWidget*>(QStringLiteral("card"))->pos(); };
    app().perform(FileCommand::about);
    const auto start = card();
    ASSERT_TRUE(eventually([&] { return card() != start; })) << "it rises";
    app().closeSheet();
    Theme::shared().apply(Look{Appearance::light, Contrast::standard, Motion::reduced});
    app().perform(FileCommand::about);
    EXPECT_TRUE(window->sheet()->findChildren<QVariantAnimation*>().isEmpty()) << "it stands";
    EXPECT_LT(card().y(), start.y());
    app().closeSheet();
}

TEST_F(WindowTest, theUsersLookBeatsTheDesktops) {
    using Choice = LookPreferences::AppearanceChoice;
    using Wish = LookPreferences::Wish;
    services.emplace(environment());
    auto& look = services->look;
    int changes = 0;
    QObject::connect(&look, &LookPreferences::changed, [&] { ++changes; });
    look.setPlatformAppearance(Appearance::dark);
    EXPECT_EQ(look.look().appearance, Appearance::dark) << "where nobody else says anything";
    look.setDesktop({Appearance::light, Contrast::high, Motion::reduced});
    EXPECT_EQ(look.look(), (Look{Appearance::light, Contrast::high, Motion::reduced}));
    look.setAppearance(Choice::light);
    EXPECT_EQ(changes, 2) << "what changes nothing is not told";
    look.setDesktop({Appearance::dark, Contrast::standard, Motion::full});
    EXPECT_EQ(look.look(), (Look{Appearance::light, Contrast::standard, Motion::full}));
    look.setContrast(Wish::always);
    look.setMotion(Wish::always);
    EXPECT_EQ(look.look(), (Look{Appearance::light, Contrast::high, Motion::reduced}));
    const LookPreferences again(services->defaults);
    EXPECT_EQ(again.look(), look.look()) << "as it is at the next start";
}

} // namespace
} // namespace morv
