// How Morv looks: a set of colours for light and for dark, each also in high contrast, spacing in steps of four,
// how long movements take, and the style sheet that is made of them. Confined to the main thread.
#pragma once

#include "MorvApp/Model/LookPreferences.h"
#include "MorvApp/Views/Theme/ThemeColours.h"

#include <QObject>
#include <QString>

namespace morv {

/// Distances in device-independent pixels.
namespace Space {
inline constexpr int tiny = 4;
inline constexpr int small = 8;
inline constexpr int medium = 12;
inline constexpr int large = 16;
inline constexpr int huge = 24;
inline constexpr int radius = 6;
} // namespace Space

/// Milliseconds; all zero with reduced motion: what moves is where it belongs at once.
struct MotionTimes {
    int sheet = 0; ///< until a sheet stands
    int panel = 0; ///< until a panel has slid in
    int press = 0; ///< how long a press is marked
};

class Theme : public QObject {
    Q_OBJECT

public:
    /// The application's theme; made on the first call, which needs a QApplication.
    static Theme& shared();

    const ThemeColours& colours() const;
    const Look& look() const { return look_; }
    Appearance appearance() const { return look_.appearance; }
    const MotionTimes& motion() const;
    /// How wide the ring around what has the keyboard is.
    double focusWidth() const { return look_.contrast == Contrast::high ? 3 : 1.5; }
    /// Palette, style sheet and icon theme of the whole application.
    void apply(const Look& look);
    /// The same look but for this.
    void apply(Appearance appearance);
    /// Now, and whenever they change. They outlive the application's windows.
    void follow(const LookPreferences& preferences);
    /// What the platform's own palette says, before apply().
    static Appearance ofPlatform();

Q_SIGNALS:
    void changed();

protected:
    /// The application's font has changed.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    Theme() = default;
    QString styleSheet() const;

    Look look_;
    bool isPrepared_ = false;
};

} // namespace morv
