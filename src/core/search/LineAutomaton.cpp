#include "core/search/LineAutomaton.h"

#include "core/search/AsciiFolding.h"

#include <algorithm>
#include <ranges>
#include <tuple>
#include <utility>

namespace korvane {

namespace {

using Node = PatternTree::Node;

constexpr std::size_t rowSize = 256;
/// A table of a megabyte.
constexpr std::size_t mostStates = 1024;
constexpr std::size_t mostStepsOfAutomaton = 4000;
/// To make an entry costs as much as to read so many bytes.
constexpr std::int64_t bytesOfEntry = 50;
constexpr std::int64_t firstEntries = 20'000;
constexpr std::int64_t mostEntriesLeft = 200'000;

/// The event of an entry is in the low bits, which no offset of a row has.
constexpr std::uint32_t eventBit = 1U << 31U;
enum Event : std::uint32_t {
    NotMade = eventBit | 1U,
    EndOfLine = eventBit | 2U,
    /// Whatever follows in the line, no pattern will match that has not; the offset is that of the state.
    Decided = eventBit | 4U,
};
constexpr std::uint32_t eventMask = eventBit | 7U;

constexpr std::size_t unknownByte = 128;

bool isAnchored(const Node& node) {
    switch (node.kind) {
    case Node::Kind::Assertion:
        return node.place == Node::Place::LineStart;
    case Node::Kind::Sequence:
        return !node.children.empty() && isAnchored(node.children.front());
    case Node::Kind::OneOf:
        return std::ranges::all_of(node.children, &isAnchored);
    default:
        return false;
    }
}

} // namespace

/// Makes the steps of one pattern, from its end to its start.
class LineAutomaton::Compiler {
public:
    Compiler(std::vector<Step>& steps, bool ignoresCase, Unknown unknown)
        : steps_(steps), ignoresCase_(ignoresCase), unknown_(unknown) {}

    /// The first step of the node, from which `next` is reached. `isLast`: nothing but assertions follows.
    std::optional<StepNumber> compile(const Node& node, StepNumber next, bool isLast) {
        if (steps_.size() >= mostStepsOfAutomaton)
            return std::nullopt;
        switch (node.kind) {
        case Node::Kind::Character:
        case Node::Kind::OneOfSet:
            return add({.kind = Step::Kind::Bytes, .bytes = bytesOf(node), .next = next});
        case Node::Kind::Assertion:
            return compileAssertion(node.place, next, isLast);
        case Node::Kind::Sequence:
            return compileSequence(node, next, isLast);
        case Node::Kind::OneOf:
            return compileAlternatives(node, next, isLast);
        case Node::Kind::Repetition:
            return compileRepetition(node, next);
        }
        return std::nullopt;
    }

    StepNumber add(const Step& step) {
        steps_.push_back(step);
        return static_cast<StepNumber>(steps_.size() - 1);
    }

private:
    StepNumber addBoth(StepNumber next, StepNumber other) {
        return add({.kind = Step::Kind::Both, .next = next, .other = other});
    }

    std::optional<StepNumber> compileAssertion(Place place, StepNumber next, bool isLast) {
        const StepNumber here = add({.kind = Step::Kind::Assertion, .place = place, .next = next});
        if (place != Place::LineEnd)
            return here;
        if (!isLast)
            return std::nullopt;
        // The end of a line is also before a carriage return.
        Step carriageReturn{.kind = Step::Kind::Bytes, .next = here};
        carriageReturn.bytes.set('\r');
        return addBoth(here, add(carriageReturn));
    }

    std::optional<StepNumber> compileSequence(const Node& node, StepNumber next, bool isLast) {
        for (const Node& child : node.children | std::views::reverse) {
            const auto first = compile(child, next, isLast);
            if (!first)
                return std::nullopt;
            next = *first;
            isLast &= child.kind == Node::Kind::Assertion;
        }
        return next;
    }

    std::optional<StepNumber> compileAlternatives(const Node& node, StepNumber next, bool isLast) {
        std::optional<StepNumber> first;
        for (const Node& child : node.children) {
            const auto one = compile(child, next, isLast);
            if (!one)
                return std::nullopt;
            first = first ? addBoth(*first, *one) : *one;
        }
        return first;
    }

