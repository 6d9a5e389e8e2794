#include "MorvApp/Views/Settings/AppearancePage.h"

#include "MorvApp/Model/LookPreferences.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QRadioButton>
#include <array>
#include <utility>

namespace morv {

namespace {

using Choice = LookPreferences::AppearanceChoice;
using Wish = LookPreferences::Wish;

constexpr std::array<std::pair<Choice, const char*>, 3> choices{
    {{Choice::system, "System"}, {Choice::light, "Light"}, {Choice::dark, "Dark"}}};

Wish wish(bool always) {
    return always ? Wish::always : Wish::followDesktop;
}

} // namespace

AppearancePage::AppearancePage(LookPreferences& look, QWidget* parent)
    : SettingsPage(QStringLiteral("Appearance"), parent), look_(look) {
    appearances_ = new QButtonGroup(this);
    std::array<QWidget*, choices.size()> buttons{};
    for (std::size_t i = 0; i < choices.size(); ++i) {
        auto* button = new QRadioButton(QLatin1String(choices[i].second), this);
        button->setObjectName(QStringLiteral("appearance") + QLatin1String(choices[i].second));
        button->setAccessibleName(QLatin1String(choices[i].second) + QStringLiteral(" appearance"));
        appearances_->addButton(button, static_cast<int>(choices[i].first));
        buttons[i] = button;
    }
    addRow(QStringLiteral("Appearance"), {buttons[0], buttons[1], buttons[2]});
    addNote(QStringLiteral("System is light or dark as the desktop is, and changes with it."));
    contrast_ = addCheck("highContrast", QStringLiteral("Always use high contrast"));
    addNote(QStringLiteral("Black and white, full lines around what can be used, and a thicker focus. "
                           "Otherwise Morv does as the desktop asks."));
    motion_ = addCheck("reducedMotion", QStringLiteral("Always reduce motion"));
    addNote(QStringLiteral("Sheets and panels appear at once. Otherwise Morv does as the desktop asks."));
    finish();
    connect(appearances_, &QButtonGroup::idClicked, this,
            [this](int id) { look_.setAppearance(static_cast<Choice>(id)); });
    connect(contrast_, &QCheckBox::clicked, this, [this](bool on) { look_.setContrast(wish(on)); });
    connect(motion_, &QCheckBox::clicked, this, [this](bool on) { look_.setMotion(wish(on)); });
}

void AppearancePage::refresh() {
    appearances_->button(static_cast<int>(look_.appearance()))->setChecked(true);
    contrast_->setChecked(look_.contrast() == Wish::always);
    motion_->setChecked(look_.motion() == Wish::always);
}

} // namespace morv
