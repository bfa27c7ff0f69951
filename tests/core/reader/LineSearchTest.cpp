#include "core/reader/InMemoryFileLogReader.h"
#include "core/reader/LogReader.h"
#include "core/search/SearchItem.h"
#include "support/TemporaryFile.h"

#include <QProcess>

#include <gtest/gtest.h>

#include <random>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using test::TemporaryFile;
using Lines = std::vector<qint64>;

const std::function<bool()> never = [] { return false; };

std::shared_ptr<LogFileReaderProtocol> indexed(std::shared_ptr<LogFileReaderProtocol> reader,
                                               EncodingChoice choice = {}) {
    reader->setEncodingChoice(choice);
    reader->refresh();
    return reader;
}

/// The lines that a walk from match to match visits, from the line on.
Lines visited(LogFileReaderProtocol& reader, const SearchItem& item, qint64 from, bool forwards) {
    Lines lines;
    const qint64 last = forwards ? reader.lineCount() - 1 : 0;
    while (forwards ? from <= last : from >= last) {
        const auto match = reader.findNextMatch(from, last, item, never);
        if (!match)
            break;
        lines.push_back(match->row);
        from = match->row + (forwards ? 1 : -1);
    }
    return lines;
}

Lines reversed(Lines lines) {
    return {lines.rbegin(), lines.rend()};
}

