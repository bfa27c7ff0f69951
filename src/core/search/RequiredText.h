#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace korvane {

/// Texts of which every match of the regular expression holds at least one; nothing when that is not certain.
/// All are ASCII and not empty. For an expression that ignores case the texts do so too.
std::optional<QStringList> requiredTexts(const QString& pattern);

} // namespace korvane
