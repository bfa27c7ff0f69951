#include "filtering/ShownLines.h"

#include "core/reader/LogReader.h"
#include "filtering/FilterCorpus.h"
#include "support/TemporaryFile.h"
#include "support/Waiting.h"

#include <gtest/gtest.h>

namespace korvane {
namespace {

using test::FilterCorpus;
using test::TemporaryFile;
using test::waitFor;

/// Compares the map with what the rules say of each line.
class ShownLinesTest : public ::testing::Test {
protected:
    void readFile() {
        reader->refresh();
        lines.clear();
        for (const DisplayLine& row : reader->readRows(1, reader->lineCount(), RowLength::Whole).lines)
            lines.push_back(row.text);
        ASSERT_EQ(lines.size(), static_cast<std::size_t>(reader->lineCount()));
        shown->setLines({firstLine, reader->lineCount() - firstLine});
    }

    bool isHidden(std::size_t line) const {
        bool isClaimed = !rules.hidesUnclaimed || rules.rules.empty();
        bool hides = false;
        for (const RuleSearch& rule : rules.rules) {
            const bool matches = rule.item.matches(lines[line]);
            isClaimed |= matches;
            hides |= matches && rule.hides;
        }
        return hides || !isClaimed;
    }

    /// Each row as shown, as context, or not.
    std::vector<char> expectedRows() const {
        const bool leavesOut = mode != HiddenLines::AsFiltered;
        std::vector<char> rows(lines.size(), ' ');
        for (std::size_t line = 0; line < lines.size(); ++line)
            if (!leavesOut || !isHidden(line))
                rows[line] = 's';
        const auto around = static_cast<std::size_t>(linesAround(mode));
        for (std::size_t line = 0; line < lines.size(); ++line)
            for (std::size_t near = line - std::min(line, around);
                 rows[line] == 's' && near < std::min(lines.size(), line + around + 1); ++near)
                rows[near] = rows[near] == 's' ? 's' : 'c';
        for (const qint64 line : always)
            if (auto& row = rows[static_cast<std::size_t>(line)]; row == ' ')
                row = 'c';
        rows.erase(rows.begin(), rows.begin() + firstLine);
        return rows;
    }
    std::vector<char> rowsOf(const RowMap& map) const {
        std::vector<char> rows;
        for (qint64 row = 0; row < map.rowCount(); ++row)
            rows.push_back(!map.shows(row) ? ' ' : map.isContext(row) ? 'c' : 's');
        return rows;
    }

    void expectRows(int round) {
        const std::vector<char> expected = expectedRows();
        roundsWithHidden += std::ranges::count(expected, ' ') > 0;
        EXPECT_TRUE(waitFor([&] { return shown->linesLeft() == 0 && rowsOf(shown->map()) == expected; }))
            << "round " << round << ": " << rules.rules.size() << " rules, mode " << static_cast<int>(mode);
    }

    FilterCorpus corpus;
    TemporaryFile file{""};
    std::shared_ptr<LogFileReaderProtocol> reader = LogReader::create(file.url());
    std::vector<QString> lines;
    ShownLines::Rules rules;
    HiddenLines mode = HiddenLines::AsFiltered;
    std::vector<qint64> always;
    qint64 firstLine = 0;
    int roundsWithHidden = 0;
    std::unique_ptr<ShownLines> shown = std::make_unique<ShownLines>(reader, [] {});
};

TEST_F(ShownLinesTest, TheMapFollowsRulesModesAndTheFile) {
    file.append(corpus.lines(3000));
    readFile();
    for (int round = 0; round < 60 && !HasFailure(); ++round) {
        switch (corpus.below(7)) {
        case 0:
        case 1:
            rules = corpus.rules();
            shown->setRules(rules);
            break;
        case 2:
            mode = allHiddenLines[corpus.below(allHiddenLines.size())];
            shown->setMode(mode);
            break;
        case 3: {
            const qint64 before = reader->lineCount();
            file.append(corpus.lines(corpus.below(300)));
            readFile();
            shown->linesChanged(before - 1);
            break;
        }
        case 4:
            always.clear();
            for (std::size_t line = 0; line < lines.size() / 2; line += 1 + corpus.below(300))
                always.push_back(static_cast<qint64>(line));
            {
                LineSetWriter writer;
                writer.assign({0, reader->lineCount()},
                              mode == HiddenLines::AsFiltered ? std::vector<qint64>() : always);
                if (mode == HiddenLines::AsFiltered)
                    always.clear();
                shown->setAlwaysShown(writer.set());
            }
            break;
        case 5:
            firstLine = static_cast<qint64>(corpus.below(lines.size() / 2));
            shown->setLines({firstLine, reader->lineCount() - firstLine});
            break;
        case 6:
            if (round % 3 != 0)
                break;
            file.replace(corpus.lines(2000));
            ASSERT_TRUE(reader->reopen());
            reader->reset();
            firstLine = 0;
            always.clear();
            shown->setAlwaysShown({});
            readFile();
            shown->startAgain();
            break;
        }
        shown->setFocus(static_cast<qint64>(corpus.below(lines.size())));
        expectRows(round);
    }
    EXPECT_GT(roundsWithHidden, 10) << "nearly always all lines are shown: nothing was compared";
}

TEST_F(ShownLinesTest, AScanGoesOnForRulesThatStay) {
    file.append(corpus.lines(20'000));
    readFile();
    mode = HiddenLines::LeftOut;
    shown->setMode(mode);
    rules.rules = {{test::searchItem(QStringLiteral("error"), false, true), true}};
    shown->setRules(rules);
    expectRows(0);
    rules.rules.push_back({test::searchItem(QStringLiteral("s"), false, true), true});
    shown->setRules(rules);
    shown->setRunning(false);
    const RowMap before = shown->map();
    EXPECT_FALSE(before.showsAll()) << "the rows of the first rule stay until the second one is known";
    shown->setRunning(true);
    expectRows(1);
    EXPECT_LT(shown->map().shownRowCount(), before.shownRowCount());
}

} // namespace
} // namespace korvane
