#include "core/search/CompiledSearch.h"

#include "core/search/RequiredText.h"
#include "core/search/SearchItem.h"

#include <gtest/gtest.h>

#include <unicode/uchar.h>
#include <unicode/uregex.h>
#include <unicode/ustring.h>

#include <random>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using Ranges = std::vector<TextRange>;

SearchItem item(const QString& text, bool regex, bool ignoreCase) {
    SearchItem result(text);
    result.setRegex(regex);
    result.setIgnoreCase(ignoreCase);
    return result;
}

Ranges compiledRanges(const SearchItem& item, const QString& line) {
    const CompiledSearch search(item);
    return CompiledSearch::Matcher(search).matchRanges(SearchedLine(line));
}

/// The matches of a pattern, each looked for in the rest of the line as in a region of its own. Nothing
/// for a pattern that would take too long.
std::optional<Ranges> rangesOneByOne(const SearchItem& item, const QString& line) {
    const auto flags = item.ignoreCase() ? UREGEX_CASE_INSENSITIVE : 0;
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<URegularExpression, decltype(&uregex_close)> regex(
        uregex_openC(item.searchStr().toUtf8().constData(), flags, nullptr, &status), &uregex_close);
    constexpr std::int32_t mostTicks = 20;
    uregex_setTimeLimit(regex.get(), mostTicks, &status);
    Ranges ranges;
    const auto length = static_cast<std::int32_t>(line.size());
    uregex_setText(regex.get(), reinterpret_cast<const UChar*>(line.utf16()), length, &status);
    for (std::int32_t position = 0; position <= length;) {
        uregex_setRegion(regex.get(), position, length, &status);
        const bool isFound = uregex_find(regex.get(), -1, &status);
        if (status == U_REGEX_TIME_OUT)
            return std::nullopt;
        if (!isFound || U_FAILURE(status))
            break;
        const int start = uregex_start(regex.get(), 0, &status);
        const int end = uregex_end(regex.get(), 0, &status);
        if (end > start)
            ranges.push_back({start, end - start});
        const bool isPair = end < length && line.at(end).isHighSurrogate();
        position = end > start ? end : end + (isPair ? 2 : 1);
    }
    return ranges;
}

class Random {
public:
    std::size_t below(std::size_t count) { return engine_() % count; }
    template <std::size_t count>
    QString oneOf(const char16_t* const (&choices)[count]) {
        return QString::fromUtf16(choices[below(count)]);
    }

private:
    std::mt19937 engine_{20240301};
};

// Few different characters, so that matches, half matches and the characters with odd case happen all the
// time.
constexpr const char16_t* letters[] = {u"a",      u"A",      u"b",      u"k",      u"K", u"\u212A", u"s",
                                       u"S",      u"\u017F", u"ß",      u"\u1E9E", u"f", u"i",      u"İ",
                                       u"\uFB01", u"é",      u"\u0301", u" ",      u"1", u"=",      u"@",
                                       u"`",      u"[",      u"{",      u"Ä",      u"ä", u"😀"};

