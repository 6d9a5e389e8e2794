#include "MorvApp/Views/Settings/SettingsWindow.h"

#include "MorvApp/Model/MorvRuntime.h"
#include "MorvApp/Views/Settings/AppearancePage.h"
#include "MorvApp/Views/Settings/DataPage.h"
#include "MorvApp/Views/Settings/DeveloperPage.h"
#include "MorvApp/Views/Settings/GeneralPage.h"
#include "MorvApp/Views/Settings/SuggestionsPage.h"
#include "MorvApp/Views/Sheets/KeyBindingsEditor.h"
#include "MorvApp/Views/Theme/PlaceSymbols.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QHBoxLayout>
#include <QListWidget>
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
    addPage("general", QStringLiteral("General"), "settings.general", new GeneralPage(services, this));
    addPage("keys", QStringLiteral("Keys"), "settings.keys", keysPage());
    addPage("appearance", QStringLiteral("Appearance"), "settings.appearance",
            new AppearancePage(services.look, this));
    addPage("suggestions", QStringLiteral("Suggestions"), "settings.suggestions",
            new SuggestionsPage(services.store, services.pools, this));
    addPage("developer", QStringLiteral("Developer Tools"), "settings.developer",
            new DeveloperPage(services, this));
    addPage("data", QStringLiteral("Data"), "settings.data", new DataPage(services, this));
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

void SettingsWindow::addPage(const char* id, const QString& title, std::string_view symbol, QWidget* page) {
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
    symbols_.push_back(symbol);
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
        list_->item(i)->setIcon(
            placeIcon(symbols_[static_cast<std::size_t>(i)], Theme::shared().colours().text));
}

} // namespace morv
