#pragma once

#include <QStringView>

namespace korvane {

/// How much a text repeats itself: about how many units two places of it have in common from there on, on
/// average over pairs of places; some times too high at most. Near 0 for what people and programs write,
/// near half of its length for a text of one letter. Any thread.
double repetitionOf(QStringView text, Qt::CaseSensitivity sensitivity);

} // namespace korvane
