#pragma once

#include <QString>

#include <optional>

namespace korvane {

/// The error of an invalid regular expression and its position, for display; nullopt for a valid one. Any
/// thread.
std::optional<QString> patternFault(const QString& pattern);

} // namespace korvane
