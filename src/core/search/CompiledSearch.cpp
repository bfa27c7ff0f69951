#include "core/search/CompiledSearch.h"

#include "core/search/AsciiFolding.h"
#include "core/search/PatternTree.h"
#include "core/search/SearchItem.h"

#include <algorithm>

namespace korvane {
namespace {

bool foldsToAscii(QChar character) {
    return character.unicode() >= 0x80 && AsciiFolding::contains(character.unicode());
}

} // namespace

bool SearchedLine::foldsLikeAscii() const {
    if (!foldsLikeAscii_)
        foldsLikeAscii_ =
            AsciiSearch::isAscii(text_) || std::none_of(text_.cbegin(), text_.cend(), &foldsToAscii);
    return *foldsLikeAscii_;
}

CompiledSearch::CompiledSearch(const SearchItem& item)
    : searchStr_(item.searchStr()), ignoreCase_(item.ignoreCase()), isRegex_(item.regex()) {
    const auto letters = ignoreCase_ ? AsciiSearch::Letters::IgnoreCase : AsciiSearch::Letters::Exact;
    if (searchStr_.isEmpty())
        return;
    if (isRegex_) {
        regex_ = matching::compile(searchStr_, ignoreCase_);
        if (const auto tree = PatternTree::parse(searchStr_))
            for (const QString& text : tree->requiredTexts())
                texts_.emplace_back(text, letters);
    } else if (AsciiSearch::isAscii(searchStr_)) {
        texts_.emplace_back(searchStr_, letters);
    }
}

MatchOutcome CompiledSearch::Matcher::match(const SearchedLine& line, MatchBudget& budget) {
    if (search_.searchStr_.isEmpty())
        return {};
    return search_.isRegex_ ? matchRegex(line, budget) : MatchOutcome{plainRanges(line)};
}

std::vector<TextRange> CompiledSearch::Matcher::matchRanges(const SearchedLine& line) {
    MatchBudget budget;
    return match(line, budget).ranges;
}

std::vector<TextRange> CompiledSearch::Matcher::plainRanges(const SearchedLine& line) const {
    if (search_.texts_.empty() || !search_.canRelyOnAscii(line))
        return matching::plainRanges(line.text(), search_.searchStr_,
                                     search_.ignoreCase_ ? Qt::CaseInsensitive : Qt::CaseSensitive);
    const AsciiSearch& text = search_.texts_.front();
    const auto length = static_cast<int>(search_.searchStr_.size());
    std::vector<TextRange> ranges;
    for (qsizetype place = text.find(line.text()); place >= 0; place = text.find(line.text(), place + length))
        ranges.push_back({static_cast<int>(place), length});
    return ranges;
}

MatchOutcome CompiledSearch::Matcher::matchRegex(const SearchedLine& line, MatchBudget& budget) {
    if (!search_.texts_.empty() && search_.canRelyOnAscii(line) &&
        std::none_of(search_.texts_.begin(), search_.texts_.end(),
                     [&](const AsciiSearch& text) { return text.find(line.text()) >= 0; }))
        return {};
    if (!regex_)
        regex_ = matching::clone(search_.regex_);
    return matching::matchRegex(*regex_, line.text(), budget);
}

} // namespace korvane