    std::optional<StepNumber> compileRepetition(const Node& node, StepNumber next) {
        const Node& child = node.children.front();
        if (!node.most) {
            // From here either once more or on.
            const StepNumber loop = addBoth(next, next);
            const auto again = compile(child, loop, false);
            if (!again)
                return std::nullopt;
            steps_[loop].other = *again;
            next = loop;
        }
        const StepNumber end = next;
        for (int i = node.least; node.most && i < *node.most; ++i) {
            const auto once = compile(child, next, false);
            if (!once)
                return std::nullopt;
            next = addBoth(end, *once);
        }
        for (int i = 0; i < node.least; ++i) {
            const auto once = compile(child, next, false);
            if (!once)
                return std::nullopt;
            next = *once;
        }
        return next;
    }

    std::bitset<129> bytesOf(const Node& node) const {
        std::bitset<129> bytes;
        const auto contains = [&](std::size_t byte) {
            return node.kind == Node::Kind::Character ? node.character.unicode() == byte : node.members[byte];
        };
        const auto otherCase = [](std::size_t byte) {
            const bool isLetter = (byte | 0x20U) >= 'a' && (byte | 0x20U) <= 'z';
            return isLetter ? byte ^ 0x20U : byte;
        };
        for (std::size_t byte = 0; byte < 0x80; ++byte) {
            const bool isMember = contains(byte) || (ignoresCase_ && contains(otherCase(byte)));
            bytes.set(byte, isMember != node.isNegated);
        }
        bytes.reset('\n');
        bytes.set(unknownByte, unknown_ == Unknown::MayMatch && (node.kind == Node::Kind::OneOfSet ||
                                                                 (ignoresCase_ && isFolded(node.character))));
        return bytes;
    }

    /// Whether other characters equal the letter, alone or together with others.
    static bool isFolded(QChar letter) {
        return std::ranges::any_of(AsciiFolding::all(), [&](const AsciiFolding& folding) {
            return folding.folded.contains(letter, Qt::CaseInsensitive);
        });
    }

