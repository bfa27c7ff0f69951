#include "core/search/CompiledSearch.h"

#include "core/search/PatternTree.h"
#include "core/search/SearchCorpus.h"

#include <gtest/gtest.h>

#include <unicode/uchar.h>
#include <unicode/uregex.h>
#include <unicode/ustring.h>

#include <thread>

namespace korvane {

void PrintTo(const TextRange& range, std::ostream* out) {
    *out << '(' << range.location << ',' << range.length << ')';
}

namespace {

using namespace Qt::StringLiterals;
using test::naiveRanges;
using test::Ranges;
using test::SearchCorpus;
using test::searchItem;

enum class How { Plain, PlainExact, Regex, RegexExact };

SearchItem item(const QString& text, How how) {
    return searchItem(text, how == How::Regex || how == How::RegexExact,
                      how == How::Plain || how == How::Regex);
}

QStringList requiredTexts(const QString& pattern) {
    const auto tree = PatternTree::parse(pattern);
    return tree ? tree->requiredTexts() : QStringList();
}

Ranges compiledRanges(const SearchItem& item, const QString& line) {
    const CompiledSearch search(item);
    return CompiledSearch::Matcher(search).matchRanges(SearchedLine(line));
}

TEST(Search, MatchTable) {
    const std::tuple<QString, How, QString, Ranges> cases[] = {
        {u"ab"_s, How::Plain, u"ababab"_s, {{0, 2}, {2, 2}, {4, 2}}},
        {u"aa"_s, How::Plain, u"aaaa"_s, {{0, 2}, {2, 2}}},
        {u"aa"_s, How::Regex, u"aaaaa"_s, {{0, 2}, {2, 2}}},
        {u""_s, How::Plain, u"abc"_s, {}},
        {u""_s, How::Regex, u"abc"_s, {}},
        {u"a"_s, How::Plain, u""_s, {}},
        {u"error"_s, How::Plain, u"an ERROR, an Error"_s, {{3, 5}, {13, 5}}},
        {u"error"_s, How::PlainExact, u"ERROR error"_s, {{6, 5}}},
        {u"ÄÖ"_s, How::Plain, u"xäö"_s, {{1, 2}}},
        {u"a.c"_s, How::Plain, u"abc a.c"_s, {{4, 3}}},
        {u"[ERR"_s, How::Plain, u"[err"_s, {{0, 4}}},
        {u"x"_s, How::Plain, u"😀x"_s, {{2, 1}}},
        {u"error"_s, How::Regex, u"ERROR"_s, {{0, 5}}},
        {u"error"_s, How::RegexExact, u"ERROR error"_s, {{6, 5}}},
        {u"[0-9]+"_s, How::Regex, u"a12b345"_s, {{1, 2}, {4, 3}}},
        {u"(?<=a)b"_s, How::Regex, u"abb"_s, {{1, 1}}},
        // Each further search takes the rest of the line as a whole text.
        {u"^a"_s, How::Regex, u"aab"_s, {{0, 1}, {1, 1}}},
        {u"a$"_s, How::Regex, u"aaa"_s, {{2, 1}}},
        {u"\\ba"_s, How::Regex, u"aa a"_s, {{0, 1}, {1, 1}, {3, 1}}},
        // Empty matches are skipped.
        {u"x*"_s, How::Regex, u"aaxxa"_s, {{2, 2}}},
        {u"x*"_s, How::Regex, u"😀x"_s, {{2, 1}}},
        {u"x*"_s, How::Regex, u""_s, {}},
        {u"\\b"_s, How::Regex, u"ab cd"_s, {}},
        {u"(?=b)|c"_s, How::Regex, u"abc"_s, {{2, 1}}},
        {u"."_s, How::Regex, u"a😀"_s, {{0, 1}, {1, 2}}},
        // Invalid patterns.
        {u"("_s, How::Regex, u"("_s, {}},
        {u"*"_s, How::Regex, u"*"_s, {}},
    };
    for (const auto& [text, how, line, expected] : cases) {
        SCOPED_TRACE(text.toStdString() + " in " + line.toStdString());
        const SearchItem search = item(text, how);
        EXPECT_EQ(search.matchRanges(line), expected);
        EXPECT_EQ(search.matches(line), !expected.empty());
        EXPECT_EQ(compiledRanges(search, line), expected);
    }
}

TEST(Search, FindsTheMatchesOfAText) {
    SearchCorpus random;
    int matches = 0;
    for (int round = 0; round < 60'000; ++round) {
        const QString line = random.text(random.below(50));
        QString text;
        if (random.below(2) && line.size() > 4)
            text = line.sliced(static_cast<qsizetype>(random.below(line.size() - 4)), 1 + random.below(4));
        text += random.text(random.below(3));
        if (random.below(2))
            text = text.toUpper();
        if (!text.isValidUtf16())
            continue; // half a surrogate pair
        const SearchItem plain = searchItem(text, false, random.below(4) > 0);
        const Ranges expected = naiveRanges(plain, line);
        matches += !expected.empty();
        SCOPED_TRACE(text.toStdString() + " in " + line.toStdString());
        ASSERT_EQ(plain.matchRanges(line), expected) << plain.ignoreCase();
        ASSERT_EQ(compiledRanges(plain, line), expected) << plain.ignoreCase();
    }
    EXPECT_GT(matches, 10'000) << "the lines hardly ever match: nothing was compared";
}

/// The matches of a pattern, each searched with the rest of the line as region. Nullopt for a pattern that
/// would take too long.
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

TEST(Search, FindsTheMatchesOfARegularExpression) {
    constexpr const char16_t* atoms[] = {
        u"a",    u"b",     u"k",      u"s",        u"ss",      u"fi",      u"1",      u"=",     u"é",
        u"ab",   u"a=1",   u"ks",     u".",        u"\\d",     u"\\w",     u"\\.",    u"\\[",   u"[ab]",
        u"[^k]", u"(a|b)", u"(?:ss)", u"(?=a)",    u"(?<=k)s", u"(?!b)",   u"\\b",    u"(?i)",  u"(?<n>s)",
        u"^",    u"$",     u"|",      u"\\Qa.\\E", u"[\\]a]",  u"(k(s)?)", u"[[a]b]", u"\\x61", u"(a)\\1"};
    constexpr const char16_t* quantifiers[] = {u"",  u"",   u"",   u"",      u"?",  u"*",
                                               u"+", u"*?", u"+?", u"{0,2}", u"{2}"};
    SearchCorpus random;
    int matches = 0;
    int required = 0;
    for (int round = 0; round < 2500; ++round) {
        QString pattern;
        for (std::size_t i = 1 + random.below(4); i > 0; --i)
            pattern += random.oneOf(atoms) + random.oneOf(quantifiers);
        const SearchItem regex = searchItem(pattern, true, random.below(4) > 0);
        required += !requiredTexts(pattern).isEmpty();
        const CompiledSearch search(regex);
        CompiledSearch::Matcher matcher(search);
        for (int lines = 0; lines < 12; ++lines) {
            const QString line = random.text(random.below(20));
            const std::optional<Ranges> expected = rangesOneByOne(regex, line);
            if (!expected)
                continue;
            matches += !expected->empty();
            ASSERT_EQ(matcher.matchRanges(SearchedLine(line)), *expected)
                << pattern.toStdString() << " in " << line.toStdString() << ' ' << regex.ignoreCase();
        }
    }
    EXPECT_GT(matches, 3000) << "the patterns hardly ever match: nothing was compared";
    EXPECT_GT(required, 600) << "hardly any pattern has a required text";
}

// Matches are lost if a character that folds to ASCII is not recognised as such.
TEST(Search, KnowsEveryCharacterThatFoldsToAscii) {
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

TEST(Search, RequiredTextTable) {
    // An empty list: no text is required for a match.
    const std::pair<QString, QStringList> cases[] = {
        {u"took=\\d+ms"_s, {u"took="_s}},
        {u"ab+cde"_s, {u"cde"_s}},
        {u"abc?"_s, {u"ab"_s}},
        {u"abc*?de{0}"_s, {u"ab"_s}},
        {u"a{3}"_s, {u"a"_s}},
        {u"error|fatal .*"_s, {u"error"_s, u"fatal "_s}},
        {u"error|\\d"_s, {}},
        {u"error|"_s, {}},
        {u"(one|two)three"_s, {u"three"_s}},
        {u"(one)"_s, {u"one"_s}},
        {u"(timeout|refused): \\d+"_s, {u"timeout"_s, u"refused"_s}},
        {u"(a|refused)? by"_s, {u" by"_s}},
        {u"(?=never)ab|(cd(e|f)+)"_s, {u"ab"_s, u"cd"_s}},
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
        EXPECT_EQ(requiredTexts(pattern), expected) << pattern.toStdString();
}

TEST(Search, APatternThatNeverEndsDoesNotMatchTheLine) {
    const SearchItem slow = item(u"(a+)+$"_s, How::Regex);
    EXPECT_EQ(slow.matchRanges(QString(40, u'a') + u'!'), Ranges{});
    EXPECT_EQ(slow.matchRanges(u"aaa"_s), (Ranges{{0, 3}})) << "the next line has a limit of its own";
    const SearchItem deep = item(u"(a|b)*c"_s, How::Regex);
    EXPECT_EQ(deep.matchRanges(QString(2'000'000, u'a') + u'c'), Ranges{});
    EXPECT_EQ(deep.matchRanges(u"abc"_s), (Ranges{{0, 3}}));
}

TEST(Search, AChangedItemMatchesTheNewWay) {
    SearchItem search = item(u"a.c"_s, How::Regex);
    EXPECT_TRUE(search.matches(u"ABC"_s));
    search.setIgnoreCase(false);
    EXPECT_FALSE(search.matches(u"ABC"_s));
    search.setSearchStr(u"A.C"_s);
    EXPECT_TRUE(search.matches(u"ABC"_s));
    search.setRegex(false);
    EXPECT_FALSE(search.matches(u"ABC"_s));
}

TEST(Search, ManyPatternsOnManyThreadsDoNotMixUp) {
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&wrong] {
            // More patterns than the cache of compiled patterns holds.
            for (int round = 0; round < 3; ++round)
                for (int i = 100; i < 180; ++i) {
                    const SearchItem search = item(u"n%1+"_s.arg(i), How::Regex);
                    const QString line = u"n%1 n%2"_s.arg(i).arg(i + 1);
                    wrong += search.matchRanges(line) != Ranges{{0, 4}};
                }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

} // namespace
} // namespace korvane
