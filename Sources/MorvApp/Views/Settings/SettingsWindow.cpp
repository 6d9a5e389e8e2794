#include "MorvApp/Views/Settings/SettingsWindow.h"

#include "MorvApp/Model/MorvRuntime.h"
#include "MorvApp/Views/Settings/AppearancePage.h"
#include "MorvApp/Views/Settings/DataPage.h"
#include "MorvApp/Views/Settings/DeveloperPage.h"
#include "MorvApp/Views/Settings/GeneralPage.h"
#include "MorvApp/Views/Settings/SuggestionsPage.h"
#include "MorvApp/Views/Sheets/KeyBindingsEditor.h"
#include "MorvApp/Views/Theme/FolderSymbols.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QHBoxLayout>
#include <QListWidget>
#include <QPainter>
#include <QPushButton>
#include <QScrollArea>
#include <QShortcut>
#include <QStackedWidget>
#include <algorithm>

namespace morv {

namespace {

constexpr QSize firstSize{820, 580};
constexpr QSize smallestSize{640, 440};
constexpr int listWidth = 190;
constexpr int rowHeight = 34;
constexpr QSize symbolSize{18, 18};

namespace Symbols {
constexpr const char* general =
    "M 3 7 L 13 7 M 19 7 L 21 7 O 16 7 2.6 M 3 17 L 5 17 M 11 17 L 21 17 O 8 17 2.6";
constexpr const char* keys =
    "R 2.6 6 18.8 12 2.4 M 6.5 10 L 6.5 10.2 M 10.2 10 L 10.2 10.2 M 13.8 10 L 13.8 10.2 "
    "M 17.5 10 L 17.5 10.2 M 7.5 14.2 L 16.5 14.2";
constexpr const char* appearance =
    "O 12 12 8.6 M 12 3.4 L 12 20.6 M 12 8 L 19.4 8 M 12 12 L 20.6 12 M 12 16 L 19.4 16";
constexpr const char* suggestions =
    "M 9 17.4 L 15 17.4 M 10 20.6 L 14 20.6 M 9 17.4 C 9 14.4 5.6 13.4 5.6 9.4 "
    "C 5.6 5.6 8.6 3 12 3 C 15.4 3 18.4 5.6 18.4 9.4 C 18.4 13.4 15 14.4 15 17.4";
constexpr const char* developer = "R 2.8 4.2 18.4 15.6 2.4 M 6.8 9 L 10 12 L 6.8 15 M 12 15 L 16.6 15";
constexpr const char* data =
    "M 4 6 C 4 2.4 20 2.4 20 6 C 20 9.6 4 9.6 4 6 M 4 6 L 4 18 C 4 21.6 20 21.6 20 18 "
    "L 20 6 M 4 12 C 4 15.6 20 15.6 20 12";
} // namespace Symbols

QIcon icon(const char* lines, qreal density) {
    QPixmap picture(symbolSize * density);
    picture.setDevicePixelRatio(density);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    drawSymbol(painter, FolderSymbol{"", "", lines}, QRectF(QPointF(0, 0), QSizeF(symbolSize)),
               Theme::shared().colours().text);
    painter.end();
    // Selected or not, it has the text's colour.
    QIcon result;
    result.addPixmap(picture, QIcon::Normal);
    result.addPixmap(picture, QIcon::Selected);
    return result;
}

} // namespace

SettingsWindow::SettingsWindow(MorvServices& services) : services_(services) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QStringLiteral("Settings — Morv"));
    setMinimumSize(smallestSize);
    resize(firstSize);
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);
    list_ = new QListWidget(this);
    list_->setObjectName(QStringLiteral("settingsPages"));
    list_->setAccessibleName(QStringLiteral("Pages of the settings"));
    list_->setFixedWidth(listWidth);
    list_->setIconSize(symbolSize);
    row->addWidget(list_);
    auto* line = new QFrame(this);
    line->setObjectName(QStringLiteral("separator"));
    line->setFixedWidth(1);
    row->addWidget(line);
    pages_ = new QStackedWidget(this);
    row->addWidget(pages_, 1);
    addPage("general", QStringLiteral("General"), Symbols::general, new GeneralPage(services, this));
    addPage("keys", QStringLiteral("Keys"), Symbols::keys, keysPage());
    addPage("appearance", QStringLiteral("Appearance"), Symbols::appearance,
            new AppearancePage(services.look, this));
    addPage("suggestions", QStringLiteral("Suggestions"), Symbols::suggestions,
            new SuggestionsPage(services.store, services.pools, this));
    addPage("developer", QStringLiteral("Developer Tools"), Symbols::developer,
            new DeveloperPage(services, this));
    addPage("data", QStringLiteral("Data"), Symbols::data, new DataPage(services, this));
    connect(list_, &QListWidget::currentRowChanged, this, [this](int chosen) {
        if (chosen >= 0)
            services_.windows.setSettingsSelection(ids_[static_cast<std::size_t>(chosen)]);
    });
    connect(&services.windows, &FileWindows::settingsSelectionChanged, this, &SettingsWindow::showSelection);
    connect(&Theme::shared(), &Theme::changed, this, &SettingsWindow::tint);
    for (const auto& key : {QKeySequence(Qt::Key_Escape), QKeySequence(Qt::CTRL | Qt::Key_W)})
        connect(new QShortcut(key, this), &QShortcut::activated, this, &QWidget::close);
    tint();
    showSelection();
    list_->setFocus();
}

void SettingsWindow::addPage(const char* id, const QString& title, const char* lines, QWidget* page) {
    auto* item = new QListWidgetItem(title, list_);
    item->setSizeHint(QSize(0, rowHeight));
    auto* area = new QScrollArea(pages_);
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    area->setFocusPolicy(Qt::NoFocus);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setWidget(page);
    pages_->addWidget(area);
    ids_.emplace_back(id);
    symbols_.push_back(lines);
}

QWidget* SettingsWindow::keysPage() {
    class KeysPage : public SettingsPage {
    public:
        KeysPage(KeyBindings& keys, QWidget* parent) : SettingsPage(QStringLiteral("Keys"), parent) {
            auto* editor = new KeyBindingsEditor(keys, this);
            addWhole(editor);
            auto* all = new QPushButton(QStringLiteral("All Standard Keys"), this);
            connect(all, &QPushButton::clicked, editor, &KeyBindingsEditor::confirmResetAll);
            addEnd(all);
            connect(editor, &KeyBindingsEditor::left, this, [this] { window()->close(); });
        }
    };
    return new KeysPage(services_.keys, this);
}

void SettingsWindow::showSelection() {
    const auto found = std::ranges::find(ids_, services_.windows.settingsSelection());
    const int row = found == ids_.end() ? 0 : static_cast<int>(found - ids_.begin());
    pages_->setCurrentIndex(row);
    list_->setCurrentRow(row);
}

void SettingsWindow::tint() {
    for (int i = 0; i < list_->count(); ++i)
        list_->item(i)->setIcon(icon(symbols_[static_cast<std::size_t>(i)], devicePixelRatioF()));
}

} // namespace morv
