#include "filtering/ShownLines.h"

#include "core/DerivedLineSet.h"
#include "core/reader/LogFileReaderProtocol.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace korvane {

namespace {

bool isSameRule(const RuleSearch& a, const RuleSearch& b) {
    return a.item == b.item && a.hides == b.hides;
}

} // namespace

/// All that a map is made from.
struct ShownLines::Request {
    /// How the sets are combined.
    struct Combination {
        std::vector<bool> hides; // of each rule
        bool hidesUnclaimed = false;
        std::vector<Condition::Kind> conditions;
        bool isOneEnough = false;
        int linesAround = 0;
        friend bool operator==(const Combination&, const Combination&) = default;
    };
    Combination combination;
    /// Of each rule and condition: the lines it matches, those it gave up, and those examined.
    std::vector<LineSet> inputs;
    LineSet alwaysShown;
    LineRange lines;
};

/// Makes maps, one at a time; what has not changed is taken over. Any thread.
class ShownLines::Maker {
public:
    using Windows = std::span<const DerivedLineSet::Window>;

    explicit Maker(Request::Combination combination)
        : combination_(std::move(combination)), meant_([this](Windows inputs) { return meantAmong(inputs); }),
          shown_([this](Windows inputs) {
              return widened(inputs[0], combination_.linesAround) | inputs[1].lines;
          }),
          runStarts_([](Windows inputs) { return runStarts(inputs[0]); }) {}

    const Request::Combination& combination() const { return combination_; }

    RowMap make(const Request& request) {
        const qint64 lineCount = request.lines.location + request.lines.length;
        const LineSet meant = meant_.update(request.inputs, lineCount);
        const LineSet inputs[] = {meant, request.alwaysShown};
        const LineSet shown = shown_.update(inputs, lineCount);
        const LineSet starts = runStarts_.update({&shown, 1}, lineCount);
        const auto gaps = combination_.linesAround > 0 ? RowMap::Gaps::Rows : RowMap::Gaps::None;
        return RowMap({shown, starts, meant}, request.lines, gaps);
    }

private:
    std::uint64_t meantAmong(Windows inputs) const {
        std::uint64_t examined = ~std::uint64_t{0};
        std::uint64_t hidden = 0;
        // A line that a rule gave up is shown.
        std::uint64_t claimed = combination_.hidesUnclaimed ? 0 : ~std::uint64_t{0};
        for (std::size_t i = 0; i < combination_.hides.size(); ++i) {
            const std::uint64_t lines = inputs[3 * i].lines;
            claimed |= lines | inputs[3 * i + 1].lines;
            examined &= inputs[3 * i + 2].lines;
            if (combination_.hides[i])
                hidden |= lines;
        }
        return examined & claimed & ~hidden & wantedAmong(inputs.subspan(3 * combination_.hides.size()));
    }

    /// Of the conditions.
    std::uint64_t wantedAmong(Windows inputs) const {
        std::uint64_t examined = ~std::uint64_t{0};
        std::uint64_t all = ~std::uint64_t{0};
        std::uint64_t one = 0;
        std::uint64_t unwanted = 0;
        bool hasOnly = false;
        for (std::size_t i = 0; i < combination_.conditions.size(); ++i) {
            const std::uint64_t lines = inputs[3 * i].lines;
            examined &= inputs[3 * i + 2].lines;
            if (combination_.conditions[i] == Condition::Kind::Without) {
                unwanted |= lines;
                continue;
            }
            hasOnly = true;
            all &= lines | inputs[3 * i + 1].lines;
            one |= lines | inputs[3 * i + 1].lines;
        }
        return examined & (hasOnly && combination_.isOneEnough ? one : all) & ~unwanted;
    }

    const Request::Combination combination_;
    DerivedLineSet meant_;
    DerivedLineSet shown_;
    DerivedLineSet runStarts_;
};

