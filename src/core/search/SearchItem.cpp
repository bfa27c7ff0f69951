#include "core/search/SearchItem.h"

#include "core/search/Matching.h"
#include "foundation/Mutex.h"

#include <list>
#include <utility>

namespace korvane {
namespace {

using matching::Regex;

struct RegexKey {
    QString pattern;
    bool ignoreCase = false;
    friend bool operator==(const RegexKey&, const RegexKey&) = default;
};

/// Recently compiled patterns, newest first. Small enough for a linear search.
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

/// The matcher of this thread; valid until its next call.
const Regex& matcherFor(const RegexKey& key) {
    thread_local RegexCache ofThread;
    const auto cloned = [](const RegexKey& wanted) {
        static Mutex mutex;
        static RegexCache ofProgram;
        const MutexLock guard(mutex);
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
