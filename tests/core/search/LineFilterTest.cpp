#include "core/search/LineFilter.h"

#include "core/search/AsciiFolding.h"
#include "core/search/PatternTree.h"
#include "core/search/SearchCorpus.h"

#include <gtest/gtest.h>
#include <unicode/ustring.h>

#include <array>
#include <iterator>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using test::SearchCorpus;
using test::searchItem;

QString icuFolded(QChar character) {
    std::array<char16_t, 8> folded{};
    UErrorCode error = U_ZERO_ERROR;
    const char16_t unit = character.unicode();
    const auto size = u_strFoldCase(folded.data(), std::ssize(folded), &unit, 1, U_FOLD_CASE_DEFAULT, &error);
    return QString(reinterpret_cast<const QChar*>(folded.data()), size);
}

/// Lines as bytes, filtered as one block.
class LineFilterTest : public ::testing::Test {
protected:
    void addLine(const QString& text) {
        texts.push_back(text);
        starts.push_back(static_cast<std::uint32_t>(bytes.size()));
        bytes += encoding == encoding::utf8 ? text.toUtf8() : text.toLatin1();
        bytes += '\n';
    }

    std::vector<LineFilter::Hits> filtered(const std::vector<SearchItem>& items,
                                           std::span<MatchBudget::Steps> budgets) {
        const LineFilter filter(items, encoding);
        std::vector<std::uint32_t> lines = starts;
        lines.push_back(static_cast<std::uint32_t>(bytes.size()));
        return LineFilter::Pass(filter).find({.bytes = bytes,
                                              .lines = lines,
                                              .text = [this](std::size_t line) { return texts[line]; },
                                              .isCancelled = [] { return false; }},
                                             budgets);
    }

