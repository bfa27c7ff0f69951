#pragma once

#include <QString>

namespace korvane {

/// The characters of a line as they are drawn: controls and direction overrides become visible, a carriage
/// return at the end of the line disappears. Positions in both texts are the same.
QString visibleText(const QString& text);

} // namespace korvane
