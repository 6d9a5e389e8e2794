// How Morv looks: one set of colours for light and one for dark, spacing in steps of four, and the style
// sheet that is made of them. Confined to the main thread.
#pragma once

#include <QColor>
#include <QObject>
#include <QString>

namespace morv {

struct ThemeColours {
    QColor window;  ///< behind bars and sheets
    QColor content; ///< behind files
    QColor raised;  ///< fields, cards
    QColor text;
    QColor secondaryText;
    QColor separator;
    QColor hover;
    QColor accent;
    QColor accentText;     ///< on the accent
    QColor selection;      ///< behind a selected item of the view that has the focus
    QColor quietSelection; ///< the same elsewhere
    QColor warning;
    QColor failure;
    QColor success;
    QColor scrim; ///< over what a sheet covers
};

/// Distances in device-independent pixels.
namespace Space {
inline constexpr int tiny = 4;
inline constexpr int small = 8;
inline constexpr int medium = 12;
inline constexpr int large = 16;
inline constexpr int huge = 24;
inline constexpr int radius = 6;
} // namespace Space

enum class Appearance : std::uint8_t { light, dark };

class Theme : public QObject {
    Q_OBJECT

public:
    /// The application's theme; made on the first call, which needs a QApplication.
    static Theme& shared();

    const ThemeColours& colours() const;
    Appearance appearance() const { return appearance_; }
    /// Palette, style sheet and icon theme of the whole application.
    void apply(Appearance appearance);
    /// What the platform's own palette says, before apply().
    static Appearance ofPlatform();

Q_SIGNALS:
    void changed();

private:
    Theme() = default;
    QString styleSheet() const;

    Appearance appearance_ = Appearance::light;
};

} // namespace morv
