#include "rules/RuleMatching.h"

#include "core/search/SearchItem.h"

#include <gtest/gtest.h>

#include <deque>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;

// A page of ordinary lines. The work is measured by the engine's checks for a cancel, one every 10,000 steps.
class RuleMatchingTest : public ::testing::Test {
protected:
    static constexpr int lines = 600;
    /// Nested repetitions: takes practically forever on a line without "#" or "%".
    static inline const QString slow = QStringLiteral("^(\\S+\\s*)+[#%]");

    struct Counts {
        int matching = 0;
        int givenUp = 0;
    };

    void run(const QStringList& patterns, bool wereTooSlow = false) {
        std::deque<CompiledSearch> searches;
        std::vector<RuleMatching::Rule> rules;
        for (const QString& pattern : patterns) {
            SearchItem item(pattern);
            item.setRegex(true);
            rules.push_back({searches.emplace_back(item), wereTooSlow && pattern == slow});
        }
        RuleMatching matching(rules, [this] {
            ++ticks_;
            return false;
        });
        ticks_ = 0;
        counts_.assign(rules.size(), {});
        tooSlow_.clear();
        for (int i = 0; i < lines; ++i) {
            const QString line =
                u"2026-11-22 06:59:%1 INFO worker-7 request %2 finished"_s.arg(i % 60, 2, 10, QChar(u'0'))
                    .arg(i);
            const SearchedLine searched(line);
            for (std::size_t rule = 0; rule < rules.size(); ++rule) {
                const auto [ranges, gaveUp] = matching.match(rule, searched);
                counts_[rule].matching += !ranges.empty();
                counts_[rule].givenUp += gaveUp;
            }
        }
        const QString nothing;
        for (std::size_t rule = 0; rule < rules.size(); ++rule) {
            EXPECT_FALSE(matching.match(rule, SearchedLine(nothing)).gaveUp) << "it costs nothing";
            tooSlow_.push_back(matching.isTooSlow(rule));
        }
    }

    int ticks_ = 0;
    std::vector<Counts> counts_;
    std::vector<bool> tooSlow_;
};

TEST_F(RuleMatchingTest, ASlowRuleGivesUpAndTheOthersGoOn) {
    run({slow, u"\\d{3}$|finished"_s});
    EXPECT_EQ(counts_[0].givenUp, lines);
    EXPECT_EQ(counts_[1].matching, lines);
    EXPECT_EQ(tooSlow_, (std::vector{true, false}));
    EXPECT_LE(ticks_, 1750) << "the limit of one rule";
    const int first = ticks_;
    run({slow, u"\\d{3}$|finished"_s}, true);
    EXPECT_LE(ticks_, first / 10 + 1) << "a rule known to be slow begins with a tenth";
    EXPECT_EQ(counts_[1].matching, lines);
}

TEST_F(RuleMatchingTest, ManySlowRulesShareOneLimitAndAQuickOneKeepsItsShare) {
    QStringList patterns(10, slow);
    patterns.append(u"finished|\\d"_s);
    run(patterns);
    EXPECT_LE(ticks_, 6000);
    EXPECT_EQ(counts_.back().matching, lines);
    EXPECT_EQ(counts_.back().givenUp, 0);
    EXPECT_EQ(std::count(tooSlow_.begin(), tooSlow_.end(), true), 10);
}

} // namespace
} // namespace korvane
