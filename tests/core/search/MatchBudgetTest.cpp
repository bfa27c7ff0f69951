#include "core/search/CompiledSearch.h"

#include "core/search/SearchCorpus.h"

#include <gtest/gtest.h>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using test::Ranges;
using test::searchItem;

/// Matches a pattern against one line and counts the engine's checks for a cancel, one every 10,000 steps.
struct MatchRun {
    MatchRun(const QString& pattern, const QString& line,
             MatchBudget::Steps budgetSteps = MatchBudget::mostPerLine, int cancelledAt = -1)
        : search(searchItem(pattern, true, true)) {
        MatchBudget budget{budgetSteps, [&] { return ++asked == cancelledAt; }};
        outcome = CompiledSearch::Matcher(search).match(SearchedLine(line), budget);
        spent = budgetSteps - budget.stepsLeft;
    }
    const CompiledSearch search;
    int asked = 0;
    MatchOutcome outcome;
    MatchBudget::Steps spent = 0;
};

const QString endless = QStringLiteral("(a+)+$");
const QString endlessLine = QString(40, u'a') + u'!';

TEST(MatchBudget, ASlowPatternSpendsWhatThereIsAndNoMore) {
    for (const MatchBudget::Steps steps : {1, 100'000, 1'000'000'000}) {
        const MatchRun run(endless, endlessLine, steps);
        EXPECT_TRUE(run.outcome.gaveUp);
        EXPECT_LE(run.spent, std::min(steps, MatchBudget::mostPerLine) + 10'010);
        EXPECT_GE(run.spent, std::min(steps, MatchBudget::mostPerLine));
    }
    EXPECT_EQ(MatchRun(endless, endlessLine, 1'000'000, 3).asked, 3) << "goes on after a cancel";
    const MatchRun partly(u"x|(a+)+$"_s, u'x' + endlessLine);
    EXPECT_EQ(partly.outcome.ranges, Ranges({{0, 1}}));
    EXPECT_FALSE(partly.outcome.gaveUp) << "it is known that the line matches";
}

// There is a match at every position, each in fewer steps than lie between two checks for a cancel.
TEST(MatchBudget, ManyFindsTogetherSpendWhatThereIsAndACancelIsHeardBetweenThem) {
    const QString sameLetters(10'000, u'a');
    for (const QString& pattern : {u"((a*)\\2#)?"_s, u"(?<!q)((a*)\\2#)?"_s, u"(?:a{0,90}a{0,90}b)?"_s,
                                   u"\\b(?:a{0,90}a{0,90}b)?"_s, u"(?<!q)(?:.*b)?"_s}) {
        SCOPED_TRACE(pattern.toStdString());
        const MatchRun run(pattern, sameLetters.left(1000), 200'000);
        EXPECT_TRUE(run.outcome.gaveUp);
    }
    EXPECT_EQ(MatchRun(u"(?<!q)(?:.*b)?"_s, sameLetters.left(90), 200'000, 1).asked, 1);
    for (const QString& everyday : {u"\\w"_s, u"\\b\\w"_s}) {
        const MatchRun run(everyday, sameLetters);
        EXPECT_EQ(run.outcome.ranges.size(), 10'000U);
        EXPECT_LT(run.spent, 120'000);
    }
}

TEST(MatchBudget, WithoutStepsOnlyWhatMustBeLookedIntoIsGivenUp) {
    EXPECT_TRUE(MatchRun(u"error \\d"_s, u"an error 7"_s, 0).outcome.gaveUp);
    EXPECT_FALSE(MatchRun(u"error \\d"_s, u"a warning 7"_s, 0).outcome.gaveUp);
    const CompiledSearch plain(searchItem(u"error"_s, false, true));
    MatchBudget nothing{0};
    EXPECT_EQ(CompiledSearch::Matcher(plain).match(SearchedLine(u"error"_s), nothing).ranges,
              Ranges({{0, 5}}));
    EXPECT_EQ(nothing.stepsLeft, 0);
}

// A back reference compares any number of characters in one step of the engine.
TEST(MatchBudget, BackReferencesCostMoreInLinesThatRepeatThemselvesAndSeeOnlyTheirBeginning) {
    QString words;
    while (words.size() < 10'000)
        words +=
            u"request %1 of worker %2 finished; "_s.arg(words.size() * 7919 % 10'007).arg(words.size() % 97);
    const QString sameLetters(10'000, u'a');
    for (const QString& pattern : {u"(a*)\\1#"_s, u"(?<n>a*)\\k<n>#"_s}) {
        SCOPED_TRACE(pattern.toStdString());
        EXPECT_FALSE(MatchRun(pattern, words).outcome.gaveUp);
        const MatchRun run(pattern, sameLetters);
        EXPECT_TRUE(run.outcome.gaveUp);
        EXPECT_EQ(run.asked, 0) << "a step would take too long";
        EXPECT_LE(MatchRun(pattern, sameLetters.left(1000)).asked, 3);
    }
    EXPECT_GT(MatchRun(u"(a*)\\1#"_s, sameLetters.left(100)).spent, 50'000)
        << "too little to be seen costs nothing";
    EXPECT_LT(MatchRun(u"(a*)\\1#"_s, words.left(100)).spent, 1000);
    const CompiledSearch search(searchItem(u"(a*)\\1#"_s, true, false));
    MatchBudget budget;
    EXPECT_TRUE(CompiledSearch::Matcher(search).match(SearchedLine(sameLetters), budget).gaveUp);

    QString filling;
    while (filling.size() < 16'382)
        filling += QString::number(filling.size()) + u'x';
    filling.truncate(16'382);
    const std::tuple<QString, Ranges, bool> cases[] = {
        {u"bb"_s + filling, {{0, 2}}, false},     {filling + u"bb"_s, {{16'382, 2}}, false},
        {filling + u"xbb"_s, {}, true},           {u"bb"_s + filling + filling, {{0, 2}}, false},
        {filling + u"x\U0001F600bb"_s, {}, true},
    };
    for (const auto& [line, ranges, gaveUp] : cases) {
        const MatchRun run(u"(b)\\1"_s, line);
        EXPECT_EQ(run.outcome.ranges, ranges) << line.size();
        EXPECT_EQ(run.outcome.gaveUp, gaveUp) << line.size();
    }
    EXPECT_TRUE(MatchRun(u"(b)\\1$"_s, filling + u"bbx"_s).outcome.gaveUp)
        << "the end that is seen is not the line's";
}

} // namespace
} // namespace korvane
