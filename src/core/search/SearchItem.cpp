#include "core/search/SearchItem.h"

#include "core/search/Matching.h"

#include <list>
#include <mutex>
#include <utility>

namespace korvane {
namespace {

using matching::Regex;

struct RegexKey {
    QString pattern;
    bool ignoreCase = false;
    friend bool operator==(const RegexKey&, const RegexKey&) = default;
};

/// Patterns compiled lately, newest first. Small, so that searching it costs nothing.
class RegexCache {
public:
    /// The expression of the pattern, compiled by `make` if need be.
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
const Regex& matcherFor(const RegexKey& key) {
    thread_local RegexCache ofThread;
    const auto cloned = [](const RegexKey& wanted) {
        static std::mutex mutex;
        static RegexCache ofProgram;
        const std::lock_guard guard(mutex);
        return matching::clone(ofProgram.find(wanted, [](const RegexKey& missing) {
            return matching::compile(missing.pattern, missing.ignoreCase);
        }));
    };
    return ofThread.find(key, cloned);
}

} // namespace

std::vector<TextRange> SearchItem::matchRanges(const QString& line) const {
    if (searchStr_.isEmpty())
        return {};
    if (regex_) {
        MatchBudget budget;
        return matching::matchRegex(matcherFor({searchStr_, ignoreCase_}), line, budget).ranges;
    }
    return matching::plainRanges(line, searchStr_, ignoreCase_ ? Qt::CaseInsensitive : Qt::CaseSensitive);
}

} // namespace korvane
