#include "core/reader/InMemoryFileLogReader.h"
#include "core/reader/LogReader.h"
#include "core/search/Direction.h"
#include "core/search/SearchCorpus.h"
#include "support/TemporaryFile.h"

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using test::naiveRanges;
using test::Ranges;
using test::SearchCorpus;
using test::searchItem;
using test::TemporaryFile;
using Lines = std::vector<qint64>;
using Reader = std::shared_ptr<LogFileReaderProtocol>;

const std::function<bool()> never = [] { return false; };

Reader indexed(const TemporaryFile& file, EncodingChoice choice = {}, bool isInMemory = false) {
    Reader reader = isInMemory ? InMemoryFileLogReader::create(file.url()) : LogReader::create(file.url());
    reader->setEncodingChoice(choice);
    reader->refresh();
    return reader;
}

/// Spans several blocks; some texts lie across block borders.
QByteArray longLog() {
    QByteArray log;
    std::mt19937 random(3);
    constexpr const char* tails[] = {" ok", " Error: Kaputt",       " DISK full",
                                     "",    " Größe überschritten", " 日本語"};
    while (log.size() < 600'000)
        log += QByteArray::number(random()) + tails[random() % std::size(tails)] +
               QByteArray(static_cast<qsizetype>(random() % 300), '.') + '\n';
    return log;
}

class LineSearchTest : public ::testing::TestWithParam<Direction> {
protected:
    static bool isForwards() { return GetParam() == Direction::Forwards; }
    /// Searches from the line in the direction of the test to that end of the file.
    static SearchOutcome findFrom(LogFileReaderProtocol& reader, qint64 line, const SearchItem& item,
                                  const std::function<bool()>& isCancelled = never) {
        return reader.findNextMatch(line, isForwards() ? reader.lineCount() - 1 : 0, item, isCancelled);
    }
    /// Searches the whole file.
    static SearchOutcome find(LogFileReaderProtocol& reader, const QString& text,
                              const std::function<bool()>& isCancelled = never) {
        return findFrom(reader, firstLine(reader), SearchItem(text), isCancelled);
    }
    static qint64 firstLine(const LogFileReaderProtocol& reader) {
        return isForwards() ? 0 : reader.lineCount() - 1;
    }
    /// The lines found by searching from match to match, starting at `line`.
    static Lines visited(LogFileReaderProtocol& reader, const SearchItem& item, qint64 line) {
        Lines lines;
        while (line >= 0 && line < reader.lineCount()) {
            const auto match = findFrom(reader, line, item);
            if (!match)
                break;
            lines.push_back(match->row);
            line = match->row + (isForwards() ? 1 : -1);
        }
        return lines;
    }
    /// Those of the ascending `lines` that lie at or ahead of line `of` in the direction of the test, nearest
    /// first.
    static Lines ahead(Lines lines, qint64 of) {
        std::erase_if(lines, [&](qint64 line) { return isForwards() ? line < of : line > of; });
        if (!isForwards())
            std::ranges::reverse(lines);
        return lines;
    }
};

INSTANTIATE_TEST_SUITE_P(Directions, LineSearchTest,
                         ::testing::Values(Direction::Forwards, Direction::Backwards));

TEST_P(LineSearchTest, VisitsTheLinesThatHoldTheText) {
    const QByteArray longLine(1'200'000, 'x');
    const QByteArray files[] = {
        "one\r\nTWO error\r\n\r\nError\r\n",
        "first\nsecond\nlast Error",
        "\n\n\nerror\n\n\nERROR\n\n",
        "",
        "größer\nGRÖSSER GRÖßE\n日本語 error 日本\nΣΊΣΥΦΟΣ σίσυφος\nDisk\nerr😀or\n",
        longLine + "Error\n" + longLine + "\nerror" + longLine + "\n" + longLine.left(1'048'573) +
            "errOR größe" + longLine,
        longLog(),
        QByteArray("a\0error\nb\n\0\n", 12),
    };
    for (const QByteArray& content : files) {
        const TemporaryFile file(content);
        const Reader reader = indexed(file);
        const QStringList texts = QString::fromUtf8(content).split(u'\n');
        for (const QString& text : {u"error"_s, u"ERROR"_s, u"größe"_s, u"k"_s, u"disk"_s, u"\r"_s, u"日本"_s,
                                    u"σίσυφος"_s, u"."_s, u"x"_s, u"no such"_s, u"Kaputt.."_s}) {
            SCOPED_TRACE(content.left(20).toStdString() + ", " + text.toStdString());
            Lines expected;
            for (qint64 line = 0; line < texts.size(); ++line)
                if (texts[line].contains(text, Qt::CaseInsensitive))
                    expected.push_back(line);
            for (qint64 from = 0; from < reader->lineCount(); from += 1 + reader->lineCount() / 3)
                ASSERT_EQ(visited(*reader, SearchItem(text), from), ahead(expected, from)) << from;
            const qint64 last = reader->lineCount() - 1;
            ASSERT_EQ(visited(*reader, SearchItem(text), last), ahead(expected, last));
        }
    }
}

TEST_P(LineSearchTest, FindsTheMatchesOfEachDecodedLine) {
    using Kind = EncodingChoice::Kind;
    constexpr StringEncoding encodings[] = {encoding::utf8,  encoding::ascii,   encoding::windows1252,
                                            encoding::koi8r, encoding::gb18030, encoding::utf16LittleEndian};
    std::vector<EncodingChoice> choices{{}, {Kind::LenientUtf8, encoding::unknown}};
    for (const StringEncoding encoding : encodings)
        choices.push_back({Kind::Fixed, encoding});
    SearchCorpus random;
    int matches = 0;
    for (int round = 0; round < 800; ++round) {
        QByteArray content;
        const std::size_t count = 1 + random.below(20);
        for (std::size_t i = 0; i < count; ++i) {
            content += random.text(random.below(12)).toUtf8();
            if (random.below(6) == 0)
                content += static_cast<char>(0x80 + random.below(128));
            if (i + 1 < count || random.below(2) == 0)
                content += '\n';
        }
        const TemporaryFile file(content);
        const Reader reader = indexed(file, choices[random.below(std::size(choices))], random.below(4) == 0);
        const SearchItem item =
            searchItem(random.below(20) == 0 ? QStringLiteral("\uFFFD") : random.text(1 + random.below(3)),
                       random.below(10) == 0, random.below(4) != 0);
        SCOPED_TRACE(item.searchStr().toStdString() + " in " + content.toStdString());
        Lines expected;
        for (qint64 line = 0; line < reader->lineCount(); ++line) {
            const auto row = reader->readRows(line + 1, 1, RowLength::Whole).lines;
            ASSERT_EQ(row.size(), 1U);
            const QString& text = row.front().text;
            const Ranges ranges = item.regex() ? item.matchRanges(text) : naiveRanges(item, text);
            if (!ranges.empty())
                expected.push_back(line);
            const auto match = reader->findNextMatch(line, line, item, never);
            ASSERT_EQ(match ? match->results : Ranges(), ranges);
        }
        matches += static_cast<int>(expected.size());
        const qint64 first = firstLine(*reader);
        ASSERT_EQ(visited(*reader, item, first), ahead(expected, first));
    }
    EXPECT_GT(matches, 300);
}

TEST_P(LineSearchTest, ATextAcrossTheBorderOfTwoBlocksIsFound) {
    for (qsizetype before = 8180; before < 8200; ++before) {
        const TemporaryFile file("\n" + QByteArray(before, '.') + "Needle" +
                                 QByteArray(16'380 - before, '.') + "\n");
        const Reader reader = indexed(file);
        const auto match = find(*reader, u"needle"_s);
        EXPECT_EQ(match ? match->row : -1, 1) << before;
    }
}

TEST_P(LineSearchTest, ACancelOrTheEndOfAFileCutShortEndsIt) {
    const TemporaryFile file(longLog());
    const Reader reader = indexed(file);
    int asked = 0;
    EXPECT_FALSE(find(*reader, u"error"_s, [&] { return ++asked > 0; }));
    EXPECT_EQ(asked, 1);
    find(*reader, u"no such"_s, [&] { return ++asked < 0; });
    EXPECT_GE(asked, 7) << "asked on the way, not only at the start";

    file.truncate(200'000);
    const Reader cut = indexed(file);
    for (const QString& text : {u"error"_s, u"no such"_s}) {
        const auto expected = find(*cut, text);
        const auto match = find(*reader, text);
        EXPECT_EQ(match ? match->row : -1, expected ? expected->row : -1) << text.toStdString();
    }
    reader->close();
    EXPECT_FALSE(find(*reader, u"error"_s));
}

TEST(LineSearch, APlaceBehindTheShownPartOfALongLineIsReported) {
    const qint64 before = 2'500'000;
    const TemporaryFile file(QByteArray("ß") + QByteArray(before, '.') + "Needle.\nshort\n");
    const auto match = indexed(file)->findNextMatch(1, 0, SearchItem(u"needle"_s), never);
    ASSERT_TRUE(match);
    EXPECT_EQ(match->row, 0);
    EXPECT_EQ(match->results, (Ranges{{static_cast<int>(before) + 1, 6}}));
}

TEST(LineSearch, LinesThatDoNotExistAreSkipped) {
    const TemporaryFile file("error\nfine\nerror");
    const Reader reader = indexed(file);
    file.append("\nerror"); // not indexed
    const SearchItem item(u"error"_s);
    EXPECT_EQ(reader->findNextMatch(-5, 1, item, never)->row, 0);
    EXPECT_EQ(reader->findNextMatch(1, 99, item, never)->row, 2);
    EXPECT_EQ(reader->findNextMatch(99, 0, item, never)->row, 2);
    EXPECT_FALSE(reader->findNextMatch(-1, -1, item, never));
    EXPECT_FALSE(reader->findNextMatch(3, 9, item, never));
    EXPECT_FALSE(reader->findNextMatch(0, 2, SearchItem(QString()), never));
    reader->refresh();
    EXPECT_EQ(reader->findNextMatch(3, 9, item, never)->row, 3);
}

} // namespace
} // namespace korvane
