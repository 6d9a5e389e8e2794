// The symbols of places and of small controls, in the manner of those on folders.
#pragma once

#include "MorvApp/Views/Theme/FolderSymbols.h"

#include <QIcon>

class QColor;

namespace morv {

/// Also finds those of folders. There is one for every name that the program asks for: a test draws them.
const FolderSymbol& placeSymbol(std::string_view name);
/// Drawn anew for every size and density.
QIcon placeIcon(std::string_view name, const QColor& colour);
std::span<const FolderSymbol> placeSymbols();

} // namespace morv