TEST(CompiledSearch, FindsWhatThePlainItemFinds) {
    Random random;
    int matches = 0;
    for (int round = 0; round < 60'000; ++round) {
        QString line;
        for (std::size_t i = random.below(50); i > 0; --i)
            line += random.oneOf(letters);
        QString text;
        if (random.below(2) && line.size() > 4)
            text = line.sliced(static_cast<qsizetype>(random.below(line.size() - 4)), 1 + random.below(4));
        for (std::size_t i = random.below(3); i > 0; --i)
            text += random.oneOf(letters);
        if (random.below(2))
            text = text.toUpper();
        const SearchItem plain = item(text, false, random.below(4) > 0);
        const Ranges expected = plain.matchRanges(line);
        matches += !expected.empty();
        ASSERT_EQ(compiledRanges(plain, line), expected)
            << text.toStdString() << " in " << line.toStdString() << ' ' << plain.ignoreCase();
    }
    EXPECT_GT(matches, 10'000) << "the lines hardly ever match: nothing was compared";
}

TEST(CompiledSearch, FindsWhatTheRegularExpressionFinds) {
    constexpr const char16_t* atoms[] = {
        u"a",    u"b",     u"k",      u"s",        u"ss",      u"fi",      u"1",      u"=",     u"é",
        u"ab",   u"a=1",   u"ks",     u".",        u"\\d",     u"\\w",     u"\\.",    u"\\[",   u"[ab]",
        u"[^k]", u"(a|b)", u"(?:ss)", u"(?=a)",    u"(?<=k)s", u"(?!b)",   u"\\b",    u"(?i)",  u"(?<n>s)",
        u"^",    u"$",     u"|",      u"\\Qa.\\E", u"[\\]a]",  u"(k(s)?)", u"[[a]b]", u"\\x61", u"(a)\\1"};
    constexpr const char16_t* quantifiers[] = {u"",  u"",   u"",   u"",      u"?",  u"*",
                                               u"+", u"*?", u"+?", u"{0,2}", u"{2}"};
    Random random;
    int matches = 0;
    int required = 0;
    for (int round = 0; round < 2500; ++round) {
        QString pattern;
        for (std::size_t i = 1 + random.below(4); i > 0; --i)
            pattern += random.oneOf(atoms) + random.oneOf(quantifiers);
        const SearchItem regex = item(pattern, true, random.below(4) > 0);
        required += requiredTexts(pattern).has_value();
        const CompiledSearch search(regex);
        CompiledSearch::Matcher matcher(search);
        for (int lines = 0; lines < 12; ++lines) {
            QString line;
            for (std::size_t i = random.below(20); i > 0; --i)
                line += random.oneOf(letters);
            const std::optional<Ranges> expected = rangesOneByOne(regex, line);
            if (!expected)
                continue;
            matches += !expected->empty();
            ASSERT_EQ(matcher.matchRanges(SearchedLine(line)), *expected)
                << pattern.toStdString() << " in " << line.toStdString() << ' ' << regex.ignoreCase();
        }
    }
    EXPECT_GT(matches, 3000) << "the patterns hardly ever match: nothing was compared";
    EXPECT_GT(required, 600) << "hardly any pattern has a text to look for first";
}

// A character that is taken for a plain one although it folds to ASCII would lose matches.
TEST(CompiledSearch, KnowsEveryCharacterThatFoldsToAscii) {
    for (char32_t character = 0x80; character <= 0x10FFFF; ++character) {
        if (U_IS_SURROGATE(character))
            continue;
        const QString text = QString::fromUcs4(&character, 1);
        UChar folded[8];
        UErrorCode status = U_ZERO_ERROR;
        const std::int32_t length =
            u_strFoldCase(folded, 8, reinterpret_cast<const UChar*>(text.utf16()),
                          static_cast<std::int32_t>(text.size()), U_FOLD_CASE_DEFAULT, &status);
        const bool hasAscii = std::any_of(folded, folded + length, [](UChar unit) { return unit < 0x80; });
        ASSERT_EQ(SearchedLine(text).foldsLikeAscii(), !hasAscii) << std::hex << std::uint32_t{character};
    }
}

TEST(CompiledSearch, RequiredTextTable) {
    const struct {
        QString pattern;
        QStringList expected; ///< none = not certain
    } cases[] = {
        {u"took=\\d+ms"_s, {u"took="_s}},
        {u"ab+cde"_s, {u"cde"_s}},
        {u"abc?"_s, {u"ab"_s}},
        {u"abc*?de{0}"_s, {u"ab"_s}},
        {u"a{3}"_s, {}},
        {u"error|fatal .*"_s, {u"error"_s, u"fatal "_s}},
        {u"error|\\d"_s, {}},
        {u"error|"_s, {}},
        {u"(one|two)three"_s, {u"three"_s}},
        {u"(one)"_s, {}},
        {u"(?i)one"_s, {}},
        {u"(a(?x) b)cd"_s, {}},
        {u"\\[id\\]"_s, {u"[id]"_s}},
        {u"[)]ab("_s, {}},
        {u"(\\)|[)])ab"_s, {u"ab"_s}},
        {u"\\Qa*\\E"_s, {}},
        {u"\\x61bc"_s, {}},
        {u"größer"_s, {u"gr"_s}},
        {u"ab\\"_s, {}},
        {u".*"_s, {}},
        {u""_s, {}},
    };
    for (const auto& [pattern, expected] : cases)
        EXPECT_EQ(requiredTexts(pattern).value_or(QStringList()), expected) << pattern.toStdString();
}

TEST(CompiledSearch, KeepsTheValuesItWasMadeFrom) {
    SearchItem changing = item(u"a.c"_s, true, true);
    const CompiledSearch search(changing);
    changing.setSearchStr(u"other"_s);
    changing.setRegex(false);
    EXPECT_EQ(CompiledSearch::Matcher(search).matchRanges(SearchedLine(u"xABC"_s)), (Ranges{{1, 3}}));
}

TEST(CompiledSearch, NothingAndAnInvalidPatternFindNothing) {
    for (const SearchItem& nothing :
         {item(QString(), true, true), item(QString(), false, true), item(u"a("_s, true, true)})
        EXPECT_EQ(compiledRanges(nothing, u"abc a("_s), Ranges{});
}

/// Runs a pattern over one line and counts how often the engine asks whether to go on: every 10,000 steps.
struct MatchRun {
    MatchRun(const QString& pattern, const QString& line,
             MatchBudget::Steps budgetSteps = MatchBudget::mostPerLine, int cancelledAt = -1)
        : search(item(pattern, true, true)) {
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

// Each find takes less than a tick, and there is one at every place.
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
    const CompiledSearch plain(item(u"error"_s, false, true));
    MatchBudget nothing{0};
    EXPECT_EQ(CompiledSearch::Matcher(plain).match(SearchedLine(u"error"_s), nothing).ranges,
              Ranges({{0, 5}}));
    EXPECT_EQ(nothing.stepsLeft, 0);
}

// The engine compares any number of characters in a step.
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
    SearchItem exact = item(u"(a*)\\1#"_s, true, false);
    const CompiledSearch search(exact);
    MatchBudget budget;
    EXPECT_TRUE(CompiledSearch::Matcher(search).match(SearchedLine(sameLetters), budget).gaveUp);

    QString filling;
    while (filling.size() < 16'382)
        filling += QString::number(filling.size()) + u'x';
    filling.truncate(16'382);
    const struct {
        QString line;
        Ranges ranges;
        bool gaveUp;
    } cases[] = {
        {u"bb"_s + filling, {{0, 2}}, false},     {filling + u"bb"_s, {{16'382, 2}}, false},
        {filling + u"xbb"_s, {}, true},           {u"bb"_s + filling + filling, {{0, 2}}, false},
        {filling + u"x\U0001F600bb"_s, {}, true},
    };
    for (const auto& c : cases) {
        const MatchRun run(u"(b)\\1"_s, c.line);
        EXPECT_EQ(run.outcome.ranges, c.ranges) << c.line.size();
        EXPECT_EQ(run.outcome.gaveUp, c.gaveUp) << c.line.size();
    }
    EXPECT_TRUE(MatchRun(u"(b)\\1$"_s, filling + u"bbx"_s).outcome.gaveUp)
        << "the end that is seen is not the line's";
}

} // namespace
} // namespace korvane
