#pragma once

#include <QString>

#include <optional>

namespace korvane {

/// Why a regular expression finds nothing anywhere: what is wrong with it, and where. Nothing for a valid
/// one. Any thread.
std::optional<QString> patternFault(const QString& pattern);

} // namespace korvane
