#include "MorvApp/Views/Theme/Theme.h"

#include "MorvApp/Views/Theme/MorvStyle.h"
#include "MorvApp/Views/Theme/Type.h"

#include <QApplication>
#include <QEvent>
#include <QFontDatabase>
#include <QIcon>
#include <QPalette>

namespace morv {

namespace {

/// Full lines around what can be used, and a focus that nobody overlooks.
constexpr const char* highContrastRules = R"(
QToolButton { border: 1px solid transparent; padding: 5px; }
QToolButton:hover { border: 1px solid $text; }
QToolButton:checked, QToolButton:pressed { border: 2px solid $text; padding: 4px; }
QToolButton:focus { border: 3px solid $accent; padding: 3px; }
QPushButton:focus { border: 3px solid $accent; padding: 4px 14px; }
QPushButton:default:focus { border: 3px solid $text; padding: 4px 14px; }
QLineEdit:focus { border: 3px solid $accent; padding: 3px 6px; }
QComboBox:focus, QSpinBox:focus { border: 3px solid $accent; padding: 3px 6px; }
QCheckBox:focus, QRadioButton:focus { border: 3px solid $accent; border-radius: 6px; }
QTreeView::item:selected, QListView::item:selected { border: 1px solid $text; }
QMenu::item:selected { border: 1px solid $text; }
QTabBar#tabs::tab:selected { border: 2px solid $text; }
QFrame#errorLine { border-bottom: 2px solid $failure; }
)";

QString css(const QColor& colour) {
    return QStringLiteral("rgba(%1,%2,%3,%4)")
        .arg(colour.red())
        .arg(colour.green())
        .arg(colour.blue())
        .arg(colour.alpha());
}

QPalette paletteOf(const ThemeColours& colours) {
    QPalette palette;
    palette.setColor(QPalette::Window, colours.window);
    palette.setColor(QPalette::WindowText, colours.text);
    palette.setColor(QPalette::Base, colours.raised);
    palette.setColor(QPalette::AlternateBase, colours.window);
    palette.setColor(QPalette::Text, colours.text);
    palette.setColor(QPalette::Button, colours.window);
    palette.setColor(QPalette::ButtonText, colours.text);
    palette.setColor(QPalette::ToolTipBase, colours.raised);
    palette.setColor(QPalette::ToolTipText, colours.text);
    palette.setColor(QPalette::PlaceholderText, colours.secondaryText);
    palette.setColor(QPalette::Highlight, colours.accent);
    palette.setColor(QPalette::HighlightedText, colours.accentText);
    palette.setColor(QPalette::Link, colours.accent);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        auto faint = colours.secondaryText;
        faint.setAlphaF(0.55F);
        palette.setColor(QPalette::Disabled, role, faint);
    }
    return palette;
}

/// A desktop without a font of its own gives a generic family; Inter reads better at interface sizes.
void chooseFont() {
    auto font = QApplication::font();
    const bool isGeneric = font.family().startsWith(QLatin1String("Sans")) || font.family().isEmpty();
    if (isGeneric && QFontDatabase::hasFamily(QStringLiteral("Inter"))) {
        font.setFamily(QStringLiteral("Inter"));
        font.setPointSizeF(10);
        QApplication::setFont(font);
    }
}

QString points(const QFont& font) {
    return font.pointSizeF() > 0 ? QString::number(font.pointSizeF(), 'f', 2) + QStringLiteral("pt")
                                 : QString::number(font.pixelSize()) + QStringLiteral("px");
}

} // namespace

Theme& Theme::shared() {
    static Theme theme;
    return theme;
}

const ThemeColours& Theme::colours() const {
    return coloursOf(look_.appearance, look_.contrast);
}

const MotionTimes& Theme::motion() const {
    static constexpr MotionTimes full{120, 160, 80};
    static constexpr MotionTimes reduced{};
    return look_.motion == Motion::reduced ? reduced : full;
}

Appearance Theme::ofPlatform() {
    const auto palette = QApplication::palette();
    return palette.color(QPalette::Window).lightness() < palette.color(QPalette::WindowText).lightness()
               ? Appearance::dark
               : Appearance::light;
}

void Theme::follow(const LookPreferences& preferences) {
    connect(&preferences, &LookPreferences::changed, this,
            [this, &preferences] { apply(preferences.look()); });
    apply(preferences.look());
}

void Theme::apply(Appearance appearance) {
    auto look = look_;
    look.appearance = appearance;
    apply(look);
}

