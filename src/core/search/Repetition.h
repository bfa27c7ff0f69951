#pragma once

#include <QStringView>

namespace korvane {

/// A measure of how repetitive a text is: the approximate length of the common text that starts at two
/// places, averaged over pairs of places; at most a few times too high. Near 0 for ordinary text, near half
/// of the length for a text of one letter. Any thread.
double repetitionOf(QStringView text, Qt::CaseSensitivity sensitivity);

} // namespace korvane
