#include "MorvApp/Model/LookPreferences.h"

#include "MorvApp/Model/UserDefaults.h"

namespace morv {

namespace {

using AppearanceChoice = LookPreferences::AppearanceChoice;
using Wish = LookPreferences::Wish;

constexpr const char* always = "always";

Wish wish(const std::string& text) {
    return text == always ? Wish::always : Wish::followDesktop;
}

std::string text(Wish wish) {
    return wish == Wish::always ? always : "system";
}

} // namespace

LookPreferences::LookPreferences(UserDefaults& defaults) : defaults_(defaults) {
    update();
}

AppearanceChoice LookPreferences::appearance() const {
    const auto text = defaults_.appearance();
    return text == "light"  ? AppearanceChoice::light
           : text == "dark" ? AppearanceChoice::dark
                            : AppearanceChoice::system;
}

void LookPreferences::setAppearance(AppearanceChoice choice) {
    defaults_.setAppearance(choice == AppearanceChoice::light  ? "light"
                            : choice == AppearanceChoice::dark ? "dark"
                                                               : "system");
    update();
}

Wish LookPreferences::contrast() const {
    return wish(defaults_.contrast());
}

void LookPreferences::setContrast(Wish wish) {
    defaults_.setContrast(text(wish));
    update();
}

Wish LookPreferences::motion() const {
    return wish(defaults_.motion());
}

void LookPreferences::setMotion(Wish wish) {
    defaults_.setMotion(text(wish));
    update();
}

void LookPreferences::setDesktop(const DesktopLook& desktop) {
    desktop_ = desktop;
    update();
}

void LookPreferences::setPlatformAppearance(Appearance appearance) {
    platform_ = appearance;
    update();
}

void LookPreferences::update() {
    Look look;
    const auto choice = appearance();
    look.appearance = choice == AppearanceChoice::light  ? Appearance::light
                      : choice == AppearanceChoice::dark ? Appearance::dark
                                                         : desktop_.appearance.value_or(platform_);
    look.contrast =
        contrast() == Wish::always ? Contrast::high : desktop_.contrast.value_or(Contrast::standard);
    look.motion = motion() == Wish::always ? Motion::reduced : desktop_.motion.value_or(Motion::full);
    if (look == look_)
        return;
    look_ = look;
    Q_EMIT changed();
}

} // namespace morv
