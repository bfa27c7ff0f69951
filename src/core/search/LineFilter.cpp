#include "core/search/LineFilter.h"

#include "core/search/CandidateSearch.h"
#include "core/search/PatternTree.h"
#include "core/search/SearchItem.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace korvane {

namespace {

using Block = LineFilter::Block;

/// Texts shorter than this are in most lines: searching for them costs more than it saves.
constexpr qsizetype shortestText = 2;

std::string_view bytesOfLine(const Block& block, std::uint32_t line) {
    const std::uint32_t begin = block.lines[line];
    std::uint32_t end = block.lines[line + 1];
    if (end - begin >= block.lineEndBytes && (line + 2 < block.lines.size() || block.bytes[end - 1] == '\n'))
        end -= block.lineEndBytes;
    return {block.bytes.data() + begin, end - begin};
}

/// The line that a place of the block lies in, searched from a line before it on.
std::uint32_t lineAt(const Block& block, std::uint32_t from, std::size_t place) {
    // Mostly the line is near: double the distance until it is passed.
    std::size_t step = 1;
    std::size_t low = from;
    while (low + step < block.lineCount() && block.lines[low + step] <= place) {
        low += step;
        step *= 2;
    }
    const auto begin = block.lines.begin();
    const auto high = begin + static_cast<std::ptrdiff_t>(std::min(low + step, block.lineCount()));
    const auto behind = std::upper_bound(begin + static_cast<std::ptrdiff_t>(low), high, place);
    return static_cast<std::uint32_t>(behind - begin) - 1;
}

bool hasHighBit(std::span<const char> bytes) {
    unsigned char all = 0;
    for (const char byte : bytes)
        all |= static_cast<unsigned char>(byte);
    return all >= 0x80;
}

/// Whether a character of UTF-8 that folds to ASCII may begin with these bytes; there is one more behind
/// them.
bool mayFoldToAscii(unsigned char first, unsigned char second) {
    switch (first) {
    case 0xC3:
        return second == 0x9F;
    case 0xC4:
        return second == 0xB0;
    case 0xC5:
        return second == 0x89 || second == 0xBF;
    case 0xC7:
        return second == 0xB0;
    case 0xE1:
        return second == 0xBA;
    case 0xE2:
        return second == 0x84;
    case 0xEF:
        return second == 0xAC;
    default:
        return false;
    }
}

} // namespace

LineFilter::LineFilter(const std::vector<SearchItem>& items, StringEncoding encoding)
    : isUtf8_(encoding == encoding::utf8) {
    items_.reserve(items.size());
    for (const SearchItem& item : items) {
        items_.push_back(prepare(item, encoding));
        needsFoldingLines_ |= items_.back().ignoresCase && !items_.back().texts.empty();
    }
}

LineFilter::Item LineFilter::prepare(const SearchItem& item, StringEncoding encoding) {
    Item prepared{.item = item,
                  .search = CompiledSearch(item),
                  .ignoresCase = item.ignoreCase(),
                  .matchesNothing = item.searchStr().isEmpty()};
    if (!CandidateSearch::keepsAsciiBytes(encoding))
        return prepared;
    if (!item.regex()) {
        if (auto text = CandidateSearch::textSearch(item, encoding)) {
            prepared.textsDecide = AsciiSearch::isAscii(item.searchStr()) &&
                                   static_cast<qsizetype>(text->size()) == item.searchStr().size();
            prepared.texts.push_back(std::move(*text));
        }
        return prepared;
    }
    prepared.pattern = BytePattern::create(item);
    const auto tree = PatternTree::parse(item.searchStr());
    const QStringList required = tree ? tree->requiredTexts() : QStringList();
    if (std::ranges::all_of(required, [](const QString& text) { return text.size() >= shortestText; }))
        for (const QString& text : required)
            prepared.texts.push_back(ByteSearch::ofAscii(text, item.ignoreCase()));
    return prepared;
}