ShownLines::ShownLines(std::shared_ptr<LogFileReaderProtocol> reader, std::function<void()> changed,
                       std::function<void()> countedChanged)
    : reader_(std::move(reader)), changed_(std::move(changed)), countedChanged_(std::move(countedChanged)),
      queue_("Shown lines queue", 1) {}

ShownLines::~ShownLines() = default;

bool ShownLines::canHide() const {
    return !rules_.rules.empty() &&
           (rules_.hidesUnclaimed || std::ranges::any_of(rules_.rules, &RuleSearch::hides));
}

bool ShownLines::areRulesApplied() const {
    return mode_ != HiddenLines::AsFiltered && canHide();
}

bool ShownLines::leavesOut() const {
    return areRulesApplied() || !conditions_.conditions.empty();
}

std::vector<SearchItem> ShownLines::searches() const {
    std::vector<SearchItem> items;
    if (areRulesApplied())
        for (const RuleSearch& rule : rules_.rules)
            items.push_back(rule.item);
    for (const Condition& condition : conditions_.conditions)
        items.push_back(condition.item);
    return items;
}

std::optional<ShownLines::Place> ShownLines::placeOf(const SearchItem& item) const {
    for (const auto& scan : scans_)
        for (std::size_t i = 0; i < scan->items.size(); ++i)
            if (scan->items[i] == item)
                return Place{scan.get(), i};
    return std::nullopt;
}

qint64 ShownLines::linesLeft() const {
    qint64 most = 0;
    for (const SearchItem& search : searches())
        if (const auto place = placeOf(search))
            most = std::max(most, place->scan->sets.linesLeft);
    return most;
}

// ---- What is to be shown

void ShownLines::setMode(HiddenLines mode) {
    if (std::exchange(mode_, mode) != mode)
        startScans();
}

void ShownLines::setRules(Rules rules) {
    if (std::ranges::equal(rules.rules, rules_.rules, isSameRule) &&
        rules.hidesUnclaimed == rules_.hidesUnclaimed)
        return;
    rules_ = std::move(rules);
    startScans();
}

void ShownLines::setConditions(Conditions conditions) {
    conditions_ = std::move(conditions);
    startScans();
}

std::optional<qint64> ShownLines::matchCount(const SearchItem& item) const {
    const auto place = placeOf(item);
    return place ? std::optional(place->scan->sets.items[place->item].lines.size()) : std::nullopt;
}

void ShownLines::setCounted(const std::optional<SearchItem>& search) {
    if (counted_ == search)
        return;
    counted_ = search;
    startScans();
}

std::optional<ShownLines::Counted> ShownLines::counted() const {
    const auto place = counted_ ? placeOf(*counted_) : std::nullopt;
    if (!place)
        return std::nullopt;
    const LineSetScan::Sets& sets = place->scan->sets;
    return Counted{sets.items[place->item].lines, sets.isComplete()};
}

void ShownLines::setAlwaysShown(LineSet lines) {
    alwaysShown_ = std::move(lines);
    make();
}

void ShownLines::setLines(LineRange lines) {
    if (lines_ == lines)
        return;
    lines_ = lines;
    make();
}

void ShownLines::setFocus(qint64 line) {
    focus_ = line;
    for (const auto& scan : scans_)
        scan->scan->setFocus(line);
}

void ShownLines::linesChanged(qint64 first) {
    for (const auto& scan : scans_)
        scan->scan->linesChanged(first, reader_->lineCount());
}

void ShownLines::startAgain() {
    for (const auto& scan : scans_) {
        scan->sets.examined = {};
        scan->scan->startAgain(reader_->lineCount());
    }
    hasReachedEnd_ = isEndExamined();
    ++content_;
    isStale_ = true;
    // The old map would show other lines than it was made for.
    if (leavesOut())
        map_ = RowMap({}, lines_, RowMap::Gaps::None);
    changed_();
}

void ShownLines::setRunning(bool isRunning) {
    isRunning_ = isRunning;
    for (const auto& scan : scans_)
        scan->scan->setRunning(isRunning);
}

// ---- Scans and maps

