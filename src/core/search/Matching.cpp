#include "core/search/Matching.h"

#include <algorithm>
#include <limits>

namespace korvane::matching {
namespace {

using Steps = MatchBudget::Steps;

/// The engine reports its work in ticks of so many steps; less than one is not seen.
constexpr Steps stepsOfTick = 10'000;
/// What beginning a search costs besides.
constexpr Steps stepsOfFind = 10;
constexpr std::int32_t stackLimitBytes = 8'000'000;

/// Units of a line that a pattern with back references sees.
constexpr std::int32_t mostUnitsReferredBack = 16'384;
/// A step that compares with an earlier group costs one more for so many units of the line.
constexpr Steps unitsComparedInStep = 100;
/// Below a tick, back references are charged one step for so many pairs of units that they may compare.
constexpr Steps pairsOfUnitsInStep = 256;

/// Counts what the matches of one line cost.
class Meter {
public:
    Meter(MatchBudget& budget, Steps stepCost)
        : budget_(budget), tickCost_(stepsOfTick * stepCost),
          left_(std::min(budget.stepsLeft, MatchBudget::mostPerLine)) {}

    /// False when there is nothing left.
    bool spend(Steps steps) {
        left_ -= steps;
        budget_.stepsLeft -= steps;
        return left_ > 0;
    }
    static UBool U_CALLCONV spendTick(const void* context, std::int32_t /*ticksOfThisMatch*/) {
        auto& meter = *static_cast<Meter*>(const_cast<void*>(context));
        return meter.spend(meter.tickCost_) && !(meter.budget_.isCancelled && meter.budget_.isCancelled());
    }

private:
    MatchBudget& budget_;
    const Steps tickCost_;
    Steps left_;
};

/// May also find one where a set or a quotation holds the same characters.
bool hasBackReference(const QString& pattern) {
    for (qsizetype i = 0; i + 1 < pattern.size(); ++i) {
        if (pattern.at(i) != u'\\')
            continue;
        const QChar escaped = pattern.at(++i);
        if ((escaped >= u'1' && escaped <= u'9') || escaped == u'k')
            return true;
    }
    return false;
}

Regex withLimits(URegularExpression* opened, UErrorCode status, bool refersBack) {
    Regex regex{{opened, &uregex_close}, refersBack};
    if (U_SUCCESS(status))
        uregex_setStackLimit(opened, stackLimitBytes, &status);
    if (U_FAILURE(status))
        regex.expression.reset();
    return regex;
}

} // namespace

Regex compile(const QString& pattern, bool ignoreCase) {
    if (pattern.size() > std::numeric_limits<std::int32_t>::max())
        return {};
    UErrorCode status = U_ZERO_ERROR;
    URegularExpression* const opened = uregex_open(
        reinterpret_cast<const UChar*>(pattern.utf16()), static_cast<std::int32_t>(pattern.size()),
        ignoreCase ? UREGEX_CASE_INSENSITIVE : 0, nullptr, &status);
    return withLimits(opened, status, hasBackReference(pattern));
}

Regex clone(const Regex& regex) {
    if (!regex.expression)
        return {};
    UErrorCode status = U_ZERO_ERROR;
    URegularExpression* const cloned = uregex_clone(regex.expression.get(), &status);
    return withLimits(cloned, status, regex.refersBack);
}

MatchOutcome matchRegex(const Regex& regex, const QString& line, MatchBudget& budget) {
    URegularExpression* const matcher = regex.expression.get();
    if (!matcher || line.size() > std::numeric_limits<std::int32_t>::max())
        return {};
    if (budget.stepsLeft <= 0)
        return {{}, true};
    const auto wholeLength = static_cast<std::int32_t>(line.size());
    std::int32_t length = wholeLength;
    if (regex.refersBack && length > mostUnitsReferredBack)
        length = mostUnitsReferredBack - (line.at(mostUnitsReferredBack - 1).isHighSurrogate() ? 1 : 0);
    Meter meter(budget, regex.refersBack ? 1 + length / unitsComparedInStep : 1);
    UErrorCode status = U_ZERO_ERROR;
    uregex_setMatchCallback(matcher, &Meter::spendTick, &meter, &status);
    uregex_setText(matcher, reinterpret_cast<const UChar*>(line.utf16()), length, &status);

    MatchOutcome outcome;
    bool isLookedThrough = length == wholeLength;
    for (std::int32_t position = 0; position <= length;) {
        // The rest of the line is a text of its own: the pattern sees nothing before it.
        uregex_setRegion(matcher, position, length, &status);
        const bool isFound = uregex_find(matcher, -1, &status) && U_SUCCESS(status);
        const std::int32_t end = isFound ? uregex_end(matcher, 0, &status) : length;
        const Steps seen = end - position;
        const bool mayGoOn =
            meter.spend(stepsOfFind + (regex.refersBack ? seen * seen / pairsOfUnitsInStep : 0));
        // What holds only because the line was cut does not hold.
        if (!isFound || (length < wholeLength && uregex_requireEnd(matcher, &status)))
            break;
        const std::int32_t start = uregex_start(matcher, 0, &status);
        if (end > start)
            outcome.ranges.push_back({start, end - start});
        if (!mayGoOn) {
            isLookedThrough = false;
            break;
        }
        if (end > start) {
            position = end;
            continue;
        }
        const bool pair =
            end + 1 < length && line.at(end).isHighSurrogate() && line.at(end + 1).isLowSurrogate();
        position = end + (pair ? 2 : 1);
    }
    // A failure means too many steps, too deep a stack, or a cancel.
    outcome.gaveUp = outcome.ranges.empty() && (U_FAILURE(status) || !isLookedThrough);
    return outcome;
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
