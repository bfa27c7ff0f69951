#include "rules/LineMatchCounter.h"

#include "core/search/PatternFault.h"
#include "core/search/SearchItem.h"
#include "rules/RuleMatching.h"

#include <utility>

namespace korvane {
namespace {

LineMatchCounter::Answer counted(const SearchItem& item, const QStringList& lines,
                                 const std::stop_token& stop) {
    LineMatchCounter::Answer answer;
    answer.lines = lines.size();
    if (item.regex())
        answer.patternFault = patternFault(item.searchStr());
    const CompiledSearch search(item);
    RuleMatching matching({{search}}, [&stop] { return stop.stop_requested(); });
    for (const QString& line : lines) {
        if (answer.patternFault || stop.stop_requested())
            break;
        const auto [ranges, gaveUp] = matching.match(0, SearchedLine(line));
        answer.matching += !ranges.empty();
        answer.givenUp += gaveUp;
    }
    return answer;
}

} // namespace

LineMatchCounter::LineMatchCounter() : queue_("Count of matches queue", 1) {}

void LineMatchCounter::count(const SearchItem& item, QStringList lines,
                             std::function<void(const Answer&)> report) {
    cancel();
    queue_
        .run([item, lines = std::move(lines)](const std::stop_token& stop) {
            return counted(item, lines, stop);
        })
        .then(std::weak_ptr(life_), std::move(report));
}

} // namespace korvane
