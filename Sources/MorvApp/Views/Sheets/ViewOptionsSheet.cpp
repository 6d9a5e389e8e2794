#include "MorvApp/Views/Sheets/ViewOptionsSheet.h"

#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvApp/Views/Window/SortTitles.h"
#include "MorvApp/Views/Window/WindowActions.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QToolButton>
#include <array>
#include <utility>

namespace morv {

namespace {

constexpr QSize card{440, 520};
constexpr int titleWidth = 96;

struct View {
    BrowserViewMode mode;
    FileCommand command;
    const char* title;
};
constexpr std::array views{View{BrowserViewMode::grid, FileCommand::viewAsGrid, "Icons"},
                           View{BrowserViewMode::list, FileCommand::viewAsList, "List"},
                           View{BrowserViewMode::columns, FileCommand::viewAsColumns, "Columns"},
                           View{BrowserViewMode::gallery, FileCommand::viewAsGallery, "Gallery"}};
constexpr std::array<std::pair<const char*, FileGrouping>, 3> groupings{
    {{"Nothing", FileGrouping::none}, {"Kind", FileGrouping::kind}, {"Date", FileGrouping::date}}};

template <class Choices>
void fill(QComboBox& box, const Choices& choices) {
    for (const auto& [title, value] : choices)
        box.addItem(QLatin1String(title), static_cast<int>(value));
}

void select(QComboBox& box, int value) {
    box.setCurrentIndex(box.findData(value));
}

QHBoxLayout* row(const QString& title, QWidget* parent) {
    auto* layout = new QHBoxLayout;
    layout->setSpacing(Space::medium);
    auto* label = new QLabel(title, parent);
    label->setObjectName(QStringLiteral("secondary"));
    label->setFixedWidth(titleWidth);
    layout->addWidget(label);
    return layout;
}

} // namespace

ViewOptionsSheet::ViewOptionsSheet(AppModel& app, QWidget* window)
    : Sheet(QStringLiteral("View Options"), card, Height::fitting, window), app_(app),
      folder_(addText(QString())), views_(new QButtonGroup(this)) {
    auto* viewRow = row(QStringLiteral("View"), this);
    viewRow->addWidget(buildViews());
    viewRow->addStretch(1);
    body()->addLayout(viewRow);
    sort_ = addChoice(QStringLiteral("Sort by"), "viewSort");
    fill(*sort_, sortTitles);
    direction_ = addChoice(QStringLiteral("Direction"), "viewDirection");
    direction_->addItem(QStringLiteral("Ascending"), true);
    direction_->addItem(QStringLiteral("Descending"), false);
    grouping_ = addChoice(QStringLiteral("Group by"), "viewGrouping");
    fill(*grouping_, groupings);

    auto* sizeRow = row(QStringLiteral("Icon size"), this);
    size_ = new QSlider(Qt::Horizontal, this);
    size_->setObjectName(QStringLiteral("viewIconSize"));
    size_->setAccessibleName(QStringLiteral("Icon size"));
    size_->setRange(static_cast<int>(AppModel::smallestIcon), static_cast<int>(AppModel::largestIcon));
    size_->setSingleStep(4);
    size_->setPageStep(16);
    sizeRow->addWidget(size_, 1);
    sizeText_ = new QLabel(this);
    sizeText_->setObjectName(QStringLiteral("secondary"));
    sizeText_->setFixedWidth(sizeText_->fontMetrics().horizontalAdvance(QStringLiteral("000")));
    sizeText_->setAlignment(Qt::AlignTrailing | Qt::AlignVCenter);
    sizeRow->addWidget(sizeText_);
    body()->addLayout(sizeRow);
    auto* hiddenRow = row(QString(), this);
    hidden_ = new QCheckBox(QStringLiteral("Show hidden files"), this);
    hidden_->setObjectName(QStringLiteral("viewHidden"));
    hiddenRow->addWidget(hidden_, 1);
    body()->addLayout(hiddenRow);
    auto* done = addDefault(QStringLiteral("Done"));

    connect(sort_, &QComboBox::activated, this, [this] {
        change([this](auto& shown) { shown.sort = static_cast<FileSort>(sort_->currentData().toInt()); });
    });
    connect(direction_, &QComboBox::activated, this, [this] {
        change([this](auto& shown) { shown.ascending = direction_->currentData().toBool(); });
    });
    connect(grouping_, &QComboBox::activated, this, [this] {
        change([this](auto& shown) {
            shown.grouping = static_cast<FileGrouping>(grouping_->currentData().toInt());
        });
    });
    connect(size_, &QSlider::valueChanged, this,
            [this](int value) { change([value](auto& shown) { shown.iconSize = value; }); });
    connect(hidden_, &QCheckBox::clicked, this,
            [this](bool on) { change([on](auto& shown) { shown.showHidden = on; }); });
    connect(&app_, &AppModel::activePaneChanged, this, &ViewOptionsSheet::showPresent);
    connect(&app_, &AppModel::activePaneUpdated, this, &ViewOptionsSheet::showPresent);
    connect(done, &QPushButton::clicked, &app_, &AppModel::closeSheet);
    connect(this, &Sheet::cancelled, &app_, &AppModel::closeSheet);
    showPresent();
    present(views_->checkedButton() ? static_cast<QWidget*>(views_->checkedButton()) : done);
}

QWidget* ViewOptionsSheet::buildViews() {
    auto* segments = new QFrame(this);
    segments->setObjectName(QStringLiteral("segments"));
    auto* inner = new QHBoxLayout(segments);
    inner->setContentsMargins(1, 1, 1, 1);
    inner->setSpacing(0);
    for (const auto& view : views) {
        if (!WindowActions::isOffered(view.command))
            continue;
        auto* button = new QToolButton(segments);
        button->setText(QLatin1String(view.title));
        button->setCheckable(true);
        button->setFocusPolicy(Qt::StrongFocus);
        button->setAccessibleName(QStringLiteral("View as %1").arg(QLatin1String(view.title)));
        views_->addButton(button, static_cast<int>(view.mode));
        inner->addWidget(button);
    }
    connect(views_, &QButtonGroup::idClicked, this, [this](int id) {
        // A column is shown as the pane is: the command knows which of them is meant.
        for (const auto& view : views)
            if (static_cast<int>(view.mode) == id)
                app_.perform(view.command);
    });
    return segments;
}

QComboBox* ViewOptionsSheet::addChoice(const QString& title, const char* name) {
    auto* layout = row(title, this);
    auto* box = new QComboBox(this);
    box->setObjectName(QLatin1String(name));
    box->setAccessibleName(title);
    layout->addWidget(box, 1);
    body()->addLayout(layout);
    return box;
}

void ViewOptionsSheet::change(const std::function<void(FolderViewPreferences&)>& apply) {
    auto& pane = app_.currentPane();
    auto preferences = pane.preferences();
    apply(preferences);
    pane.setPreferences(preferences);
}

void ViewOptionsSheet::showPresent() {
    const auto& pane = app_.currentPane();
    const auto& shownNow = pane.preferences();
    folder_->setText(QStringLiteral("Of %1. Kept for this folder.").arg(shownPathBriefly(pane.location())));
    if (auto* button = views_->button(static_cast<int>(app_.activePane().preferences().view)))
        button->setChecked(true);
    select(*sort_, static_cast<int>(shownNow.sort));
    select(*grouping_, static_cast<int>(shownNow.grouping));
    direction_->setCurrentIndex(shownNow.ascending ? 0 : 1);
    const QSignalBlocker quiet(size_);
    size_->setValue(static_cast<int>(shownNow.iconSize));
    sizeText_->setText(QString::number(size_->value()));
    hidden_->setChecked(shownNow.showHidden);
}

} // namespace morv
