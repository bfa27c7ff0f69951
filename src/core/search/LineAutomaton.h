#pragma once

#include "core/search/PatternTree.h"

#include <array>
#include <bitset>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace korvane {

/// Searches lines of bytes for several regular expressions at once, looking at each byte once: a
/// deterministic automaton whose states are made when they are first needed. Belongs to one thread.
class LineAutomaton {
public:
    /// One bit for each pattern.
    using Matches = std::uint64_t;
    static constexpr std::size_t mostPatterns = 64;

    struct Pattern {
        /// Its syntax must be plain.
        const PatternTree* tree;
        bool ignoresCase;
    };
    /// What is found where a line holds bytes of which the automaton does not know what they mean.
    enum class Unknown {
        MatchesNothing, ///< only what matches for certain
        MayMatch,       ///< also everything that may match
    };
    static bool isUnknown(char byte) {
        return static_cast<unsigned char>(byte) >= 0x80 || byte == '\v' || byte == '\f';
    }

    /// Nullopt when a pattern is too large or a line's end is not where it ends.
    static std::optional<LineAutomaton> create(std::span<const Pattern> patterns, Unknown unknown);

    /// The matches in each line. `starts`: where each line begins and behind the last one the end of the
    /// bytes. False when too many states are needed, and the matches are incomplete.
    bool search(std::span<const char> bytes, std::span<const std::uint32_t> starts,
                std::span<Matches> matches);
    /// The matches in one line, with or without its terminator; nullopt when too many states are needed.
    std::optional<Matches> search(std::string_view line);

private:
    using Place = PatternTree::Node::Place;
    using StepNumber = std::uint16_t;
    /// Of the non-deterministic automaton.
    struct Step {
        enum class Kind { Bytes, Both, Assertion, Match };
        Kind kind = Kind::Match;
        /// The ASCII characters, then the unknown bytes.
        std::bitset<129> bytes = {};
        Place place = Place::LineStart;
        StepNumber next = 0;
        StepNumber other = 0;
        std::uint8_t pattern = 0;
    };
    struct Start {
        StepNumber step;
        /// The lowest number of a step of the pattern.
        StepNumber lowest;
        /// The pattern matches at the start of a line only.
        bool isAnchored;
    };
    /// What a place between two bytes is beside.
    enum class Neighbour : std::uint8_t { Word, Other, Unknown, LineEdge };
    /// Before a byte is read.
    struct State {
        std::vector<StepNumber> steps;
        Neighbour before = Neighbour::LineEdge;
        Matches matches = 0;
        auto operator<=>(const State&) const = default;
    };
    /// Offset of the row of a state in the table; with `eventBit` one of the events.
    using Entry = std::uint32_t;
    class Compiler;
    /// A line that is being read.
    struct Cursor {
        const unsigned char* next = nullptr;
        Entry row = 0;
        std::size_t line = 0;
    };

    LineAutomaton() = default;
    void makeClasses();
    static Neighbour neighbourOf(unsigned char byte);
    bool isAt(Place place, Neighbour before, Neighbour next) const;
    /// The steps that read a byte, and matches, reached from the state without reading one.
    State closure(const State& state, Neighbour next);
    /// Makes the entry; nullopt when that is no longer worth it.
    std::optional<Entry> makeEntry(Entry row, unsigned char byte);
    std::optional<Entry> rowOf(const State& state);
    bool isOfMatched(StepNumber step, Matches matches) const;
    void grant(std::size_t bytes);
    std::optional<Matches> readLine(std::string_view line);
    /// Reads lines that all have a terminator.
    bool readLines(std::span<const char> bytes, std::span<const std::uint32_t> starts,
                   std::span<Matches> matches);
    /// Reads until one of the entries is an event.
    void readTogether(std::span<Cursor, 4> cursors) const;
    void clear();

    Unknown unknown_ = Unknown::MatchesNothing;
    std::vector<Step> steps_;
    std::vector<Start> starts_;
    Matches all_ = 0;
    /// Bytes of one class lead to the same states.
    std::array<std::uint8_t, 256> classOf_{};

    std::map<State, Entry> rows_;
    std::vector<const State*> states_;
    std::vector<Entry> table_;
    /// Of each state, if the line ends there.
    std::vector<Matches> matchesAtEnd_;
    /// Entries that may still be made; more with each byte read.
    std::int64_t entriesLeft_ = 0;
    bool isFull_ = false;
    std::vector<std::uint32_t> visited_;
    std::uint32_t visit_ = 0;
};

} // namespace korvane