    std::vector<Step>& steps_;
    const bool ignoresCase_;
    const Unknown unknown_;
};

std::optional<LineAutomaton> LineAutomaton::create(std::span<const Pattern> patterns, Unknown unknown) {
    LineAutomaton automaton;
    automaton.unknown_ = unknown;
    for (const Pattern& pattern : patterns) {
        Compiler compiler(automaton.steps_, pattern.ignoresCase, unknown);
        const StepNumber match = compiler.add(
            {.kind = Step::Kind::Match, .pattern = static_cast<std::uint8_t>(automaton.starts_.size())});
        const auto first = compiler.compile(pattern.tree->root(), match, true);
        if (!first)
            return std::nullopt;
        automaton.all_ |= Matches{1} << automaton.starts_.size();
        automaton.starts_.push_back({*first, match, isAnchored(pattern.tree->root())});
    }
    automaton.visited_.resize(automaton.steps_.size());
    automaton.entriesLeft_ = firstEntries;
    automaton.makeClasses();
    automaton.clear();
    return automaton;
}

void LineAutomaton::makeClasses() {
    std::map<std::pair<Neighbour, std::vector<bool>>, std::uint8_t> classes;
    for (std::size_t byte = 0; byte < rowSize; ++byte) {
        const Neighbour neighbour = neighbourOf(static_cast<unsigned char>(byte));
        std::vector<bool> steps;
        steps.reserve(steps_.size());
        for (const Step& step : steps_)
            steps.push_back(step.bytes[neighbour == Neighbour::Unknown ? unknownByte : byte]);
        classOf_[byte] =
            classes.try_emplace({neighbour, std::move(steps)}, static_cast<std::uint8_t>(classes.size()))
                .first->second;
    }
}

void LineAutomaton::clear() {
    rows_.clear();
    states_.clear();
    table_.clear();
    matchesAtEnd_.clear();
    isFull_ = false;
    rowOf({}); // the start of a line
}

LineAutomaton::Neighbour LineAutomaton::neighbourOf(unsigned char byte) {
    if (byte == '\n')
        return Neighbour::LineEdge;
    if (isUnknown(static_cast<char>(byte)))
        return Neighbour::Unknown;
    const QChar character(static_cast<char16_t>(byte));
    return character.isLetterOrNumber() || byte == '_' ? Neighbour::Word : Neighbour::Other;
}

bool LineAutomaton::isAt(Place place, Neighbour before, Neighbour next) const {
    const bool mayMatch = unknown_ == Unknown::MayMatch;
    switch (place) {
    case Place::LineStart:
        return before == Neighbour::LineEdge;
    case Place::LineEnd:
        return next == Neighbour::LineEdge || (mayMatch && next == Neighbour::Unknown);
    case Place::WordEdge:
    case Place::NoWordEdge:
        if (before == Neighbour::Unknown || next == Neighbour::Unknown)
            return mayMatch;
        break;
    }
    const bool isEdge = (before == Neighbour::Word) != (next == Neighbour::Word);
    return isEdge == (place == Place::WordEdge);
}

LineAutomaton::State LineAutomaton::closure(const State& state, Neighbour next) {
    State reached{.steps = {}, .before = state.before, .matches = state.matches};
    std::vector<StepNumber> open = state.steps;
    for (std::size_t i = 0; i < starts_.size(); ++i)
        if ((state.matches >> i & 1U) == 0)
            open.push_back(starts_[i].step);
    ++visit_;
    while (!open.empty()) {
        const StepNumber number = open.back();
        open.pop_back();
        if (std::exchange(visited_[number], visit_) == visit_)
            continue;
        const Step& step = steps_[number];
        switch (step.kind) {
        case Step::Kind::Bytes:
            reached.steps.push_back(number);
            // One character may stand for several letters.
            if (next == Neighbour::Unknown && step.bytes[unknownByte])
                open.push_back(step.next);
            break;
        case Step::Kind::Both:
            open.push_back(step.other);
            open.push_back(step.next);
            break;
        case Step::Kind::Assertion:
            if (isAt(step.place, state.before, next))
                open.push_back(step.next);
            break;
        case Step::Kind::Match:
            reached.matches |= Matches{1} << step.pattern;
            break;
        }
    }
    return reached;
}

std::optional<LineAutomaton::Entry> LineAutomaton::rowOf(const State& state) {
    if (const auto known = rows_.find(state); known != rows_.end())
        return known->second;
    if (states_.size() == mostStates) {
        isFull_ = true;
        return std::nullopt;
    }
    const auto row = static_cast<Entry>(table_.size());
    states_.push_back(&rows_.emplace(state, row).first->first);
    table_.resize(table_.size() + rowSize, NotMade);
    table_[row + '\n'] = EndOfLine;
    matchesAtEnd_.push_back(closure(state, Neighbour::LineEdge).matches);
    return row;
}

bool LineAutomaton::isOfMatched(StepNumber step, Matches matches) const {
    const auto behind = std::ranges::upper_bound(starts_, step, {}, &Start::lowest);
    return (matches >> (behind - starts_.begin() - 1) & 1U) != 0;
}

std::optional<LineAutomaton::Entry> LineAutomaton::makeEntry(Entry row, unsigned char byte) {
    if (--entriesLeft_ < 0)
        return std::nullopt;
    const Neighbour neighbour = neighbourOf(byte);
    const State reached = closure(*states_[row / rowSize], neighbour);
    State next{.steps = {}, .before = neighbour, .matches = reached.matches};
    for (const StepNumber number : reached.steps) {
        const Step& step = steps_[number];
        if (!step.bytes[neighbour == Neighbour::Unknown ? unknownByte : byte])
            continue;
        next.steps.push_back(step.next);
    }
    // Any of these may be a part of a character that has been read.
    if (neighbour == Neighbour::Unknown && unknown_ == Unknown::MayMatch)
        next.steps.insert(next.steps.end(), reached.steps.begin(), reached.steps.end());
    std::erase_if(next.steps, [&](StepNumber step) { return isOfMatched(step, next.matches); });
    std::ranges::sort(next.steps);
    next.steps.erase(std::ranges::unique(next.steps).begin(), next.steps.end());

    const auto entry = rowOf(next);
    if (!entry)
        return std::nullopt;
    bool isDecided = next.steps.empty();
    for (std::size_t i = 0; i < starts_.size(); ++i)
        isDecided &= starts_[i].isAnchored || (next.matches >> i & 1U) != 0;
    const Entry made = *entry | (isDecided ? std::uint32_t{Decided} : 0U);
    for (std::size_t other = 0; other < rowSize; ++other)
        if (classOf_[other] == classOf_[byte])
            table_[row + other] = made;
    return made;
}

std::optional<LineAutomaton::Matches> LineAutomaton::readLine(std::string_view line) {
    Entry row = 0;
    for (const char byte : line) {
        Entry entry = table_[row + static_cast<unsigned char>(byte)];
        if (entry == NotMade) {
            const auto made = makeEntry(row, static_cast<unsigned char>(byte));
            if (!made)
                return std::nullopt;
            entry = *made;
        }
        if (entry == EndOfLine)
            break;
        row = entry & ~eventMask;
        if (entry != row)
            break;
    }
    return matchesAtEnd_[row / rowSize];
}

void LineAutomaton::readTogether(std::span<Cursor, 4> cursors) const {
    // Each byte waits for the entry of the one before: four lines wait together.
    const Entry* const table = table_.data();
    auto [a, b, c, d] = std::tuple(cursors[0], cursors[1], cursors[2], cursors[3]);
    while (true) {
        const Entry ofA = table[a.row + *a.next];
        const Entry ofB = table[b.row + *b.next];
        const Entry ofC = table[c.row + *c.next];
        const Entry ofD = table[d.row + *d.next];
        if (((ofA | ofB | ofC | ofD) & eventBit) != 0)
            break;
        a = {a.next + 1, ofA, a.line};
        b = {b.next + 1, ofB, b.line};
        c = {c.next + 1, ofC, c.line};
        d = {d.next + 1, ofD, d.line};
    }
    cursors[0] = a;
    cursors[1] = b;
    cursors[2] = c;
    cursors[3] = d;
}

bool LineAutomaton::readLines(std::span<const char> bytes, std::span<const std::uint32_t> starts,
                              std::span<Matches> matches) {
    const auto* const first = reinterpret_cast<const unsigned char*>(bytes.data());
    std::array<Cursor, 4> cursors;
    std::size_t active = 0;
    std::size_t nextLine = 0;
    const auto takeLine = [&](Cursor& cursor) {
        if (nextLine + 1 >= starts.size())
            return false;
        cursor = {first + starts[nextLine], 0, nextLine};
        ++nextLine;
        return true;
    };
    while (active < cursors.size() && takeLine(cursors[active]))
        ++active;
    while (active > 0) {
        if (active == cursors.size())
            readTogether(cursors);
        for (std::size_t i = active; i-- > 0;) {
            Cursor& cursor = cursors[i];
            Entry entry = table_[cursor.row + *cursor.next];
            if (entry == NotMade) {
                const auto made = makeEntry(cursor.row, *cursor.next);
                if (!made)
                    return false;
                entry = *made;
            }
            ++cursor.next;
            if (entry != EndOfLine)
                cursor.row = entry & ~eventMask;
            if (entry == cursor.row)
                continue;
            matches[cursor.line] = matchesAtEnd_[cursor.row / rowSize];
            if (!takeLine(cursor))
                cursor = cursors[--active];
        }
    }
    return true;
}

void LineAutomaton::grant(std::size_t bytes) {
    entriesLeft_ =
        std::min(std::max<std::int64_t>(entriesLeft_, 0) + static_cast<std::int64_t>(bytes) / bytesOfEntry,
                 mostEntriesLeft);
}

std::optional<LineAutomaton::Matches> LineAutomaton::search(std::string_view line) {
    grant(line.size());
    while (entriesLeft_ >= 0) {
        if (const auto matches = readLine(line))
            return matches;
        if (isFull_)
            clear();
    }
    return std::nullopt;
}

bool LineAutomaton::search(std::span<const char> bytes, std::span<const std::uint32_t> starts,
                           std::span<Matches> matches) {
    const auto hasTerminator = [&](std::size_t line) {
        return starts[line + 1] > starts[line] && bytes[starts[line + 1] - 1] == '\n';
    };
    std::size_t whole = 0;
    while (whole < matches.size() && hasTerminator(whole))
        ++whole;
    grant(bytes.size());
    while (entriesLeft_ >= 0) {
        if (readLines(bytes, starts.first(whole + 1), matches))
            break;
        if (isFull_)
            clear();
    }
    if (entriesLeft_ < 0)
        return false;
    // At most the last one, unless the file has been written to since.
    for (std::size_t line = whole; line < matches.size(); ++line) {
        const auto found = search({bytes.data() + starts[line], starts[line + 1] - starts[line]});
        if (!found)
            return false;
        matches[line] = *found;
    }
    return true;
}

} // namespace korvane