    void expectVerdictsOfItems(const std::vector<SearchItem>& items) {
        std::vector<MatchBudget::Steps> budgets(items.size(), 1'000'000'000);
        const auto hits = filtered(items, budgets);
        for (std::size_t i = 0; i < items.size(); ++i) {
            std::vector<std::uint32_t> expected;
            for (std::uint32_t line = 0; line < texts.size(); ++line)
                if (items[i].matches(texts[line]))
                    expected.push_back(line);
            matches += expected.size();
            if (hits[i].lines != expected)
                for (std::uint32_t line = 0; line < texts.size(); ++line)
                    if (std::ranges::count(hits[i].lines, line) != std::ranges::count(expected, line))
                        ADD_FAILURE() << texts[line].toUtf8().toPercentEncoding(" []=.").toStdString();
            ASSERT_EQ(hits[i].lines, expected)
                << items[i].searchStr().toStdString() << ' ' << items[i].ignoreCase();
        }
    }

    StringEncoding encoding = encoding::utf8;
    QByteArray bytes;
    std::vector<std::uint32_t> starts;
    std::vector<QString> texts;
    std::size_t matches = 0;
};

TEST_F(LineFilterTest, VerdictsAreThoseOfTheItems) {
    constexpr const char16_t* atoms[] = {
        u"a",     u"b",     u"k",       u"K",       u"s",     u"ss",     u"fi",      u"1",      u"=",
        u"é",     u"ab",    u"a=1",     u"ks",      u".",     u"\\d",    u"\\w",     u"\\.",    u"\\[",
        u"[ab]",  u"[^k]",  u"(a|b)",   u"(?:ss)",  u"\\b",   u"\\B",    u"^",       u"$",      u"|",
        u"\\s",   u"\\W",   u"\\D",     u"\\S",     u"[a-k]", u"[^\\s]", u"(k(s)?)", u"(=|ks)", u"[\\w.]",
        u"(?=a)", u"[A-Z]", u"(ab|a)b", u"(f|fi)i", u" ",     u"[k-s]",  u"[1-9]",   u"[[a]b]", u"(?i)"};
    constexpr const char16_t* quantifiers[] = {u"",  u"",   u"",   u"",      u"",    u"?",    u"*",
                                               u"+", u"*?", u"+?", u"{0,2}", u"{2}", u"{1,}", u"??"};
    constexpr const char16_t* ends[] = {u"", u"", u"", u"\r", u"\f", u"\v", u"\u0085", u"\t"};
    constexpr const char16_t* pieces[] = {u"a", u"b", u"k", u"s",  u"fi", u"1",   u"=",
                                          u".", u"[", u" ", u"ab", u"K",  u"\x1c"};
    SearchCorpus random;
    const int rounds = qEnvironmentVariableIntValue("KORVANE_FUZZ_ROUNDS");
    std::size_t plainPatterns = 0;
    for (int round = 0; round < std::max(rounds, 100); ++round) {
        encoding = round % 4 == 0 ? encoding::isoLatin1 : encoding::utf8;
        bytes.clear();
        starts.clear();
        texts.clear();
        for (int line = 0; line < 60; ++line) {
            QString text;
            if (line % 3 == 0)
                text = random.text(random.below(12));
            else
                for (std::size_t i = random.below(9); i > 0; --i)
                    text += random.oneOf(pieces);
            text += random.oneOf(ends);
            if (encoding == encoding::isoLatin1)
                text = QString::fromLatin1(text.toLatin1());
            addLine(text);
        }
        std::vector<SearchItem> items;
        for (int i = 0; i < 8; ++i) {
            QString pattern;
            for (std::size_t n = 1 + random.below(4); n > 0; --n)
                pattern += i < 2 ? random.text(1) : random.oneOf(atoms) + random.oneOf(quantifiers);
            items.push_back(searchItem(pattern, i >= 2, random.below(3) > 0));
            if (const auto tree = PatternTree::parse(pattern); tree && i >= 2)
                plainPatterns += tree->isPlainSyntax();
        }
        expectVerdictsOfItems(items);
        ASSERT_FALSE(HasFailure()) << "round " << round;
    }
    EXPECT_GT(matches, 5000U) << "the items hardly ever match: nothing was compared";
    EXPECT_GT(plainPatterns, 100U) << "hardly any pattern is decided by bytes";
}

TEST_F(LineFilterTest, PatternsOfTooManyStatesHaveTheSameVerdicts) {
    SearchCorpus random;
    for (int line = 0; line < 2000; ++line) {
        QString text;
        for (std::size_t i = random.below(200); i > 0; --i)
            text += random.below(2) == 0 ? u'a' : u'b';
        addLine(line % 10 == 0 ? text + u'é' : text);
    }
    std::vector<SearchItem> items;
    for (const QString& pattern : {u"a.{60}bb"_s, u"b[ab]{40}a"_s, u"(a|b){9}abba(.{3}|.{7})$"_s, u"^abab"_s})
        items.push_back(searchItem(pattern, true, true));
    // As many as do not fit one automaton.
    for (int i = 0; i < 100; ++i)
        items.push_back(searchItem(u"^[ab]{%1}$"_s.arg(i), true, true));
    expectVerdictsOfItems(items);
}

TEST_F(LineFilterTest, EveryCharacterThatEqualsAsciiIsKnown) {
    for (char32_t unit = 0x80; unit <= 0xFFFF; ++unit) {
        const QString folded = icuFolded(QChar(static_cast<char16_t>(unit)));
        const auto known = std::ranges::find(AsciiFolding::all(), unit, &AsciiFolding::character);
        const bool hasAscii = std::ranges::any_of(folded, [](QChar each) { return each.unicode() < 0x80; });
        ASSERT_EQ(known != AsciiFolding::all().end(), hasAscii) << std::hex << std::uint32_t{unit};
        if (hasAscii) {
            EXPECT_EQ(known->folded, folded);
        }
    }
}

TEST_F(LineFilterTest, AnEndlessPatternGivesUpLinesAndNothingElse) {
    for (int i = 0; i < 30; ++i)
        addLine(i % 3 == 0 ? u"ab"_s : QString(40, u'a') + u'é');
    MatchBudget::Steps budgets[] = {5'000'000, 0};
    const auto hits =
        filtered({searchItem(u"(a+)+$|ab"_s, true, true), searchItem(u"AB"_s, false, true)}, budgets);
    EXPECT_EQ(hits[0].lines.size(), 10U) << "decided without ICU";
    EXPECT_EQ(hits[0].givenUp.size(), 20U);
    EXPECT_EQ(hits[1].lines.size(), 10U);
    EXPECT_TRUE(hits[1].givenUp.empty());
    EXPECT_LE(budgets[0], 0);
}

} // namespace
} // namespace korvane
