// The colours of one look. docs/design.md says which of them stand on which, and with what contrast.
#pragma once

#include "MorvApp/Model/LookPreferences.h"

#include <QColor>

namespace morv {

/// Of the words of a source text, on `content`.
struct SourceColours {
    QColor comment;
    QColor string;
    QColor keyword;
    QColor type;
    QColor number;
    QColor preprocessor;
    QColor function;
    QColor variable;
};

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
    SourceColours source;
};

const ThemeColours& coloursOf(Appearance appearance, Contrast contrast);

} // namespace morv
