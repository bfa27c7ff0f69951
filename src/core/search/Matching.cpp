#include "core/search/Matching.h"

#include "core/search/Repetition.h"

#include <algorithm>
#include <limits>
#include <optional>

namespace korvane::matching {
namespace {

using Steps = MatchBudget::Steps;

/// Number of steps of the engine after which it reports its work (a tick); smaller amounts are not reported.
constexpr Steps stepsOfTick = 10'000;
/// Fixed cost of starting a search, in steps.
constexpr Steps stepsOfFind = 10;
/// A pattern that looks behind restarts the engine's count with each find. Few finds cost little; each
/// further one is charged the average cost of a find below one tick.
constexpr int unchargedFinds = 100;
constexpr Steps stepsOfFurtherFind = 3'000;
constexpr std::int32_t stackLimitBytes = 8'000'000;

/// Units of a line that a pattern with back references sees.
constexpr std::int32_t mostUnitsReferredBack = 16'384;
/// Units that are compared with an earlier group in the time of one step.
constexpr double unitsComparedInStep = 32;
constexpr double foldedUnitsComparedInStep = 2;
/// Cost of measuring repetition, per unit.
constexpr Steps stepsOfRepetition = 2;

/// Steps that a comparison with an earlier group may take, in addition to the one that the engine counts.
double stepsOfComparison(PatternTraits traits, QStringView line) {
    if (!traits.refersBack)
        return 0;
    return traits.ignoresCase ? repetitionOf(line, Qt::CaseInsensitive) / foldedUnitsComparedInStep
                              : repetitionOf(line, Qt::CaseSensitive) / unitsComparedInStep;
}

/// Steps below a tick that a search over this many units may have taken unreported.
double unseenSteps(std::int32_t units) {
    const auto size = static_cast<double>(units);
    return std::min(size * size / 2, static_cast<double>(stepsOfTick));
}

/// Steps of a find after `finds` others in the line, in addition to those that the engine reports;
/// `unseen`: those of the first find.
Steps stepsOfNextFind(PatternTraits traits, int finds, Steps unseen) {
    Steps steps = stepsOfFind;
    // The engine either counts on from find to find, or restarts its count with each find.
    if (finds == 0 || traits.looksBehind)
        steps += unseen;
    if (traits.looksBehind && traits.looksAhead && finds >= unchargedFinds)
        steps += stepsOfFurtherFind;
    return steps;
}

/// Units of the line that the pattern sees.
std::int32_t visibleLength(PatternTraits traits, const QString& line) {
    if (!traits.refersBack || line.size() <= mostUnitsReferredBack)
        return static_cast<std::int32_t>(line.size());
    return mostUnitsReferredBack - (line.at(mostUnitsReferredBack - 1).isHighSurrogate() ? 1 : 0);
}

/// Charges the cost of matching one line to the budget.
class Meter {
public:
    Meter(MatchBudget& budget, Steps tickCost)
        : budget_(budget), tickCost_(tickCost), left_(std::min(budget.stepsLeft, MatchBudget::mostPerLine)) {}

    /// False when no steps are left.
    bool spend(Steps steps) {
        left_ -= steps;
        budget_.stepsLeft -= steps;
        return left_ > 0;
    }
    static UBool U_CALLCONV spendTick(const void* context, std::int32_t /*ticksOfThisMatch*/) {
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): the engine returns what it was given.
        auto& meter = *static_cast<Meter*>(const_cast<void*>(context));
        return meter.spend(meter.tickCost_) && !meter.isCancelled();
    }
    bool isCancelled() const { return budget_.isCancelled && budget_.isCancelled(); }

private:
    MatchBudget& budget_;
    const Steps tickCost_;
    Steps left_;
};

/// May report too many traits, where a set or quotation contains the same characters.
PatternTraits traitsOf(QStringView pattern, bool ignoreCase) {
    PatternTraits traits{ignoreCase};
    for (qsizetype i = 0; i < pattern.size(); ++i) {
        const QStringView rest = pattern.sliced(i);
        if (rest.startsWith(u'\\') && rest.size() > 1) {
            const QChar escaped = pattern.at(++i);
            traits.refersBack |= (escaped >= u'1' && escaped <= u'9') || escaped == u'k';
            traits.looksBehind |= QStringView(u"AbBG").contains(escaped);
            continue;
        }
        const bool isNegation = i > 0 && pattern.at(i - 1) == u'[';
        traits.looksBehind |=
            (rest.startsWith(u'^') && !isNegation) || rest.startsWith(u"(?<=") || rest.startsWith(u"(?<!");
        traits.looksAhead |= QStringView(u"(|?*{").contains(rest.front());
    }
    return traits;
}

Regex withLimits(URegularExpression* opened, UErrorCode status, PatternTraits traits) {
    Regex regex{{opened, &uregex_close}, traits};
    if (U_SUCCESS(status))
        uregex_setStackLimit(opened, stackLimitBytes, &status);
    if (U_FAILURE(status))
        regex.expression.reset();
    return regex;
}

/// Finds the matches of one line, one after the other.
class Finder {
public:
    Finder(const Regex& regex, const QString& line, std::int32_t length, UErrorCode& status)
        : matcher_(regex.expression.get()), looksBehind_(regex.traits.looksBehind), line_(line),
          length_(length), status_(status) {
        uregex_setText(matcher_, reinterpret_cast<const UChar*>(line.utf16()), length, &status_);
    }

