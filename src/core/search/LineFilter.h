#pragma once

#include "core/search/ByteSearch.h"
#include "core/search/CompiledSearch.h"
#include "core/search/LineAutomaton.h"
#include "core/search/MatchBudget.h"
#include "core/search/NonAsciiParts.h"
#include "core/search/PatternTree.h"
#include "core/search/SearchItem.h"
#include "foundation/text/StringEncoding.h"

#include <QString>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace korvane {

/// Finds the lines that match each of several searches, in blocks of bytes, and decodes only lines of which
/// the bytes do not decide. The verdicts are those of `SearchItem`. An immutable value; any thread.
class LineFilter {
public:
    LineFilter(const std::vector<SearchItem>& items, StringEncoding encoding);

    std::size_t itemCount() const { return items_.size(); }
    const SearchItem& item(std::size_t index) const { return items_[index].item; }

    /// Whole lines of a file.
    struct Block {
        std::span<const char> bytes;
        /// Where each line begins, ascending from 0, and behind the last one the end of the bytes.
        std::span<const std::uint32_t> lines;
        /// Bytes of a line terminator; the last line may lack it.
        std::uint32_t lineEndBytes = 1;
        /// The text of a line by its index in the block, as a row shows it.
        std::function<QString(std::size_t line)> text;
        /// Polled often, also while a line is matched.
        std::function<bool()> isCancelled;

        std::size_t lineCount() const { return lines.empty() ? 0 : lines.size() - 1; }
    };
    enum class Verdict {
        NoMatch,
        Match,
        GivenUp, ///< it would have cost too many steps: whether the line matches is unknown
    };
    /// Of one item.
    struct Hits {
        /// Lines of the block with a match, ascending.
        std::vector<std::uint32_t> lines;
        std::vector<std::uint32_t> givenUp;
    };

    /// The state of one thread.
    class Pass {
    public:
        /// The filter must outlive the pass.
        explicit Pass(const LineFilter& filter);
        const LineFilter& filter() const { return filter_; }
        /// The hits of each item; incomplete once cancelled. `steps`: those that each item may take for the
        /// whole block, counted down; not used by plain texts.
        std::vector<Hits> find(const Block& block, std::span<MatchBudget::Steps> steps);
        /// The same for one line, given as text.
        Verdict examine(std::size_t item, const QString& text, MatchBudget& budget);

    private:
        using Lines = std::vector<std::uint32_t>;
        /// Patterns that are searched for together.
        struct Group {
            std::vector<std::size_t> items;
            LineAutomaton certain;
            /// For lines of which the bytes do not decide.
            LineAutomaton possible;
        };
        struct State {
            CompiledSearch::Matcher matcher;
            /// Those of the item, tuned for the file.
            std::vector<ByteSearch> texts;
            /// The item alone; nullopt when its pattern is not one for an automaton.
            std::optional<Group> alone;
            /// Its texts are in so many lines that searching for them gains nothing.
            bool hasFrequentTexts = false;
            bool isTogether = false;
        };
        std::optional<Group> groupOf(std::vector<std::size_t> items) const;
        void tune(std::span<const char> bytes);
        void gather();
        void split(std::size_t number);
        void findByTexts(std::size_t item, const Block& block, MatchBudget& budget, Hits& hits);
        /// False when the patterns need too many states.
        bool findTogether(Group& group, const Block& block, std::span<MatchBudget> budgets,
                          std::span<Hits> hits);
        void findLineByLine(std::size_t item, const Block& block, MatchBudget& budget, Hits& hits);
        void judge(std::size_t item, const Block& block, std::uint32_t line, MatchBudget& budget, Hits& hits);
        void judgeText(std::size_t item, const Block& block, std::uint32_t line, MatchBudget& budget,
                       Hits& hits);

        const LineFilter& filter_;
        std::vector<State> states_;
        bool isTuned_ = false;
        std::vector<Group> together_;
        /// Than when the groups were made.
        bool areTextsMoreFrequent_ = false;
        std::vector<LineAutomaton::Matches> matches_;
        /// Lines of the block of which the bytes do not decide.
        Lines undecidable_;
        NonAsciiParts nonAscii_;
        Lines withLetterForms_;
        /// The line that has been decoded last.
        std::optional<std::uint32_t> textLine_;
        QString text_;
    };

private:
    struct Item {
        SearchItem item;
        CompiledSearch search;
        /// Of a pattern whose syntax is plain.
        std::optional<PatternTree> tree = std::nullopt;
        /// A line without any of these does not match; empty if every line may match.
        std::vector<ByteSearch> texts = {};
        /// A line with one of the texts matches.
        bool textsDecide = false;
        /// Lines that may match without the texts.
        enum class Left {
            None,
            WithLetterForms, ///< of `CandidateSearch`
            Undecidable,     ///< for bytes
        };
        Left left = Left::None;
        bool matchesNothing = false;
    };
    static Item prepare(const SearchItem& item, StringEncoding encoding);
    /// The lines of which patterns for bytes do not decide.
    static std::vector<std::uint32_t> undecidableLines(const Block& block);
    static std::vector<std::uint32_t> linesWithLetterForms(const Block& block, const NonAsciiParts& parts);

    std::vector<Item> items_;
    /// Some item needs the undecidable lines.
    bool needsUndecidable_ = false;
    bool needsLetterForms_ = false;
    /// Some text, or letter form, has bytes beyond ASCII.
    bool needsNonAscii_ = false;
};

} // namespace korvane
