// The colours that a workspace can have, as they are painted.
#pragma once

#include <QColor>
#include <QIcon>
#include <string_view>

namespace morv {

/// An unknown name is grey.
QColor workspaceColour(std::string_view name);
/// A round mark of that colour.
QIcon workspaceMark(std::string_view name);

} // namespace morv
