#include "core/search/Matching.h"

#include "core/search/Repetition.h"

#include <algorithm>
#include <limits>

namespace korvane::matching {
namespace {

using Steps = MatchBudget::Steps;

/// The engine reports its work in ticks of so many steps; less than one is not seen.
constexpr Steps stepsOfTick = 10'000;
/// Fixed cost of starting a search, in steps.
constexpr Steps stepsOfFind = 10;
constexpr std::int32_t stackLimitBytes = 8'000'000;

/// Units of a line that a pattern with back references sees.
constexpr std::int32_t mostUnitsReferredBack = 16'384;
/// Units that are compared with an earlier group in the time of a step.
constexpr double unitsComparedInStep = 32;
constexpr double foldedUnitsComparedInStep = 2;
/// What looking for repetitions costs a unit.
constexpr Steps stepsOfRepetition = 2;

/// How many steps a comparison with an earlier group of the line may take, besides the one that is counted.
double stepsOfComparison(const Regex& regex, QStringView line) {
    if (!regex.refersBack)
        return 0;
    return regex.ignoresCase ? repetitionOf(line, Qt::CaseInsensitive) / foldedUnitsComparedInStep
                             : repetitionOf(line, Qt::CaseSensitive) / unitsComparedInStep;
}

/// How many steps below a tick a search may have taken over so many units.
double unseenSteps(std::int32_t units) {
    const auto size = static_cast<double>(units);
    return std::min(size * size / 2, static_cast<double>(stepsOfTick));
}

/// Counts what the matches of one line cost.
class Meter {
public:
    Meter(MatchBudget& budget, Steps tickCost)
        : budget_(budget), tickCost_(tickCost), left_(std::min(budget.stepsLeft, MatchBudget::mostPerLine)) {}

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

Regex withLimits(URegularExpression* opened, UErrorCode status, bool refersBack, bool ignoresCase) {
    Regex regex{{opened, &uregex_close}, refersBack, ignoresCase};
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
    return withLimits(opened, status, hasBackReference(pattern), ignoreCase);
}

Regex clone(const Regex& regex) {
    if (!regex.expression)
        return {};
    UErrorCode status = U_ZERO_ERROR;
    URegularExpression* const cloned = uregex_clone(regex.expression.get(), &status);
    return withLimits(cloned, status, regex.refersBack, regex.ignoresCase);
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
    const double comparison = stepsOfComparison(regex, QStringView(line).left(length));
    const auto tickCost = static_cast<Steps>(static_cast<double>(stepsOfTick) * (1 + comparison));
    Meter meter(budget, tickCost);
    if (regex.refersBack && (!meter.spend(length * stepsOfRepetition) || tickCost > MatchBudget::mostPerLine))
        return {{}, true};
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
        const bool mayGoOn =
            meter.spend(stepsOfFind + static_cast<Steps>(comparison * unseenSteps(end - position)));
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