void ShownLines::startScans() {
    std::vector<SearchItem> wanted = searches();
    if (counted_)
        wanted.push_back(*counted_);
    const auto isWanted = [&](const SearchItem& item) {
        return std::ranges::find(wanted, item) != wanted.end();
    };
    std::erase_if(scans_, [&](const auto& scan) { return std::ranges::none_of(scan->items, isWanted); });
    std::vector<SearchItem> missing;
    for (const SearchItem& search : wanted)
        if (!placeOf(search) && std::ranges::find(missing, search) == missing.end())
            missing.push_back(search);
    if (!missing.empty())
        scans_.push_back(makeScan(std::move(missing)));
    hasReachedEnd_ = isEndExamined();
    make();
}

std::unique_ptr<ShownLines::Scan> ShownLines::makeScan(std::vector<SearchItem> items) {
    auto made = std::make_unique<Scan>(Scan{items, {}, nullptr});
    made->sets.items.resize(items.size());
    made->sets.linesLeft = reader_->lineCount();
    made->scan = std::make_unique<LineSetScan>(
        reader_, std::move(items), [this, scan = made.get()](const LineSetScan::Sets& sets) {
            scan->sets = sets;
            hasReachedEnd_ = hasReachedEnd_ || isEndExamined();
            make();
            if (counted_ && countedChanged_ && std::ranges::find(scan->items, *counted_) != scan->items.end())
                countedChanged_();
        });
    made->scan->setFocus(focus_);
    made->scan->setRunning(isRunning_);
    made->scan->linesChanged(0, reader_->lineCount());
    return made;
}

bool ShownLines::isEndExamined() const {
    return std::ranges::all_of(searches(), [this](const SearchItem& search) {
        const auto place = placeOf(search);
        return place && place->scan->sets.examined.contains(reader_->lineCount() - 1);
    });
}

void ShownLines::showAll() {
    isStale_ = true;
    const bool didShowAll = map_.showsAll();
    map_ = RowMap::ofAllRows(lines_.length);
    mapReachesEnd_ = true;
    if (!didShowAll)
        changed_();
}

std::optional<ShownLines::Request> ShownLines::request() const {
    Request request{{}, {}, alwaysShown_, lines_};
    Request::Combination& combination = request.combination;
    combination.linesAround = linesAround(mode_);
    combination.isOneEnough = conditions_.isOneEnough;
    if (areRulesApplied()) {
        combination.hidesUnclaimed = rules_.hidesUnclaimed;
        for (const RuleSearch& rule : rules_.rules)
            combination.hides.push_back(rule.hides);
    }
    for (const Condition& condition : conditions_.conditions)
        combination.conditions.push_back(condition.kind);
    for (const SearchItem& search : searches()) {
        const auto place = placeOf(search);
        // Old rows stay until the first lines have been examined.
        if (!place || (place->scan->sets.examined.isEmpty() && lines_.length > 0))
            return std::nullopt;
        const LineSetScan::Item& sets = place->scan->sets.items[place->item];
        request.inputs.insert(request.inputs.end(), {sets.lines, sets.givenUp, place->scan->sets.examined});
    }
    return request;
}

void ShownLines::make() {
    if (!leavesOut()) {
        showAll();
        return;
    }
    isStale_ = true;
    if (isMaking_)
        return;
    auto wanted = request();
    if (!wanted)
        return;
    isStale_ = false;
    isMaking_ = true;
    if (!maker_ || maker_->combination() != wanted->combination)
        maker_ = std::make_shared<Maker>(wanted->combination);
    queue_.run([maker = maker_, request = std::move(*wanted)] { return maker->make(request); })
        .then(std::weak_ptr(life_), [this, content = content_, reachesEnd = hasReachedEnd_](RowMap map) {
            isMaking_ = false;
            if (leavesOut() && content == content_) {
                map_ = std::move(map);
                mapReachesEnd_ = reachesEnd;
                changed_();
            }
            if (isStale_)
                make();
        });
}

} // namespace korvane
