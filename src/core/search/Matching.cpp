#include "core/search/Matching.h"

#include <limits>

namespace korvane::matching {
namespace {

/// What one line may cost, in the engine's own units of some ten thousand steps: about 50 ms. Steps, not
/// time, so that a busy machine does not change what a pattern finds.
constexpr std::int32_t mostTicksPerLine = 250;
constexpr std::int32_t stackLimitBytes = 8'000'000;

/// Counts what all matches of a line have cost.
UBool U_CALLCONV spendTick(const void* context, std::int32_t /*ticksOfThisMatch*/) {
    return --*static_cast<std::int32_t*>(const_cast<void*>(context)) > 0;
}

Regex withLimits(URegularExpression* opened, UErrorCode status) {
    Regex regex(opened, &uregex_close);
    if (U_SUCCESS(status))
        uregex_setStackLimit(opened, stackLimitBytes, &status);
    if (U_FAILURE(status))
        regex.reset();
    return regex;
}

} // namespace

Regex compile(const QString& pattern, bool ignoreCase) {
    if (pattern.size() > std::numeric_limits<std::int32_t>::max())
        return {nullptr, &uregex_close};
    UErrorCode status = U_ZERO_ERROR;
    URegularExpression* const opened = uregex_open(
        reinterpret_cast<const UChar*>(pattern.utf16()), static_cast<std::int32_t>(pattern.size()),
        ignoreCase ? UREGEX_CASE_INSENSITIVE : 0, nullptr, &status);
    return withLimits(opened, status);
}

Regex clone(const Regex& regex) {
    if (!regex)
        return {nullptr, &uregex_close};
    UErrorCode status = U_ZERO_ERROR;
    URegularExpression* const cloned = uregex_clone(regex.get(), &status);
    return withLimits(cloned, status);
}

std::vector<TextRange> regexRanges(URegularExpression* matcher, const QString& line) {
    if (!matcher || line.size() > std::numeric_limits<std::int32_t>::max())
        return {};
    const auto length = static_cast<std::int32_t>(line.size());
    std::int32_t ticksLeft = mostTicksPerLine;
    UErrorCode status = U_ZERO_ERROR;
    uregex_setMatchCallback(matcher, &spendTick, &ticksLeft, &status);
    uregex_setText(matcher, reinterpret_cast<const UChar*>(line.utf16()), length, &status);

    std::vector<TextRange> ranges;
    for (std::int32_t position = 0; position <= length;) {
        // The rest of the line is a text of its own: the pattern sees nothing before it.
        uregex_setRegion(matcher, position, length, &status);
        if (!uregex_find(matcher, -1, &status) || U_FAILURE(status))
            break;
        const std::int32_t start = uregex_start(matcher, 0, &status);
        const std::int32_t end = uregex_end(matcher, 0, &status);
        if (end > start) {
            ranges.push_back({start, end - start});
            position = end;
            continue;
        }
        const bool pair =
            end + 1 < length && line.at(end).isHighSurrogate() && line.at(end + 1).isLowSurrogate();
        position = end + (pair ? 2 : 1);
    }
    if (U_FAILURE(status))
        return {}; // too slow or too deep for this line
    return ranges;
}

std::vector<TextRange> plainRanges(const QString& line, const QString& text,
                                   Qt::CaseSensitivity sensitivity) {
    std::vector<TextRange> ranges;
    for (qsizetype position = 0;;) {
        position = line.indexOf(text, position, sensitivity);
        if (position < 0)
            break;
        ranges.push_back({static_cast<int>(position), static_cast<int>(text.size())});
        position += text.size();
    }
    return ranges;
}

} // namespace korvane::matching
