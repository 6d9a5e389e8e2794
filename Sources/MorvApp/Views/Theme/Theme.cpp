#include "MorvApp/Views/Theme/Theme.h"

#include <QApplication>
#include <QFontDatabase>
#include <QIcon>
#include <QPalette>
#include <QStyle>
#include <QStyleFactory>

namespace morv {

namespace {

const ThemeColours lightColours{
    .window = QColor(0xF5, 0xF6, 0xF8),
    .content = QColor(0xFF, 0xFF, 0xFF),
    .raised = QColor(0xFF, 0xFF, 0xFF),
    .text = QColor(0x1C, 0x20, 0x28),
    .secondaryText = QColor(0x64, 0x6B, 0x78),
    .separator = QColor(0xE2, 0xE5, 0xEA),
    .hover = QColor(0x1C, 0x20, 0x28, 0x0D),
    .accent = QColor(0x2B, 0x66, 0xE0),
    .accentText = QColor(0xFF, 0xFF, 0xFF),
    .selection = QColor(0xD6, 0xE4, 0xFD),
    .quietSelection = QColor(0xE8, 0xEB, 0xF0),
    .warning = QColor(0x9A, 0x62, 0x00),
    .failure = QColor(0xB9, 0x2C, 0x2C),
    .success = QColor(0x1F, 0x7A, 0x46),
    .scrim = QColor(0x14, 0x18, 0x20, 0x59),
};

const ThemeColours darkColours{
    .window = QColor(0x22, 0x24, 0x29),
    .content = QColor(0x1A, 0x1C, 0x20),
    .raised = QColor(0x2C, 0x2F, 0x36),
    .text = QColor(0xE9, 0xEB, 0xEF),
    .secondaryText = QColor(0x9B, 0xA2, 0xAE),
    .separator = QColor(0x34, 0x37, 0x3F),
    .hover = QColor(0xFF, 0xFF, 0xFF, 0x12),
    .accent = QColor(0x6B, 0x9B, 0xFF),
    .accentText = QColor(0x0E, 0x14, 0x22),
    .selection = QColor(0x2B, 0x42, 0x6E),
    .quietSelection = QColor(0x32, 0x35, 0x3C),
    .warning = QColor(0xE8, 0xB3, 0x4B),
    .failure = QColor(0xF2, 0x7C, 0x7C),
    .success = QColor(0x6C, 0xCB, 0x93),
    .scrim = QColor(0x00, 0x00, 0x00, 0x8C),
};

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

} // namespace

Theme& Theme::shared() {
    static Theme theme;
    return theme;
}

const ThemeColours& Theme::colours() const {
    return appearance_ == Appearance::dark ? darkColours : lightColours;
}

Appearance Theme::ofPlatform() {
    const auto palette = QApplication::palette();
    return palette.color(QPalette::Window).lightness() < palette.color(QPalette::WindowText).lightness()
               ? Appearance::dark
               : Appearance::light;
}

void Theme::apply(Appearance appearance) {
    appearance_ = appearance;
    if (QApplication::style()->objectName() != QLatin1String("fusion") || qApp->styleSheet().isEmpty()) {
        QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
        chooseFont();
    }
    // A user's own icon theme stands; without one the bundled families of Breeze follow the colours.
    const auto themeName = QIcon::themeName();
    const auto breeze =
        appearance == Appearance::dark ? QStringLiteral("breeze-dark") : QStringLiteral("breeze");
    if (themeName.isEmpty() || themeName == QLatin1String("hicolor") ||
        themeName.startsWith(QLatin1String("breeze")))
        QIcon::setThemeName(breeze);
    QIcon::setFallbackThemeName(breeze);
    QApplication::setPalette(paletteOf(colours()));
    qApp->setStyleSheet(styleSheet());
    Q_EMIT changed();
}

QString Theme::styleSheet() const {
    const auto& c = colours();
    QString sheet = QStringLiteral(R"(
QToolTip { background: $raised; color: $text; border: 1px solid $separator; padding: 4px 8px; }
QToolButton { border: none; border-radius: 6px; padding: 6px; background: transparent; color: $text; }
QToolButton:hover, QToolButton:focus { background: $hover; }
QToolButton:pressed, QToolButton:checked { background: $quiet; }
QToolButton::menu-indicator { image: none; }
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
QToolButton#tabClose { padding: 2px 4px; border-radius: 4px; color: $secondary; font-size: 8pt; }
QToolButton#tabClose:hover { background: $separator; color: $text; }
QLabel#paneTitle { background: $window; color: $secondary; padding: 6px 16px;
                   border-bottom: 2px solid $separator; }
QLabel#paneTitle[active="true"] { color: $text; font-weight: 600; border-bottom: 2px solid $accent; }
QFrame#searchLine { background: $window; border-bottom: 1px solid $separator; }
QSplitter::handle { background: $separator; }
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
QTreeView::item { padding: 0 4px; }
QListView#completions { background: $raised; padding: 4px; }
QListView#completions::item { padding: 6px 8px; border-radius: 4px; }
QTreeView::item:selected, QListView::item:selected { background: $selection; color: $text; }
QTreeView::item:hover:!selected { background: $hover; }
QTreeView#sidebar { background: $window; border: none; border-radius: 0; padding: 4px 8px; }
QTreeView#sidebar::item { padding: 0 8px; border-radius: 6px; }
QTreeView#sidebar::item:selected { background: $quiet; }
QTreeView#references { border: none; border-radius: 0; padding: 0 16px; }
QComboBox { border: 1px solid $separator; border-radius: 6px; padding: 5px 8px; background: $raised; color: $text; }
QComboBox::drop-down { border: none; width: 20px; }
QComboBox:focus { border-color: $accent; }
QTreeView QHeaderView::section { padding: 6px 4px; }
QProgressBar { border: none; border-radius: 2px; background: $quiet; max-height: 4px; min-height: 4px; }
QProgressBar::chunk { border-radius: 2px; background: $accent; }
QFrame#card { background: $window; border: 1px solid $separator; border-radius: 12px; }
QFrame#lookPreview { background: $content; border: 1px solid $separator; border-radius: 8px; }
QFrame#bar { background: $window; border: none; }
QFrame#inspector, QWidget#inspectorContent, QScrollArea#inspectorScroll { background: $window; border: none; }
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
QLabel#secondary { color: $secondary; }
QLabel#warning { color: $warning; }
QLabel#title { font-size: 14pt; font-weight: 600; }
QLabel#heading { font-weight: 600; }
)");
    auto errorBack = c.failure;
    errorBack.setAlpha(0x1C);
    const QColor segment = appearance_ == Appearance::dark ? QColor(0x4A, 0x4F, 0x5A) : c.raised;
    auto handle = c.secondaryText;
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
    return sheet;
}

} // namespace morv
