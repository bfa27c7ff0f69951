#pragma once

#include "foundation/text/AttributedString.h"

#include <unicode/uregex.h>

#include <QString>

#include <memory>
#include <vector>

namespace korvane {

/// How texts and patterns are found in a line. All matches are ascending, without overlap and not empty.
namespace matching {

using Regex = std::unique_ptr<URegularExpression, decltype(&uregex_close)>;

/// Null when the pattern is not valid.
Regex compile(const QString& pattern, bool ignoreCase);
/// A matcher of its own for another thread; null for null.
Regex clone(const Regex& regex);

/// A pattern that is too slow or too deep for a line does not match it. One thread at a time a matcher.
std::vector<TextRange> regexRanges(URegularExpression* matcher, const QString& line);
/// Precondition: `text` is not empty.
std::vector<TextRange> plainRanges(const QString& line, const QString& text, Qt::CaseSensitivity sensitivity);

} // namespace matching

} // namespace korvane
