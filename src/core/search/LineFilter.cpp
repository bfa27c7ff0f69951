#include "core/search/LineFilter.h"

#include "core/search/AsciiFolding.h"
#include "core/search/CandidateSearch.h"
#include "core/search/PatternTree.h"
#include "core/search/SearchItem.h"

#include <algorithm>
#include <bit>
#include <string_view>
#include <utility>

namespace korvane {

namespace {

using Block = LineFilter::Block;

/// Texts shorter than this are in most lines: searching for them costs more than it saves.
constexpr qsizetype shortestText = 2;
/// Lines with the texts of a pattern are frequent when they are more than this part.
constexpr std::size_t frequentPart = 8;
constexpr std::size_t stepsBetweenPolls = 64;
constexpr std::size_t bytesOfSample = 16 << 10;

std::string_view bytesOfLine(const Block& block, std::uint32_t line) {
    const std::uint32_t begin = block.lines[line];
    std::uint32_t end = block.lines[line + 1];
    if (end - begin >= block.lineEndBytes && (line + 2 < block.lines.size() || block.bytes[end - 1] == '\n'))
        end -= block.lineEndBytes;
    return {block.bytes.data() + begin, end - begin};
}

/// The line that a place of the block lies in, searched from a line before it on.
std::uint32_t lineAt(const Block& block, std::uint32_t from, std::size_t place) {
    // Mostly the line is near: then no branch depends on which one it is.
    constexpr std::uint32_t near = 16;
    const auto bound = static_cast<std::uint32_t>(place);
    while (from + near < block.lineCount()) {
        const auto starts = block.lines.subspan(from + 1).first<near>();
        std::uint32_t passed = 0;
        for (const std::uint32_t start : starts)
            passed += static_cast<std::uint32_t>(start <= bound);
        from += passed;
        if (passed < near)
            return from;
    }
    const auto behind = std::ranges::upper_bound(block.lines.subspan(from, block.lineCount() - from), bound);
    return static_cast<std::uint32_t>(behind - block.lines.begin()) - 1;
}

/// In a form that the compiler makes vector instructions of.
template <std::size_t size>
bool hasUndecidable(std::span<const char, size> bytes) {
    unsigned char found = 0;
    for (const char byte : bytes)
        found |= static_cast<unsigned char>(LineAutomaton::isUnknown(byte));
    return found != 0;
}

/// The texts to search for, since they equal a part of `text` when case is ignored. `isWhole`: everything
/// that a match contains around the text is known.
std::vector<ByteSearch> foldedForms(const QString& text, bool isWhole) {
    std::vector<ByteSearch> forms;
    for (const AsciiFolding& folding : AsciiFolding::all()) {
        const auto isIn = [&](QChar unit) { return text.contains(unit, Qt::CaseInsensitive); };
        if (isWhole ? text.contains(folding.folded, Qt::CaseInsensitive)
                    : std::ranges::any_of(folding.folded, isIn))
            forms.push_back(CandidateSearch::exactly(folding.character));
    }
    return forms;
}

/// Where each of several texts is next.
class TextPlaces {
public:
    TextPlaces(const std::vector<ByteSearch>& texts, std::span<const char> bytes, const NonAsciiParts& parts)
        : bytes_(bytes), parts_(parts) {
        next_.reserve(texts.size());
        for (const ByteSearch& text : texts)
            next_.push_back({.text = text, .isNonAscii = text.nonAsciiOffset().has_value()});
        for (Next& next : next_)
            find(next, 0);
    }

    std::optional<std::size_t> nearest() const {
        std::size_t nearest = bytes_.size();
        for (const Next& next : next_)
            nearest = std::min(nearest, next.place());
        return nearest < bytes_.size() ? std::optional(nearest) : std::nullopt;
    }

    void skipTo(std::size_t place) {
        for (Next& next : next_) {
            while (next.place() < place)
                if (++next.at == next.places.size())
                    find(next, std::max(place, std::size_t{next.places.back()} + 1));
        }
    }

private:
    struct Next {
        const ByteSearch& text;
        bool isNonAscii = false;
        /// The next ones; the last of all is the end of the bytes.
        std::vector<std::uint32_t> places = {};
        std::size_t at = 0;
        std::size_t part = 0;
        std::size_t place() const { return places[at]; }
    };

