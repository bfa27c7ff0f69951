#include "core/SearchItem.h"

#include <unicode/uregex.h>

#include <limits>
#include <list>
#include <memory>
#include <mutex>
#include <utility>

namespace korvane {
namespace {

using Regex = std::unique_ptr<URegularExpression, decltype(&uregex_close)>;

/// What one line may cost, in the engine's own units of some ten thousand steps: about 50 ms. Steps, not
/// time, so that a busy machine does not change what a pattern finds.
constexpr std::int32_t mostTicksPerLine = 250;
constexpr std::int32_t stackLimitBytes = 8'000'000;

struct RegexKey {
    QString pattern;
    bool ignoreCase = false;
    friend bool operator==(const RegexKey&, const RegexKey&) = default;
};

Regex compile(const RegexKey& key) {
    UErrorCode status = U_ZERO_ERROR;
    if (key.pattern.size() > std::numeric_limits<std::int32_t>::max())
        return {nullptr, &uregex_close};
    Regex regex(uregex_open(reinterpret_cast<const UChar*>(key.pattern.utf16()),
                            static_cast<std::int32_t>(key.pattern.size()),
                            key.ignoreCase ? UREGEX_CASE_INSENSITIVE : 0, nullptr, &status),
                &uregex_close);
    if (U_FAILURE(status))
        regex.reset();
    return regex;
}

/// Patterns compiled lately, newest first. Small, so that searching it costs nothing.
class RegexCache {
public:
    /// The expression of the pattern, compiled by `make` if need be; null when the pattern is not valid.
    template <typename Make>
    const Regex& find(const RegexKey& key, Make make) {
        for (auto entry = entries_.begin(); entry != entries_.end(); ++entry) {
            if (entry->first == key) {
                entries_.splice(entries_.begin(), entries_, entry);
                return entry->second;
            }
        }
        entries_.emplace_front(key, make(key));
        if (entries_.size() > mostEntries)
            entries_.pop_back();
        return entries_.front().second;
    }

private:
    static constexpr std::size_t mostEntries = 64;
    std::list<std::pair<RegexKey, Regex>> entries_;
};

/// A matcher of this thread's own; valid until the thread's next call.
URegularExpression* matcherFor(const RegexKey& key) {
    thread_local RegexCache ofThread;
    const auto clone = [](const RegexKey& wanted) -> Regex {
        static std::mutex mutex;
        static RegexCache ofProgram;
        const std::lock_guard guard(mutex);
        const Regex& compiled = ofProgram.find(wanted, &compile);
        if (!compiled)
            return {nullptr, &uregex_close};
        UErrorCode status = U_ZERO_ERROR;
        return {uregex_clone(compiled.get(), &status), &uregex_close};
    };
    return ofThread.find(key, clone).get();
}

/// Counts what all matches of a line have cost.
UBool U_CALLCONV spendTick(const void* context, std::int32_t /*ticksOfThisMatch*/) {
    return --*static_cast<std::int32_t*>(const_cast<void*>(context)) > 0;
}

std::vector<TextRange> regexRanges(const QString& line, const RegexKey& key) {
    URegularExpression* const matcher = matcherFor(key);
    if (!matcher || line.size() > std::numeric_limits<std::int32_t>::max())
        return {};
    const auto length = static_cast<std::int32_t>(line.size());
    std::int32_t ticksLeft = mostTicksPerLine;
    UErrorCode status = U_ZERO_ERROR;
    uregex_setStackLimit(matcher, stackLimitBytes, &status);
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

} // namespace

std::vector<TextRange> SearchItem::matchRanges(const QString& line) const {
    if (searchStr_.isEmpty())
        return {};
    if (regex_)
        return regexRanges(line, {searchStr_, ignoreCase_});
    return plainRanges(line, searchStr_, ignoreCase_ ? Qt::CaseInsensitive : Qt::CaseSensitive);
}

} // namespace korvane
