#include "core/search/SearchItem.h"

#include <gtest/gtest.h>
#include <thread>

namespace korvane {

void PrintTo(const TextRange& range, std::ostream* out) {
    *out << '(' << range.location << ',' << range.length << ')';
}

namespace {

using namespace Qt::StringLiterals;
using Ranges = std::vector<TextRange>;

enum class How { Plain, PlainExact, Regex, RegexExact };

SearchItem item(const QString& text, How how) {
    SearchItem result(text);
    result.setRegex(how == How::Regex || how == How::RegexExact);
    if (how == How::PlainExact || how == How::RegexExact)
        result.setIgnoreCase(false);
    return result;
}

TEST(SearchItem, MatchTable) {
    const struct {
        QString text;
        How how;
        QString line;
        Ranges expected;
    } cases[] = {
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
        // Each search begins a text of its own.
        {u"^a"_s, How::Regex, u"aab"_s, {{0, 1}, {1, 1}}},
        {u"a$"_s, How::Regex, u"aaa"_s, {{2, 1}}},
        {u"\\ba"_s, How::Regex, u"aa a"_s, {{0, 1}, {1, 1}, {3, 1}}},
        // Matches of no length are passed over.
        {u"x*"_s, How::Regex, u"aaxxa"_s, {{2, 2}}},
        {u"x*"_s, How::Regex, u"😀x"_s, {{2, 1}}},
        {u"x*"_s, How::Regex, u""_s, {}},
        {u"\\b"_s, How::Regex, u"ab cd"_s, {}},
        {u"(?=b)|c"_s, How::Regex, u"abc"_s, {{2, 1}}},
        {u"."_s, How::Regex, u"a😀"_s, {{0, 1}, {1, 2}}},
        // No pattern.
        {u"("_s, How::Regex, u"("_s, {}},
        {u"*"_s, How::Regex, u"*"_s, {}},
    };
    for (const auto& c : cases) {
        const SearchItem search = item(c.text, c.how);
        EXPECT_EQ(search.matchRanges(c.line), c.expected)
            << c.text.toStdString() << " in " << c.line.toStdString();
        EXPECT_EQ(search.matches(c.line), !c.expected.empty());
    }
}

TEST(SearchItem, APatternThatNeverEndsDoesNotMatchTheLine) {
    const SearchItem slow = item(u"(a+)+$"_s, How::Regex);
    EXPECT_EQ(slow.matchRanges(QString(40, u'a') + u'!'), Ranges{});
    EXPECT_EQ(slow.matchRanges(u"aaa"_s), (Ranges{{0, 3}})) << "the next line has a limit of its own";
    const SearchItem deep = item(u"(a|b)*c"_s, How::Regex);
    EXPECT_EQ(deep.matchRanges(QString(2'000'000, u'a') + u'c'), Ranges{});
    EXPECT_EQ(deep.matchRanges(u"abc"_s), (Ranges{{0, 3}}));
}

TEST(SearchItem, AChangedItemMatchesTheNewWay) {
    SearchItem search = item(u"a.c"_s, How::Regex);
    EXPECT_TRUE(search.matches(u"ABC"_s));
    search.setIgnoreCase(false);
    EXPECT_FALSE(search.matches(u"ABC"_s));
    search.setSearchStr(u"A.C"_s);
    EXPECT_TRUE(search.matches(u"ABC"_s));
    search.setRegex(false);
    EXPECT_FALSE(search.matches(u"ABC"_s));
}

TEST(SearchItem, ManyPatternsOnManyThreadsDoNotMixUp) {
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&wrong] {
            // More patterns than are kept compiled.
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
