#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace korvane {

/// Texts of which every match of the regular expression contains at least one; nullopt if unknown. All are
/// ASCII and not empty. If the expression ignores case, the texts must be searched ignoring case.
std::optional<QStringList> requiredTexts(const QString& pattern);

} // namespace korvane
