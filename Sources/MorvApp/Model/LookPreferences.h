// How Morv is to look: what the user has chosen, over what the desktop asks for.
//
// On disk     user defaults "appearance.preference.v2", "appearance.contrast" and "appearance.motion"
// Invariants  I1  a choice of the user's beats the desktop; where neither says anything, the platform's palette
//                 decides between light and dark, and nothing is high or reduced
//             I2  changed() is told exactly when look() gives something else than before
// Threading   confined to the main thread
#pragma once

#include <QObject>
#include <cstdint>
#include <optional>

namespace morv {

class UserDefaults;

enum class Appearance : std::uint8_t { light, dark };
enum class Contrast : std::uint8_t { standard, high };
enum class Motion : std::uint8_t { full, reduced };

struct Look {
    Appearance appearance = Appearance::light;
    Contrast contrast = Contrast::standard;
    Motion motion = Motion::full;

    friend bool operator==(const Look&, const Look&) = default;
};

/// What the desktop says; nothing where it says nothing.
struct DesktopLook {
    std::optional<Appearance> appearance = {};
    std::optional<Contrast> contrast = {};
    std::optional<Motion> motion = {};

    friend bool operator==(const DesktopLook&, const DesktopLook&) = default;
};

class LookPreferences : public QObject {
    Q_OBJECT

public:
    enum class AppearanceChoice : std::uint8_t { system, light, dark };
    /// Of high contrast and of reduced motion.
    enum class Wish : std::uint8_t { followDesktop, always };

    /// `defaults` outlives this.
    explicit LookPreferences(UserDefaults& defaults);

    const Look& look() const { return look_; }
    AppearanceChoice appearance() const;
    void setAppearance(AppearanceChoice choice);
    Wish contrast() const;
    void setContrast(Wish wish);
    Wish motion() const;
    void setMotion(Wish wish);

    void setDesktop(const DesktopLook& desktop);
    /// Where the desktop does not say.
    void setPlatformAppearance(Appearance appearance);

Q_SIGNALS:
    void changed();

private:
    void update();

    UserDefaults& defaults_;
    DesktopLook desktop_;
    Appearance platform_ = Appearance::light;
    Look look_;
};

} // namespace morv