    void find(Next& next, std::size_t from) {
        constexpr std::size_t most = 64;
        next.places.resize(most);
        next.at = 0;
        const std::size_t found = next.isNonAscii ? parts_.findAll(next.text, from, next.places, next.part)
                                                  : next.text.findAll(bytes_, from, next.places);
        if (found == most)
            return;
        next.places.resize(found + 1);
        next.places.back() = static_cast<std::uint32_t>(bytes_.size());
    }

    const std::span<const char> bytes_;
    const NonAsciiParts& parts_;
    std::vector<Next> next_;
};

} // namespace

LineFilter::LineFilter(const std::vector<SearchItem>& items, StringEncoding encoding) {
    items_.reserve(items.size());
    for (const SearchItem& item : items) {
        items_.push_back(prepare(item, encoding));
        needsUndecidable_ |= items_.back().tree || items_.back().left == Item::Left::Undecidable;
        needsLetterForms_ |= items_.back().left == Item::Left::WithLetterForms;
        needsNonAscii_ |= needsLetterForms_ || std::ranges::any_of(items_.back().texts, [](const auto& text) {
                              return text.nonAsciiOffset().has_value();
                          });
    }
}

LineFilter::Item LineFilter::prepare(const SearchItem& item, StringEncoding encoding) {
    Item prepared{.item = item, .search = CompiledSearch(item), .matchesNothing = item.searchStr().isEmpty()};
    if (!CandidateSearch::keepsAsciiBytes(encoding))
        return prepared;
    if (!item.regex()) {
        auto texts = CandidateSearch::textSearches(item, encoding);
        prepared.texts = std::move(texts.searches);
        prepared.textsDecide = texts.decide;
        prepared.left = texts.hasLetterForms ? Item::Left::WithLetterForms : Item::Left::None;
        return prepared;
    }
    auto tree = PatternTree::parse(item.searchStr());
    const QStringList required = tree ? tree->requiredTexts() : QStringList();
    if (tree && tree->isPlainSyntax())
        prepared.tree = std::move(tree);
    if (!std::ranges::all_of(required, [](const QString& text) { return text.size() >= shortestText; }))
        return prepared;
    for (const QString& text : required) {
        prepared.texts.push_back(ByteSearch::ofAscii(text, item.ignoreCase()));
        if (!item.ignoreCase())
            continue;
        // In other encodings the bytes of the forms are not known.
        prepared.left = encoding == encoding::utf8 ? Item::Left::None : Item::Left::Undecidable;
        for (ByteSearch& form : foldedForms(text, AsciiSearch::isAscii(item.searchStr())))
            prepared.texts.push_back(std::move(form));
    }
    return prepared;
}

std::vector<std::uint32_t> LineFilter::undecidableLines(const Block& block) {
    std::vector<std::uint32_t> lines;
    constexpr std::size_t window = 256;
    std::uint32_t line = 0;
    for (std::size_t next = 0; next < block.bytes.size();) {
        const std::size_t end = std::min(next + window, block.bytes.size());
        const auto bytes = block.bytes.subspan(next, end - next);
        if (bytes.size() == window && !hasUndecidable(bytes.first<window>())) {
            next = end;
            continue;
        }
        const auto found = std::ranges::find_if(bytes, &LineAutomaton::isUnknown);
        if (found == bytes.end()) {
            next = end;
            continue;
        }
        line = lineAt(block, line, next + static_cast<std::size_t>(found - bytes.begin()));
        lines.push_back(line);
        next = block.lines[line + 1];
    }
    return lines;
}

std::vector<std::uint32_t> LineFilter::linesWithLetterForms(const Block& block, const NonAsciiParts& parts) {
    std::vector<std::uint32_t> lines;
    TextPlaces forms(CandidateSearch::letterForms(), block.bytes, parts);
    std::uint32_t line = 0;
    while (const auto place = forms.nearest()) {
        line = lineAt(block, line, *place);
        lines.push_back(line);
        forms.skipTo(block.lines[line + 1]);
    }
    return lines;
}

LineFilter::Pass::Pass(const LineFilter& filter) : filter_(filter) {
    states_.reserve(filter.items_.size());
    for (std::size_t i = 0; i < filter.items_.size(); ++i)
        states_.push_back({.matcher = CompiledSearch::Matcher(filter.items_[i].search),
                           .texts = filter.items_[i].texts,
                           .alone = filter.items_[i].tree ? groupOf({i}) : std::nullopt});
    gather();
}

std::optional<LineFilter::Pass::Group> LineFilter::Pass::groupOf(std::vector<std::size_t> items) const {
    std::vector<LineAutomaton::Pattern> patterns;
    patterns.reserve(items.size());
    for (const std::size_t item : items)
        patterns.push_back({&*filter_.items_[item].tree, filter_.items_[item].item.ignoreCase()});
    auto certain = LineAutomaton::create(patterns, LineAutomaton::Unknown::MatchesNothing);
    auto possible = LineAutomaton::create(patterns, LineAutomaton::Unknown::MayMatch);
    if (!certain || !possible)
        return std::nullopt;
    return Group{std::move(items), std::move(*certain), std::move(*possible)};
}

void LineFilter::Pass::tune(std::span<const char> bytes) {
    // For less it is not worth it.
    if (isTuned_ || bytes.size() < bytesOfSample)
        return;
    isTuned_ = true;
    for (State& state : states_)
        for (ByteSearch& text : state.texts)
            text.tuneFor(bytes.first(bytesOfSample));
}

void LineFilter::Pass::gather() {
    std::vector<std::size_t> items;
    together_.clear();
    const auto endGroup = [&] {
        if (auto group = items.empty() ? std::nullopt : groupOf(std::exchange(items, {})))
            together_.push_back(std::move(*group));
    };
    for (std::size_t i = 0; i < states_.size(); ++i) {
        State& state = states_[i];
        state.isTogether = state.alone && (filter_.items_[i].texts.empty() || state.hasFrequentTexts);
        if (state.isTogether)
            items.push_back(i);
        if (items.size() == LineAutomaton::mostPatterns)
            endGroup();
    }
    endGroup();
}

std::vector<LineFilter::Hits> LineFilter::Pass::find(const Block& block,
                                                     std::span<MatchBudget::Steps> steps) {
    tune(block.bytes);
    undecidable_ = filter_.needsUndecidable_ ? undecidableLines(block) : Lines();
    nonAscii_ = filter_.needsNonAscii_ ? NonAsciiParts(block.bytes) : NonAsciiParts();
    withLetterForms_ = filter_.needsLetterForms_ ? linesWithLetterForms(block, nonAscii_) : Lines();
    textLine_.reset();
    std::vector<Hits> hits(filter_.itemCount());
    std::vector<MatchBudget> budgets;
    for (const MatchBudget::Steps left : steps)
        budgets.push_back({left, block.isCancelled});
    // Groups that are too large are split.
    for (std::size_t i = 0; i < together_.size() && !block.isCancelled();) {
        if (findTogether(together_[i], block, budgets, hits))
            ++i;
        else
            split(i);
    }
    for (std::size_t item = 0; item < hits.size(); ++item) {
        const Item& searched = filter_.items_[item];
        if (searched.matchesNothing || states_[item].isTogether)
            continue;
        if (searched.texts.empty())
            findLineByLine(item, block, budgets[item], hits[item]);
        else
            findByTexts(item, block, budgets[item], hits[item]);
    }
    for (std::size_t i = 0; i < steps.size(); ++i)
        steps[i] = budgets[i].stepsLeft;
    if (std::exchange(areTextsMoreFrequent_, false))
        gather();
    return hits;
}

void LineFilter::Pass::split(std::size_t number) {
    const std::vector<std::size_t> items = std::move(together_[number].items);
    together_.erase(together_.begin() + static_cast<std::ptrdiff_t>(number));
    if (items.size() == 1) {
        State& state = states_[items.front()];
        state.alone.reset();
        state.isTogether = false;
        return;
    }
    const auto middle = items.begin() + static_cast<std::ptrdiff_t>(items.size() / 2);
    for (auto half : {std::vector(items.begin(), middle), std::vector(middle, items.end())})
        if (auto group = groupOf(std::move(half)))
            together_.push_back(std::move(*group));
}

bool LineFilter::Pass::findTogether(Group& group, const Block& block, std::span<MatchBudget> budgets,
                                    std::span<Hits> hits) {
    const auto lineCount = static_cast<std::uint32_t>(block.lineCount());
    matches_.assign(lineCount, 0);
    if (!group.certain.search(block.bytes, block.lines, matches_))
        return false;
    auto undecidable = undecidable_.begin();
    for (std::uint32_t line = 0; line < lineCount; ++line) {
        LineAutomaton::Matches matches = matches_[line];
        if (undecidable != undecidable_.end() && *undecidable == line) {
            ++undecidable;
            if (block.isCancelled())
                break;
            const auto possible = group.possible.search(bytesOfLine(block, line));
            for (std::size_t i = 0; i < group.items.size(); ++i) {
                const auto bit = LineAutomaton::Matches{1} << i;
                if ((matches & bit) == 0 && (!possible || (*possible & bit) != 0))
                    judgeText(group.items[i], block, line, budgets[group.items[i]], hits[group.items[i]]);
            }
        }
        for (; matches != 0; matches &= matches - 1)
            hits[group.items[static_cast<std::size_t>(std::countr_zero(matches))]].lines.push_back(line);
    }
    return true;
}

void LineFilter::Pass::findLineByLine(std::size_t item, const Block& block, MatchBudget& budget, Hits& hits) {
    for (std::uint32_t line = 0; line < block.lineCount() && !block.isCancelled(); ++line)
        judge(item, block, line, budget, hits);
}

void LineFilter::Pass::findByTexts(std::size_t item, const Block& block, MatchBudget& budget, Hits& hits) {
    const Item& searched = filter_.items_[item];
    TextPlaces texts(states_[item].texts, block.bytes, nonAscii_);
    const Lines none;
    const Lines& otherLines = searched.left == Item::Left::None          ? none
                              : searched.left == Item::Left::Undecidable ? undecidable_
                                                                         : withLetterForms_;
    auto left = otherLines.begin();
    std::uint32_t line = 0;
    std::size_t judged = 0;
    for (std::size_t step = 0; step % stepsBetweenPolls != 0 || !block.isCancelled(); ++step) {
        const bool isOther = left != otherLines.end();
        const auto place = texts.nearest();
        const bool isText = place && (!isOther || *place < block.lines[*left + 1]);
        if (!isText && !isOther)
            break;
        line = isText ? lineAt(block, line, *place) : *left;
        if (isText && searched.textsDecide) {
            hits.lines.push_back(line);
        } else {
            judge(item, block, line, budget, hits);
            ++judged;
        }
        if (isOther && *left <= line)
            ++left;
        texts.skipTo(block.lines[line + 1]);
    }
    if (states_[item].alone && judged > block.lineCount() / frequentPart)
        areTextsMoreFrequent_ = states_[item].hasFrequentTexts = true;
}

void LineFilter::Pass::judge(std::size_t item, const Block& block, std::uint32_t line, MatchBudget& budget,
                             Hits& hits) {
    if (auto& alone = states_[item].alone) {
        const std::string_view bytes = bytesOfLine(block, line);
        const auto certain = alone->certain.search(bytes);
        if (certain && *certain != 0) {
            hits.lines.push_back(line);
            return;
        }
        const bool isDecided = certain && !std::ranges::binary_search(undecidable_, line);
        if (isDecided || alone->possible.search(bytes) == LineAutomaton::Matches{0})
            return;
    }
    judgeText(item, block, line, budget, hits);
}

void LineFilter::Pass::judgeText(std::size_t item, const Block& block, std::uint32_t line,
                                 MatchBudget& budget, Hits& hits) {
    if (std::exchange(textLine_, line) != line)
        text_ = block.text(line);
    const Verdict verdict = examine(item, text_, budget);
    if (verdict != Verdict::NoMatch)
        (verdict == Verdict::Match ? hits.lines : hits.givenUp).push_back(line);
}

LineFilter::Verdict LineFilter::Pass::examine(std::size_t item, const QString& text, MatchBudget& budget) {
    const MatchOutcome outcome = states_[item].matcher.match(SearchedLine(text), budget);
    if (!outcome.ranges.empty())
        return Verdict::Match;
    return outcome.gaveUp ? Verdict::GivenUp : Verdict::NoMatch;
}

} // namespace korvane
