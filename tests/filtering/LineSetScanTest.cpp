#include "filtering/LineSetScan.h"

#include "core/reader/LogReader.h"
#include "filtering/FilterCorpus.h"
#include "filtering/LineRanges.h"
#include "support/TemporaryFile.h"
#include "support/Waiting.h"

#include <gtest/gtest.h>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using test::searchItem;
using test::TemporaryFile;
using test::waitFor;

/// Scans a file, and compares the sets with what the searches say of each line.
class LineSetScanTest : public ::testing::Test {
protected:
    void start(std::vector<SearchItem> searches) {
        items = std::move(searches);
        reader->refresh();
        scan = std::make_unique<LineSetScan>(reader, items, [this](const LineSetScan::Sets& published) {
            sets = published;
            ++publications;
        });
        scan->linesChanged(0, reader->lineCount());
    }

    void refresh() {
        const LineRange changed = reader->refresh();
        scan->linesChanged(changed.location, reader->lineCount());
    }

    void expectSets() {
        ASSERT_TRUE(waitFor([&] { return sets.isComplete() && sets.lineCount == reader->lineCount(); }));
        QStringList lines;
        for (const DisplayLine& row : reader->readRows(1, reader->lineCount(), RowLength::Whole).lines)
            lines.push_back(row.text);
        ASSERT_EQ(lines.size(), reader->lineCount());
        for (std::size_t i = 0; i < items.size(); ++i) {
            std::vector<qint64> expected;
            for (qsizetype line = 0; line < lines.size(); ++line)
                if (items[i].matches(lines.at(line)))
                    expected.push_back(line);
            ASSERT_EQ(sets.items[i].lines.members(0, lines.size()), expected)
                << items[i].searchStr().toStdString();
            ASSERT_TRUE(sets.items[i].givenUp.isEmpty());
        }
    }

    test::FilterCorpus corpus;
    TemporaryFile file{""};
    std::shared_ptr<LogFileReaderProtocol> reader = LogReader::create(file.url());
    std::vector<SearchItem> items;
    LineSetScan::Sets sets{.items = {}, .examined = {}, .linesLeft = -1};
    int publications = 0;
    std::unique_ptr<LineSetScan> scan;
};

TEST_F(LineSetScanTest, TheSetsHoldTheMatchesOfAFileThatChanges) {
    file.append(corpus.lines(40'000));
    start({searchItem(u"error"_s, false, true), searchItem(u"größe|GRÜSSE"_s, true, true),
           searchItem(u"took=\\d+ms$"_s, true, false), searchItem(u"^\\s*$"_s, true, true),
           searchItem(u"s"_s, false, true)});
    scan->setFocus(30'000);
    expectSets();
    for (int round = 0; round < 20; ++round) {
        file.append(corpus.lines(corpus.below(3000)));
        refresh();
        if (round % 3 == 0)
            expectSets();
    }
    expectSets();
    file.truncate(100'000);
    refresh();
    scan->startAgain(reader->lineCount());
    expectSets();
    file.replace(corpus.lines(9000));
    ASSERT_TRUE(reader->reopen());
    reader->reset();
    reader->refresh();
    scan->startAgain(reader->lineCount());
    expectSets();
}

TEST_F(LineSetScanTest, AStoppedScanGoesOnWhereItWas) {
    file.append(corpus.lines(30'000));
    start({searchItem(u"error"_s, false, true)});
    scan->setRunning(false);
    ASSERT_TRUE(test::settle());
    EXPECT_LE(publications, 1);
    scan->setRunning(true);
    expectSets();
}

TEST(LineRangesTest, TakesWhatIsNearestFirst) {
    LineRanges ranges;
    ranges.add({0, 10});
    ranges.add({20, 10});
    ranges.add({10, 5});
    EXPECT_EQ(ranges.lineCount(), 25);
    EXPECT_EQ(ranges.takeNear(22, 3), (LineRange{22, 3}));
    EXPECT_EQ(ranges.takeNear(22, 9), (LineRange{20, 2})) << "as near as the lines behind, but on the screen";
    EXPECT_EQ(ranges.takeNear(22, 4), (LineRange{25, 4}));
    EXPECT_EQ(ranges.takeNear(18, 4), (LineRange{11, 4}));
    ranges.truncate(4);
    EXPECT_EQ(ranges.takeNear(100, 10), (LineRange{0, 4}));
    EXPECT_EQ(ranges.takeNear(0, 1), std::nullopt);
}

} // namespace
} // namespace korvane