std::vector<std::uint32_t> LineFilter::foldingLines(const Block& block) const {
    std::vector<std::uint32_t> lines;
    constexpr std::size_t window = 1024;
    std::uint32_t line = 0;
    std::size_t next = 0; // the first byte that has not been examined
    while (next < block.bytes.size()) {
        const std::size_t end = std::min(next + window, block.bytes.size());
        if (!hasHighBit(block.bytes.subspan(next, end - next))) {
            next = end;
            continue;
        }
        for (; next < end; ++next) {
            const auto byte = static_cast<unsigned char>(block.bytes[next]);
            if (byte < 0x80)
                continue;
            // Bytes that are invalid in another encoding are read as UTF-8.
            const bool isLast = next + 1 == block.bytes.size();
            if (isUtf8_ &&
                (isLast || !mayFoldToAscii(byte, static_cast<unsigned char>(block.bytes[next + 1]))))
                continue;
            line = lineAt(block, line, next);
            lines.push_back(line);
            next = block.lines[line + 1] - 1;
        }
    }
    return lines;
}

LineFilter::Pass::Pass(const LineFilter& filter) : filter_(filter) {
    for (const Item& item : filter.items_)
        matchers_.push_back({item.pattern ? std::optional<BytePattern::Matcher>(*item.pattern) : std::nullopt,
                             CompiledSearch::Matcher(item.search)});
}

std::vector<LineFilter::Hits> LineFilter::Pass::find(const Block& block,
                                                     std::span<MatchBudget::Steps> budgets) {
    foldingLines_ = filter_.needsFoldingLines_ ? filter_.foldingLines(block) : std::vector<std::uint32_t>();
    std::vector<Hits> hits(filter_.itemCount());
    for (std::size_t item = 0; item < hits.size(); ++item) {
        MatchBudget budget{budgets[item], block.isCancelled};
        if (filter_.items_[item].matchesNothing)
            continue;
        if (filter_.items_[item].texts.empty())
            findLineByLine(item, block, budget, hits[item]);
        else
            findByTexts(item, block, budget, hits[item]);
        budgets[item] = budget.stepsLeft;
    }
    return hits;
}

void LineFilter::Pass::findLineByLine(std::size_t item, const Block& block, MatchBudget& budget, Hits& hits) {
    for (std::uint32_t line = 0; line < block.lineCount() && !block.isCancelled(); ++line)
        judge(item, block, line, budget, hits);
}

void LineFilter::Pass::findByTexts(std::size_t item, const Block& block, MatchBudget& budget, Hits& hits) {
    const Item& searched = filter_.items_[item];
    const std::size_t end = block.bytes.size();
    const auto next = [&](const ByteSearch& text, std::size_t from) {
        return text.find(Direction::Forwards, block.bytes, from).value_or(end);
    };
    // Where each text is next.
    std::vector<std::size_t> places;
    places.reserve(searched.texts.size());
    for (const ByteSearch& text : searched.texts)
        places.push_back(next(text, 0));
    auto folding = searched.ignoresCase ? foldingLines_.begin() : foldingLines_.end();
    std::uint32_t line = 0;
    while (!block.isCancelled()) {
        const std::size_t place = *std::ranges::min_element(places);
        const bool isText =
            place < end && (folding == foldingLines_.end() || place < block.lines[*folding + 1]);
        if (!isText && folding == foldingLines_.end())
            break;
        line = isText ? lineAt(block, line, place) : *folding;
        if (isText && searched.textsDecide)
            hits.lines.push_back(line);
        else
            judge(item, block, line, budget, hits);
        if (folding != foldingLines_.end() && *folding <= line)
            ++folding;
        for (std::size_t i = 0; i < places.size(); ++i)
            if (places[i] < block.lines[line + 1])
                places[i] = next(searched.texts[i], block.lines[line + 1]);
    }
}

void LineFilter::Pass::judge(std::size_t item, const Block& block, std::uint32_t line, MatchBudget& budget,
                             Hits& hits) {
    Matcher& matcher = matchers_[item];
    if (matcher.bytes) {
        const std::string_view bytes = bytesOfLine(block, line);
        if (BytePattern::isDecidable(bytes)) {
            if (const auto verdict = matcher.bytes->matches(bytes)) {
                if (*verdict)
                    hits.lines.push_back(line);
                return;
            }
        }
    }
    const Verdict verdict = examine(item, block.text(line), budget);
    if (verdict != Verdict::NoMatch)
        (verdict == Verdict::Match ? hits.lines : hits.givenUp).push_back(line);
}

LineFilter::Verdict LineFilter::Pass::examine(std::size_t item, const QString& text, MatchBudget& budget) {
    const MatchOutcome outcome = matchers_[item].text.match(SearchedLine(text), budget);
    if (!outcome.ranges.empty())
        return Verdict::Match;
    return outcome.gaveUp ? Verdict::GivenUp : Verdict::NoMatch;
}

} // namespace korvane
