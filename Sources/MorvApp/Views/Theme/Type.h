// The scale of type: every size is a multiple of the interface font's.
#pragma once

#include <QFont>

namespace morv::Type {

/// Labels beneath things, notes, headings of a list's sections.
QFont caption(const QFont& body);
/// Semibold, of the body's size.
QFont heading(const QFont& body);
QFont title(const QFont& body);
/// The one large title of an empty state or the introduction.
QFont large(const QFont& body);

} // namespace morv::Type