void Theme::apply(const Look& look) {
    look_ = look;
    if (!isPrepared_) {
        isPrepared_ = true;
        QApplication::setStyle(new MorvStyle);
        chooseFont();
        qApp->installEventFilter(this);
    }
    // A user's own icon theme stands; without one the bundled families of Breeze follow the colours.
    const auto themeName = QIcon::themeName();
    const auto breeze =
        look.appearance == Appearance::dark ? QStringLiteral("breeze-dark") : QStringLiteral("breeze");
    if (themeName.isEmpty() || themeName == QLatin1String("hicolor") ||
        themeName.startsWith(QLatin1String("breeze")))
        QIcon::setThemeName(breeze);
    QIcon::setFallbackThemeName(breeze);
    for (const auto effect : {Qt::UI_AnimateMenu, Qt::UI_AnimateCombo, Qt::UI_AnimateTooltip, Qt::UI_FadeMenu,
                              Qt::UI_FadeTooltip, Qt::UI_AnimateToolBox})
        QApplication::setEffectEnabled(effect, false);
    QApplication::setPalette(paletteOf(colours()));
    qApp->setStyleSheet(styleSheet());
    Q_EMIT changed();
}

bool Theme::eventFilter(QObject* watched, QEvent* event) {
    // The sizes in the style sheet are multiples of the interface font's.
    if (watched == qApp && event->type() == QEvent::ApplicationFontChange) {
        if (const auto sheet = styleSheet(); sheet != qApp->styleSheet()) {
            qApp->setStyleSheet(sheet);
            Q_EMIT changed();
        }
    }
    return QObject::eventFilter(watched, event);
}

QString Theme::styleSheet() const {
    const auto& c = colours();
    QString sheet = QStringLiteral(R"(
QToolTip { background: $raised; color: $text; border: 1px solid $separator; padding: 4px 8px; }
QToolButton { border: none; border-radius: 6px; padding: 6px; background: transparent; color: $text; }
QToolButton:hover, QToolButton:focus { background: $hover; }
QToolButton:pressed, QToolButton:checked { background: $quiet; }
QToolButton::menu-indicator { image: none; }
QToolButton#searchLens { padding: 3px; }
QToolButton#crumb { padding: 4px 6px; }
QToolButton#lastCrumb { padding: 4px 6px; font-weight: 600; }
QLabel#pathHint { background: $raised; color: $secondary; border: 1px solid $separator; border-radius: 6px;
                  padding: 4px 8px; }
QLabel#dropLabel { background: $raised; color: $text; border: 1px solid $separator; border-radius: 6px;
                   padding: 4px 8px; }
QPushButton { border: 1px solid $separator; border-radius: 6px; padding: 6px 16px; background: $raised;
              color: $text; min-height: 18px; }
QPushButton:hover { border-color: $secondary; }
QPushButton:focus { border-color: $accent; }
QPushButton:disabled { color: $secondary; background: $window; }
QPushButton#destructive { color: $failure; }
QPushButton:default { background: $accent; border-color: $accent; color: $accentText; font-weight: 600; }
QPushButton:default:disabled { background: $quiet; border-color: $quiet; color: $secondary; }
QPushButton:default:focus { border: 2px solid $text; padding: 5px 15px; }
QLineEdit { border: 1px solid $separator; border-radius: 6px; padding: 5px 8px; background: $raised;
            color: $text; selection-background-color: $accent; selection-color: $accentText; }
QLineEdit:focus { border: 2px solid $accent; padding: 4px 7px; }
QLineEdit#inlineName { border-radius: 4px; padding: 0px 3px; }
QLineEdit#inlineName:focus { border: 2px solid $accent; padding: 0px 2px; }
QMenu { background: $raised; border: 1px solid $separator; border-radius: 8px; padding: 4px; }
QMenu::item { padding: 6px 24px 6px 12px; border-radius: 4px; color: $text; }
QMenu::item:selected { background: $selection; }
QMenu::item:disabled { color: $secondary; }
QMenu::separator { height: 1px; background: $separator; margin: 4px 8px; }
QMenu::indicator { width: 14px; height: 14px; left: 4px; }
QMenuBar { background: $window; color: $text; padding: 2px 8px; }
QMenuBar::item { padding: 4px 8px; border-radius: 4px; background: transparent; }
QMenuBar::item:selected { background: $hover; }
QMenuBar::item:pressed { background: $quiet; color: $text; }
QTabBar#tabs { background: $window; border-bottom: 1px solid $separator; }
QTabBar#tabs::tab { background: transparent; color: $secondary; border: none; border-radius: 6px;
                    padding: 6px 12px; margin: 4px 0 4px 8px; min-width: 96px; }