/// Zero-based lines that the system's own search prints.
Lines linesOfGrep(const QByteArray& path, const QString& text) {
    QProcess grep;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"LC_ALL"_s, u"C.UTF-8"_s);
    grep.setProcessEnvironment(environment);
    grep.start(u"grep"_s, {u"-a"_s, u"-n"_s, u"-i"_s, u"-F"_s, u"-e"_s, text, QString::fromLocal8Bit(path)});
    EXPECT_TRUE(grep.waitForFinished(60'000));
    Lines lines;
    for (const QByteArray& line : grep.readAllStandardOutput().split('\n'))
        if (const qsizetype colon = line.indexOf(':'); colon > 0)
            lines.push_back(line.first(colon).toLongLong() - 1);
    return lines;
}

/// Long enough for several blocks; the texts stand across their borders, too.
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

TEST(LineSearch, VisitsTheLinesThatGrepFinds) {
    const QByteArray longLine(1'200'000, 'x');
    const struct {
        const char* name;
        QByteArray content;
    } files[] = {
        {"CR LF", "one\r\nTWO error\r\n\r\nError\r\n"},
        {"no final newline", "first\nsecond\nlast Error"},
        {"empty lines", "\n\n\nerror\n\n\nERROR\n\n"},
        {"empty", ""},
        {"multibyte", "größer\nGRÖSSER GRÖßE\n日本語 error 日本\nΣΊΣΥΦΟΣ σίσυφος\nDisk\nerr😀or\n"},
        {"long lines", longLine + "Error\n" + longLine + "\nerror" + longLine + "\n" +
                           longLine.left(1'048'573) + "errOR größe" + longLine},
        {"several blocks", longLog()},
        {"NUL bytes", QByteArray("a\0error\nb\n\0\n", 12)},
    };
    const QString texts[] = {u"error"_s, u"ERROR"_s,   u"größe"_s, u"k"_s, u"disk"_s,    u"\r"_s,
                             u"日本"_s,  u"σίσυφος"_s, u"."_s,     u"x"_s, u"no such"_s, u"Kaputt.."_s};
    for (const auto& [name, content] : files) {
        const TemporaryFile file(content);
        const auto reader = indexed(LogReader::create(file.url()));
        for (const QString& text : texts) {
            SCOPED_TRACE(std::string(name) + ", " + text.toStdString());
            const Lines expected = linesOfGrep(file.path(), text);
            const SearchItem item(text);
            ASSERT_EQ(visited(*reader, item, 0, true), expected);
            ASSERT_EQ(visited(*reader, item, reader->lineCount() - 1, false), reversed(expected));
            for (qint64 from = 0; from < reader->lineCount(); from += 1 + reader->lineCount() / 3) {
                const auto middle = std::lower_bound(expected.begin(), expected.end(), from);
                ASSERT_EQ(visited(*reader, item, from, true), Lines(middle, expected.end())) << from;
                const auto behind = std::upper_bound(expected.begin(), expected.end(), from);
                ASSERT_EQ(visited(*reader, item, from, false), reversed(Lines(expected.begin(), behind)))
                    << from;
            }
        }
    }
}

// Few different characters, so that matches, half matches and the characters with odd case happen all the
// time.
constexpr const char16_t* letters[] = {
    u"a",      u"A", u"k", u"K", u"s", u"S", u"\u017F", u"\u212A", u"ß", u"ẞ", u"ä",  u"Ä", u"å",
    u"\u212B", u"σ", u"ς", u"Σ", u"İ", u"i", u"ı",      u" ",      u"@", u"`", u"日", u"😀", u"\U00010428"};

class Random {
public:
    std::size_t below(std::size_t count) { return engine_() % count; }
    QString text(std::size_t length) {
        QString text;
        for (; length > 0; --length)
            text += QString::fromUtf16(letters[below(std::size(letters))]);
        return text;
    }

private:
    std::mt19937 engine_{20240301};
};

TEST(LineSearch, FindsWhatTheItemFindsInEachDecodedLine) {
    using Kind = EncodingChoice::Kind;
    const EncodingChoice choices[] = {{},
                                      {Kind::LenientUtf8, encoding::unknown},
                                      {Kind::Fixed, encoding::utf8},
                                      {Kind::Fixed, encoding::ascii},
                                      {Kind::Fixed, encoding::windows1252},
                                      {Kind::Fixed, encoding::koi8r},
                                      {Kind::Fixed, encoding::gb18030},
                                      {Kind::Fixed, encoding::utf16LittleEndian}};
    Random random;
    int matches = 0;
    for (int round = 0; round < 1200; ++round) {
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
        const EncodingChoice choice = choices[random.below(std::size(choices))];
        const bool inMemory = random.below(4) == 0;
        const auto reader = indexed(
            inMemory ? InMemoryFileLogReader::create(file.url()) : LogReader::create(file.url()), choice);
        reader->readRows(1, 5000, RowLength::Shown);
        SearchItem item(random.below(20) == 0 ? QStringLiteral("\uFFFD") : random.text(1 + random.below(3)));
        item.setIgnoreCase(random.below(4) != 0);
        item.setRegex(random.below(10) == 0);
        Lines expected;
        for (qint64 line = 0; line < reader->lineCount(); ++line) {
            const auto text = reader->readRows(line + 1, 1, RowLength::Whole).lines;
            const auto ranges = text.empty() ? std::vector<TextRange>() : item.matchRanges(text.front().text);
            if (!ranges.empty())
                expected.push_back(line);
            const auto match = reader->findNextMatch(line, line, item, never);
            ASSERT_EQ(match ? match->results : std::vector<TextRange>(), ranges);
        }
        matches += static_cast<int>(expected.size());
        ASSERT_EQ(visited(*reader, item, 0, true), expected)
            << item.searchStr().toStdString() << " in " << content.toStdString();
        ASSERT_EQ(visited(*reader, item, reader->lineCount() - 1, false), reversed(expected))
            << item.searchStr().toStdString() << " in " << content.toStdString();
    }
    EXPECT_GT(matches, 500);
}

TEST(LineSearch, APlaceBehindTheShownPartOfALongLineIsNamed) {
    const qint64 before = 2'500'000;
    const TemporaryFile file(QByteArray("ß") + QByteArray(before, '.') + "Needle.\nshort\n");
    const auto reader = indexed(LogReader::create(file.url()));
    const auto match = reader->findNextMatch(1, 0, SearchItem(u"needle"_s), never);
    ASSERT_TRUE(match);
    EXPECT_EQ(match->row, 0);
    EXPECT_EQ(match->results, (std::vector<TextRange>{{static_cast<int>(before) + 1, 6}}));
}

TEST(LineSearch, LinesThatAreNotThereArePassedOver) {
    const TemporaryFile file("error\nfine\nerror");
    const auto reader = indexed(LogReader::create(file.url()));
    const SearchItem item(u"error"_s);
    EXPECT_EQ(reader->findNextMatch(-5, 1, item, never)->row, 0);
    EXPECT_EQ(reader->findNextMatch(1, 99, item, never)->row, 2);
    EXPECT_EQ(reader->findNextMatch(99, 0, item, never)->row, 2);
    EXPECT_FALSE(reader->findNextMatch(-1, -1, item, never));
    EXPECT_FALSE(reader->findNextMatch(3, 9, item, never));
    EXPECT_FALSE(reader->findNextMatch(0, 2, SearchItem(QString()), never));
}

TEST(LineSearch, LinesBehindTheLastRefreshAreNotSearched) {
    const TemporaryFile file("fine\n");
    const auto reader = indexed(LogReader::create(file.url()));
    file.append("error\n");
    const SearchItem item(u"error"_s);
    EXPECT_FALSE(reader->findNextMatch(0, 9, item, never));
    reader->refresh();
    EXPECT_EQ(reader->findNextMatch(0, 9, item, never)->row, 1);
}

TEST(LineSearch, AFileCutShortEndsTheSearch) {
    const TemporaryFile file(longLog());
    const auto reader = indexed(LogReader::create(file.url()));
    const qint64 last = reader->lineCount() - 1;
    file.truncate(200'000);
    for (const QString& text : {u"error"_s, u"no such"_s}) {
        const SearchItem item(text);
        const Lines expected = linesOfGrep(file.path(), text);
        const auto first = reader->findNextMatch(0, last, item, never);
        EXPECT_EQ(first ? first->row : -1, expected.empty() ? -1 : expected.front());
        const auto final = reader->findNextMatch(last, 0, item, never);
        EXPECT_EQ(final ? final->row : -1, expected.empty() ? -1 : expected.back());
    }
}

TEST(LineSearch, ACancelEndsItWithinAFewBlocks) {
    const TemporaryFile file(longLog());
    const auto reader = indexed(LogReader::create(file.url()));
    const qint64 last = reader->lineCount() - 1;
    for (const QString& text : {u"no such"_s, u"error"_s})
        for (const bool forwards : {true, false}) {
            int asked = 0;
            const auto atOnce = [&] { return ++asked > 0; };
            const auto match =
                reader->findNextMatch(forwards ? 0 : last, forwards ? last : 0, SearchItem(text), atOnce);
            EXPECT_FALSE(match);
            EXPECT_EQ(asked, 1);
            // Asked again and again on the way through, not only at the start.
            int asks = 0;
            reader->findNextMatch(forwards ? 0 : last, forwards ? last : 0, SearchItem(u"no such"_s), [&] {
                ++asks;
                return false;
            });
            EXPECT_GE(asks, 6);
        }
    reader->close();
    EXPECT_FALSE(reader->findNextMatch(0, last, SearchItem(u"error"_s), never));
}

} // namespace
} // namespace korvane