    /// Start of the next search: after the last match, or one character further if that was empty.
    std::int32_t position() const { return position_; }
    bool isAtEnd() const { return position_ > length_; }

    /// The next match, which may be empty.
    std::optional<TextRange> next() {
        bool isFound = false;
        if (looksBehind_ || position_ == 0) {
            // The region is a text by itself: the pattern sees nothing before it.
            uregex_setRegion(matcher_, position_, length_, &status_);
            isFound = uregex_find(matcher_, -1, &status_);
        } else {
            isFound = uregex_findNext(matcher_, &status_); // continues counting steps
        }
        if (!isFound || U_FAILURE(status_))
            return std::nullopt;
        const std::int32_t start = uregex_start(matcher_, 0, &status_);
        const std::int32_t end = uregex_end(matcher_, 0, &status_);
        position_ = end > start ? end : afterCharacterAt(end);
        return TextRange{start, end - start};
    }

private:
    std::int32_t afterCharacterAt(std::int32_t place) const {
        const bool isPair =
            place + 1 < length_ && line_.at(place).isHighSurrogate() && line_.at(place + 1).isLowSurrogate();
        return place + (isPair ? 2 : 1);
    }

    URegularExpression* const matcher_;
    const bool looksBehind_;
    const QString& line_;
    const std::int32_t length_;
    UErrorCode& status_;
    std::int32_t position_ = 0;
};

} // namespace

Regex compile(const QString& pattern, bool ignoreCase) {
    if (pattern.size() > std::numeric_limits<std::int32_t>::max())
        return {};
    UErrorCode status = U_ZERO_ERROR;
    URegularExpression* const opened = uregex_open(
        reinterpret_cast<const UChar*>(pattern.utf16()), static_cast<std::int32_t>(pattern.size()),
        ignoreCase ? UREGEX_CASE_INSENSITIVE : 0, nullptr, &status);
    return withLimits(opened, status, traitsOf(pattern, ignoreCase));
}

Regex clone(const Regex& regex) {
    if (!regex.expression)
        return {};
    UErrorCode status = U_ZERO_ERROR;
    URegularExpression* const cloned = uregex_clone(regex.expression.get(), &status);
    return withLimits(cloned, status, regex.traits);
}

MatchOutcome matchRegex(const Regex& regex, const QString& line, MatchBudget& budget) {
    URegularExpression* const matcher = regex.expression.get();
    if (!matcher || line.size() > std::numeric_limits<std::int32_t>::max())
        return {};
    if (budget.stepsLeft <= 0)
        return {{}, true};
    const PatternTraits traits = regex.traits;
    const auto wholeLength = static_cast<std::int32_t>(line.size());
    const std::int32_t length = visibleLength(traits, line);
    const double comparison = stepsOfComparison(traits, QStringView(line).left(length));
    const auto tickCost = static_cast<Steps>(static_cast<double>(stepsOfTick) * (1 + comparison));
    Meter meter(budget, tickCost);
    if (traits.refersBack &&
        (!meter.spend(length * stepsOfRepetition) || tickCost > MatchBudget::mostPerLine))
        return {{}, true};
    UErrorCode status = U_ZERO_ERROR;
    uregex_setMatchCallback(matcher, &Meter::spendTick, &meter, &status);

    MatchOutcome outcome;
    bool isLookedThrough = length == wholeLength;
    Finder finder(regex, line, length, status);
    for (int finds = 0; !finder.isAtEnd(); ++finds) {
        const std::int32_t from = finder.position();
        const std::optional<TextRange> match = finder.next();
        const auto unseen = static_cast<Steps>(comparison * unseenSteps(length - from));
        const bool hasStepsLeft = meter.spend(stepsOfNextFind(traits, finds, unseen));
        // A match that depends on the cut end of the line is dropped.
        if (!match || (length < wholeLength && uregex_requireEnd(matcher, &status)))
            break;
        if (match->length > 0)
            outcome.ranges.push_back(*match);
        if (!hasStepsLeft || (traits.looksBehind && meter.isCancelled())) {
            isLookedThrough = false;
            break;
        }
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