QTabBar#tabs::tab:hover { background: $hover; color: $text; }
QTabBar#tabs::tab:selected { background: $quiet; color: $text; font-weight: 600; }
QToolButton#tabClose { padding: 2px 4px; border-radius: 4px; color: $secondary; font-size: $captionSize; }
QToolButton#tabClose:hover { background: $separator; color: $text; }
QLabel#paneTitle { background: $window; color: $secondary; padding: 6px 16px;
                   border-bottom: 2px solid $separator; }
QLabel#paneTitle[active="true"] { color: $text; font-weight: 600; border-bottom: 2px solid $accent; }
QScrollArea#downloadsBar, QWidget#chips { background: $content; }
QToolButton#chip { border: 1px solid $separator; border-radius: 14px; padding: 4px 12px; color: $text; }
QToolButton#chip:checked { background: $selection; border-color: $accent; }
QToolButton#chip:focus { border-color: $accent; background: $hover; }
QToolButton#chip:checked:focus { background: $selection; border: 2px solid $accent; padding: 3px 11px; }
QFrame#searchLine, QFrame#readingLine { background: $window; border-bottom: 1px solid $separator; }
QSplitter::handle { background: $separator; }
QScrollArea#columnsView, QWidget#columnsContent { background: $content; }
QScrollBar:vertical { background: transparent; width: 12px; margin: 0; }
QScrollBar:horizontal { background: transparent; height: 12px; margin: 0; }
QScrollBar::handle { background: $handle; border-radius: 4px; margin: 2px; }
QScrollBar::handle:vertical { min-height: 32px; }
QScrollBar::handle:horizontal { min-width: 32px; }
QScrollBar::handle:hover { background: $secondary; }
QScrollBar::add-line, QScrollBar::sub-line { width: 0; height: 0; }
QScrollBar::add-page, QScrollBar::sub-page { background: transparent; }
QHeaderView { background: $content; border: none; }
QHeaderView::section { background: $content; color: $secondary; border: none;
                       border-bottom: 1px solid $separator; padding: 4px 8px; }
QHeaderView#columns::section:first { padding-left: 16px; }
QHeaderView::section:hover { color: $text; }
QTreeView, QListView { background: $content; border: 1px solid $separator; border-radius: 6px; color: $text;
                       outline: none; }
QTreeView::item { padding: 0 4px; background: transparent; }
QListWidget::item { padding: 4px; }
QListView#completions { background: $raised; padding: 4px; }
QListView#completions::item { padding: 6px 8px; border-radius: 4px; }
QTreeView::item:selected, QListView::item:selected { background: $selection; color: $text; }
QTreeView::item:hover:!selected { background: $hover; }
QTreeView#sidebar, QTreeView#sidebarRail { background: $window; border: none; border-radius: 0;
                                           padding: 4px 8px; }
QTreeView#sidebarRail { border-right: 1px solid $separator; }
QTreeView#sidebar::item, QTreeView#sidebarRail::item { background: transparent; }
QToolButton#eject { padding: 4px; }
QListView#settingsPages { background: $window; border: none; border-radius: 0; padding: 8px; }
QListView#settingsPages::item { padding: 0 8px; border-radius: 6px; }
QListView#settingsPages::item:selected { background: $quiet; }
QScrollArea { background: transparent; border: none; }
QTreeView#references { border: none; border-radius: 0; padding: 0 16px; }
QComboBox { border: 1px solid $separator; border-radius: 6px; padding: 5px 8px; background: $raised; color: $text; }
QComboBox::drop-down { border: none; width: 24px; }
QComboBox::down-arrow { image: url(:/morv/$chevron); width: 12px; height: 12px; }
QComboBox:focus { border-color: $accent; }
QSpinBox { border: 1px solid $separator; border-radius: 6px; padding: 5px 8px; background: $raised; color: $text; }
QSpinBox:focus { border-color: $accent; }
QSpinBox::up-button, QSpinBox::down-button { border: none; width: 24px; background: transparent; }
QSpinBox::up-arrow { image: url(:/morv/$upChevron); width: 12px; height: 12px; }
QSpinBox::down-arrow { image: url(:/morv/$chevron); width: 12px; height: 12px; }
QTreeView QHeaderView::section { padding: 6px 4px; }
QProgressBar { border: none; border-radius: 2px; background: $quiet; max-height: 4px; min-height: 4px; }
QProgressBar::chunk { border-radius: 2px; background: $accent; }
QFrame#card { background: $window; border: 1px solid $separator; border-radius: 12px; }
QFrame#lookPreview { background: $content; border: 1px solid $separator; border-radius: 8px; }
QFrame#bar { background: $window; border: none; }
QFrame#inspector, QWidget#inspectorContent, QScrollArea#inspectorScroll { background: $window; border: none; }
QScrollArea#inspectorScroll { border-left: 2px solid $window; }
QScrollArea#inspectorScroll:focus { border-left: 2px solid $accent; }
QFrame#pathField { background: $raised; border: 1px solid $separator; border-radius: 6px; }
QFrame#segments { background: $quiet; border-radius: 6px; }
QFrame#segments QToolButton { padding: 4px 8px; margin: 2px; border-radius: 4px; }
QFrame#segments QToolButton:checked { background: $segment; }
QFrame#separator { background: $separator; border: none; }
QFrame#errorLine { background: $errorBack; border: none; }
QLabel#errorText { color: $failure; }
QFrame#trashBand { background: $quiet; border: none; }
QFrame#trashBand[problem="true"] { background: $errorBack; }
QLabel#secondary, QLabel#freeSpace { color: $secondary; }
QPushButton#statusText, QPushButton#statusText:disabled { border: none; border-radius: 4px; padding: 4px 8px;
                        background: transparent; color: $secondary; text-align: right; min-height: 0; }
