#include "MorvApp/Views/Sheets/FolderAppearanceSheet.h"

#include "MorvApp/Views/Sheets/ChoiceButton.h"
#include "MorvApp/Views/Theme/FolderArt.h"
#include "MorvApp/Views/Theme/FolderSymbols.h"
#include "MorvApp/Views/Theme/Text.h"

#include <QButtonGroup>
#include <QFrame>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <algorithm>

namespace morv {

namespace {

constexpr QSize card{600, 520};
constexpr int previewPicture = 128;
constexpr int previewWidth = 176;
constexpr int symbolColumns = 7;
constexpr int automaticID = 1000;

QString capitalised(std::string_view name) {
    auto text = ours(name);
    text[0] = text[0].toUpper();
    return text;
}

QLabel* heading(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setObjectName(QStringLiteral("heading"));
    return label;
}

QVBoxLayout* column(QWidget* widget, int spacing) {
    auto* layout = new QVBoxLayout(widget);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(spacing);
    return layout;
}

/// A circle with a stroke through it: no symbol at all.
void drawNone(QPainter& painter, const QRectF& square, const QColor& colour) {
    painter.setPen(QPen(colour, 1.5, Qt::SolidLine, Qt::RoundCap));
    painter.setBrush(Qt::NoBrush);
    const auto circle = square.adjusted(3, 3, -3, -3);
    painter.drawEllipse(circle);
    const auto reach = circle.width() / 2 * 0.7;
    painter.drawLine(circle.center() + QPointF(-reach, reach), circle.center() + QPointF(reach, -reach));
}

} // namespace

FolderAppearanceSheet::FolderAppearanceSheet(AppModel& app, const FileURL& folder, QWidget* window)
    : Sheet(QStringLiteral("Folder Appearance"), card, Height::fitting, window), app_(app), folder_(folder),
      standard_(app.services().appearances.standard(folder)),
      chosen_(app.services().appearances.appearance(folder)), colours_(new QButtonGroup(this)),
      symbols_(new QButtonGroup(this)) {
    addText(QStringLiteral("Choose a jewel colour and a useful symbol for %1. Only changes how this folder "
                           "looks in Morv.")
                .arg(shown(folder.lastComponent())));
    auto* row = new QHBoxLayout;
    row->setSpacing(Space::huge);
    row->addWidget(buildPreview());
    auto* choices = new QVBoxLayout;
    choices->setSpacing(Space::medium);
    choices->addWidget(buildColours());
    choices->addWidget(buildSymbols());
    choices->addStretch(1);
    row->addLayout(choices, 1);
    body()->addLayout(row, 1);
    auto* standard = addAction(QStringLiteral("Standard Appearance"));
    addCancel(QStringLiteral("Cancel"));
    auto* apply = addDefault(QStringLiteral("Apply"));
    connect(standard, &QPushButton::clicked, this, [this] { choose(standard_); });
    connect(apply, &QPushButton::clicked, this, &FolderAppearanceSheet::save);
    connect(this, &Sheet::cancelled, &app_, &AppModel::closeSheet);
    connect(&Theme::shared(), &Theme::changed, this, &FolderAppearanceSheet::showPreview);
    choose(chosen_);
    present(colours_->checkedButton() ? static_cast<QWidget*>(colours_->checkedButton()) : apply);
}

QWidget* FolderAppearanceSheet::buildPreview() {
    auto* frame = new QFrame(this);
    frame->setObjectName(QStringLiteral("lookPreview"));
    frame->setFixedWidth(previewWidth);
    auto* layout = new QVBoxLayout(frame);
    layout->setContentsMargins(Space::large, Space::large, Space::large, Space::large);
    layout->setSpacing(Space::tiny);
    layout->addStretch(1);
    picture_ = new QLabel(frame);
    picture_->setObjectName(QStringLiteral("lookPicture"));
    picture_->setAlignment(Qt::AlignCenter);
    layout->addWidget(picture_);
    auto* name = new QLabel(frame);
    name->setTextFormat(Qt::PlainText);
    name->setAlignment(Qt::AlignHCenter);
    name->setText(name->fontMetrics().elidedText(shown(folder_.lastComponent()), Qt::ElideMiddle,
                                                 previewWidth - 2 * Space::large));
    layout->addWidget(name);
    layout->addStretch(1);
    return frame;
}

QWidget* FolderAppearanceSheet::buildColours() {
    auto* section = new QWidget(this);
    auto* layout = column(section, Space::tiny);
    layout->addWidget(heading(QStringLiteral("Colour"), section));
    auto* row = new QHBoxLayout;
    row->setSpacing(Space::tiny);
    for (std::size_t i = 0; i < FolderAppearance::colors.size(); ++i) {
        const auto name = FolderAppearance::colors[i];
        auto* button = new ChoiceButton(
            capitalised(name), ChoiceButton::Shape::round,
            [colour = FolderArt::jewel(name)](QPainter& painter, const QRectF& circle) {
                painter.setBrush(colour);
                painter.drawEllipse(circle);
            },
            section);
        button->setObjectName(QStringLiteral("colour-") + ours(name));
        colours_->addButton(button, static_cast<int>(i));
        row->addWidget(button);
    }
    row->addStretch(1);
    layout->addLayout(row);
    connect(colours_, &QButtonGroup::idClicked, this, [this](int id) {
        chosen_.color = FolderAppearance::colors[static_cast<std::size_t>(id)];
        showPreview();
    });
    return section;
}

QWidget* FolderAppearanceSheet::buildSymbols() {
    auto* section = new QWidget(this);
    auto* layout = column(section, Space::tiny);
    layout->addWidget(heading(QStringLiteral("Symbol"), section));
    auto* grid = new QGridLayout;
    grid->setSpacing(2);
    int place = 0;
    const auto add = [&](ChoiceButton* button, int id) {
        symbols_->addButton(button, id);
        grid->addWidget(button, place / symbolColumns, place % symbolColumns);
        ++place;
    };
    const auto* suggested = standard_.defaultSymbol ? folderSymbol(*standard_.defaultSymbol) : nullptr;
    auto* automatic = new ChoiceButton(
        suggested ? QStringLiteral("Suggested by the name") : QStringLiteral("No symbol"),
        ChoiceButton::Shape::square,
        [suggested](QPainter& painter, const QRectF& square) {
            const auto& colour = Theme::shared().colours().secondaryText;
            if (suggested)
                drawSymbol(painter, *suggested, square.adjusted(1, 1, -1, -1), colour);
            else
                drawNone(painter, square, colour);
        },
        section);
    automatic->setObjectName(QStringLiteral("symbol-automatic"));
    add(automatic, automaticID);
    const auto symbols = folderSymbols();
    for (std::size_t i = 0; i < symbols.size(); ++i) {
        auto* button = new ChoiceButton(
            ours(symbols[i].title), ChoiceButton::Shape::square,
            [symbol = &symbols[i]](QPainter& painter, const QRectF& square) {
                drawSymbol(painter, *symbol, square.adjusted(1, 1, -1, -1), Theme::shared().colours().text);
            },
            section);
        button->setObjectName(QStringLiteral("symbol-") + ours(symbols[i].name));
        add(button, static_cast<int>(i));
    }
    grid->setColumnStretch(symbolColumns, 1);
    layout->addLayout(grid);
    connect(symbols_, &QButtonGroup::idClicked, this, [this](int id) {
        chosen_.symbol.reset();
        if (id != automaticID)
            chosen_.symbol = folderSymbols()[static_cast<std::size_t>(id)].name;
        showPreview();
    });
    return section;
}

void FolderAppearanceSheet::choose(const FolderAppearance& appearance) {
    chosen_ = appearance;
    const auto& colors = FolderAppearance::colors;
    const auto color = std::ranges::find(colors, appearance.color);
    if (color != colors.end())
        colours_->button(static_cast<int>(color - colors.begin()))->setChecked(true);
    const auto* symbol = appearance.symbol ? folderSymbol(*appearance.symbol) : nullptr;
    symbols_->button(symbol ? static_cast<int>(symbol - folderSymbols().data()) : automaticID)
        ->setChecked(true);
    showPreview();
}

void FolderAppearanceSheet::showPreview() {
    picture_->setPixmap(
        FolderArt::render(chosen_, Theme::shared().appearance(), previewPicture, devicePixelRatioF()));
}

void FolderAppearanceSheet::save() {
    // Closing the sheet takes this object away.
    auto& app = app_;
    const auto folder = folder_;
    const bool isStandard = chosen_ == standard_;
    const auto chosen = chosen_;
    app.closeSheet();
    app.services().appearances.set(isStandard ? std::nullopt : std::optional(chosen), folder);
}

} // namespace morv