QPushButton#statusText:hover:enabled, QPushButton#statusText:focus { color: $text; background: $hover; }
QSlider#iconSize { min-height: 20px; }
QSlider#iconSize::groove:horizontal { height: 4px; border-radius: 2px; background: $quiet; }
QSlider#iconSize::sub-page:horizontal { height: 4px; border-radius: 2px; background: $secondary; }
QSlider#iconSize::handle:horizontal { width: 12px; height: 12px; margin: -5px 0; border-radius: 7px;
                                      background: $raised; border: 1px solid $secondary; }
QSlider#iconSize::handle:horizontal:focus, QSlider#iconSize::handle:horizontal:hover { border: 1px solid $accent;
                                      background: $accent; }
QStackedWidget#previewStage { background: $content; }
QLabel#previewCaption { color: $secondary; background: $window; border-top: 1px solid $separator;
                        padding: 8px 16px; }
QLabel#warning { color: $warning; }
QLabel#caption { color: $secondary; font-size: $captionSize; }
QLabel#large { font-size: $largeSize; font-weight: 600; }
QLabel#title { font-size: $titleSize; font-weight: 600; }
QLabel#heading { font-weight: 600; }
QLabel#failure { color: $failure; }
)");
    if (look_.contrast == Contrast::high)
        sheet += QLatin1String(highContrastRules);
    auto errorBack = look_.contrast == Contrast::high ? c.window : c.failure;
    if (look_.contrast == Contrast::standard)
        errorBack.setAlpha(0x1C);
    const QColor segment = look_.contrast == Contrast::high       ? c.selection
                           : look_.appearance == Appearance::dark ? QColor(0x4A, 0x4F, 0x5A)
                                                                  : c.raised;
    auto handle = c.secondaryText;
    if (look_.contrast == Contrast::standard)
        handle.setAlpha(0x66);
    const std::pair<const char*, QColor> names[] = {
        {"$accentText", c.accentText},   {"$accent", c.accent},        {"$raised", c.raised},
        {"$window", c.window},           {"$content", c.content},      {"$text", c.text},
        {"$secondary", c.secondaryText}, {"$separator", c.separator},  {"$hover", c.hover},
        {"$selection", c.selection},     {"$quiet", c.quietSelection}, {"$failure", c.failure},
        {"$warning", c.warning},         {"$errorBack", errorBack},    {"$handle", handle},
        {"$segment", segment},
    };
    for (const auto& [name, colour] : names)
        sheet.replace(QLatin1String(name), css(colour));
    const auto shade =
        look_.appearance == Appearance::dark ? QLatin1String("-dark.svg") : QLatin1String("-light.svg");
    sheet.replace(QLatin1String("$chevron"), QLatin1String("chevron") + shade);
    sheet.replace(QLatin1String("$upChevron"), QLatin1String("chevron-up") + shade);
    const auto base = QApplication::font();
    sheet.replace(QLatin1String("$captionSize"), points(Type::caption(base)));
    sheet.replace(QLatin1String("$titleSize"), points(Type::title(base)));
    sheet.replace(QLatin1String("$largeSize"), points(Type::large(base)));
    return sheet;
}

} // namespace morv
