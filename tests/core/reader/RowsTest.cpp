#include "core/reader/InMemoryFileLogReader.h"
#include "core/reader/LogReader.h"
#include "core/search/SearchItem.h"
#include "support/TemporaryFile.h"

#include <QStringConverter>

#include <gtest/gtest.h>
#include <random>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;

QStringList texts(const DisplayLines& rows) {
    QStringList result;
    for (const DisplayLine& line : rows.lines)
        result.append(line.text);
    return result;
}

/// Lines of a log in the bytes of an encoding, with one byte that is no text of it.
struct DamagedLog {
    DamagedLog(std::mt19937& random, const QByteArray& word, const QByteArray& badByte, int lines)
        : badLine(static_cast<int>(random() % static_cast<unsigned>(lines))) {
        for (int line = 0; line < lines; ++line) {
            QByteArray text = "2024-03-05 12:00:00 INFO [" + QByteArray::number(line) + "] ";
            for (unsigned count = random() % 4; count > 0; --count)
                text += word + ' ';
            text += "end";
            if (line == badLine)
                text.insert(10, badByte);
            bytes.append(text);
        }
    }

    QByteArray content() const { return bytes.join('\n'); }

    QList<QByteArray> bytes;
    int badLine;
};

TEST(Rows, OneBadByteChangesItsLineOnlyAndBothReadersAgree) {
    const struct {
        StringEncoding encoding;
        QByteArray word;
        QByteArray badByte;
    } cases[] = {
        {encoding::utf8, "Gr\xC3\xBC\xC3\x9F"_ba, "\xFF"_ba},
        {encoding::ascii, "plain"_ba, "\xE4"_ba},
        {encoding::shiftJis, "\x83\x66\x81\x5b\x83\x5e"_ba, "\xFF"_ba},
        {encoding::eucJapanese, "\xA5\xC7\xA1\xBC"_ba, "\xFF"_ba},
        {encoding::gb18030, "\xCA\xFD\xBE\xDD"_ba, "\xFF"_ba},
        {encoding::big5, "\xB8\xEA\xAE\xC6"_ba, "\xA4"_ba},
        {encoding::eucKorean, "\xB5\xA5\xC0\xCC"_ba, "\xFF"_ba},
        {encoding::windows1253, "\xEB\xDC\xE8\xEF\xF2"_ba, "\xD2"_ba},
    };
    std::mt19937 random(11);
    for (const auto& c : cases) {
        for (int round = 0; round < 20; ++round) {
            SCOPED_TRACE(encodingName(c.encoding).toStdString() + " " + std::to_string(round));
            const DamagedLog log(random, c.word, c.badByte, 1 + static_cast<int>(random() % 300));
            const test::TemporaryFile file(log.content());
            const EncodingChoice choice{EncodingChoice::Kind::Fixed, c.encoding};
            const auto byIndex = LogReader::create(file.url());
            const auto inMemory = InMemoryFileLogReader::create(file.url());
            for (const auto& reader : {byIndex, inMemory}) {
                reader->setEncodingChoice(choice);
                reader->refresh();
            }
            const DisplayLines rows = byIndex->readRows(1, log.bytes.size(), RowLength::Shown);
            ASSERT_EQ(static_cast<qsizetype>(rows.lines.size()), log.bytes.size());
            for (int line = 0; line < log.bytes.size(); ++line) {
                const DisplayLine& row = rows.lines[static_cast<std::size_t>(line)];
                EXPECT_EQ(row.isInvalid, line == log.badLine);
                EXPECT_EQ(row.text, line == log.badLine ? decodeLeniently(log.bytes[line], c.encoding)
                                                        : decodeStrictly(log.bytes[line], c.encoding));
            }
            EXPECT_TRUE(texts(rows)[log.badLine].contains(QChar::ReplacementCharacter));
            EXPECT_EQ(texts(inMemory->readRows(1, log.bytes.size(), RowLength::Whole)), texts(rows));
            EXPECT_EQ(texts(byIndex->readRows(1, log.bytes.size(), RowLength::Whole)), texts(rows));
            const SearchItem number(u"[%1]"_s.arg(log.badLine));
            for (const auto& reader : {byIndex, inMemory}) {
                const auto found =
                    reader->findNextMatch(0, log.bytes.size() - 1, number, [] { return false; });
                EXPECT_TRUE(found && found->row == log.badLine);
            }
        }
    }
}

TEST(Rows, WideLinesEndAtWholeLineFeedsAlsoWhileTheFileGrows) {
    const std::pair<StringEncoding, QStringConverter::Encoding> encodings[] = {
        {encoding::utf16LittleEndian, QStringConverter::Utf16LE},
        {encoding::utf16BigEndian, QStringConverter::Utf16BE},
        {encoding::utf32LittleEndian, QStringConverter::Utf32LE},
        {encoding::utf32BigEndian, QStringConverter::Utf32BE},
    };
    // All but the first hold bytes that look like line feeds and end no line.
    const QStringList words{u"ok "_s, u"\u4E0A\u5E8A"_s, u"\u0A0A"_s, u"\u0A13\u000D"_s, u"\u0A05\u0A00"_s};
    std::mt19937 random(5);
    for (const auto& [number, converter] : encodings) {
        for (const bool hasMark : {true, false}) {
            SCOPED_TRACE(encodingName(number).toStdString() + (hasMark ? " with a mark" : " as chosen"));
            QStringList lines;
            for (int line = 0; line < 300; ++line) {
                lines.append(QString());
                for (auto count = random() % 5; count > 0; --count)
                    lines.back() += words[static_cast<qsizetype>(random() % words.size())];
            }
            const auto flag = hasMark ? QStringConverter::Flag::WriteBom : QStringConverter::Flag::Default;
            const QByteArray bytes = QStringEncoder(converter, flag)(lines.join(u'\n'));
            const test::TemporaryFile file{QByteArray()};
            const auto byIndex = LogReader::create(file.url());
            const auto inMemory = InMemoryFileLogReader::create(file.url());
            for (const auto& reader : {byIndex, inMemory})
                if (!hasMark)
                    reader->setEncodingChoice({EncodingChoice::Kind::Fixed, number});
            for (qsizetype begin = 0, size = 0; begin < bytes.size(); begin += size) {
                size = static_cast<qsizetype>(1 + random() % 99);
                file.append(bytes.mid(begin, size));
                byIndex->refresh();
                inMemory->refresh();
                ASSERT_EQ(byIndex->lineCount(), inMemory->lineCount());
                EXPECT_FALSE(byIndex->isBehind());
            }
            for (const auto& reader : {byIndex, inMemory}) {
                EXPECT_EQ(texts(reader->readRows(1, 300, RowLength::Shown)), lines);
                EXPECT_EQ(texts(reader->readRows(2, 1, RowLength::Whole)), lines.mid(1, 1));
                EXPECT_EQ(reader->readLines(100, 50), lines.mid(99, 50));
                EXPECT_EQ(reader->byteCount(1, 300), static_cast<std::uint64_t>(bytes.size()));
            }
        }
    }
}

TEST(Rows, AChosenWideEncodingFindsItsLinesByANewScan) {
    const QStringList lines = u"\u4E0A\u5E8A\n\u0A0A\n\u5E8A"_s.split(u'\n');
    const test::TemporaryFile file(QStringEncoder(QStringConverter::Utf16BE)(lines.join(u'\n')));
    const auto reader = LogReader::create(file.url());
    reader->refresh();
    reader->setEncodingChoice({EncodingChoice::Kind::Fixed, encoding::windows1252});
    EXPECT_FALSE(reader->needsNewScan());
    reader->setEncodingChoice({EncodingChoice::Kind::Fixed, encoding::utf16BigEndian});
    ASSERT_TRUE(reader->needsNewScan());
    reader->reset();
    reader->refresh();
    EXPECT_EQ(texts(reader->readRows(1, 10, RowLength::Shown)), lines);
    EXPECT_FALSE(reader->needsNewScan());
}

TEST(Rows, OtherContentInTheSameFileIsDetectedAnew) {
    const test::TemporaryFile file("gr\xFC\xDF dich, sch\xF6ne \xDC"
                                   "bung, \xE4rger\n");
    const auto reader = LogReader::create(file.url());
    reader->refresh();
    EXPECT_EQ(texts(reader->readRows(1, 1, RowLength::Shown)),
              QStringList(u"grüß dich, schöne Übung, ärger"_s));
    file.overwrite("ganz anders: öffnen, größer, und so lang, dass die Datei nur gewachsen sein könnte\n");
    reader->refresh();
    EXPECT_EQ(
        texts(reader->readRows(1, 1, RowLength::Shown)),
        QStringList(u"ganz anders: öffnen, größer, und so lang, dass die Datei nur gewachsen sein könnte"_s));
}

TEST(Rows, ALongLineAmongShortOnesIsCutAtItsOwnLength) {
    const qsizetype longest = static_cast<qsizetype>(LogReader::longestShownLine);
    const test::TemporaryFile file("short\n" + QByteArray(70 << 20, 'x') + "\n" + QByteArray(longest, 'y') +
                                   "\n");
    for (const auto& reader : {LogReader::create(file.url()), InMemoryFileLogReader::create(file.url())}) {
        reader->refresh();
        const DisplayLines shown = reader->readRows(1, 3, RowLength::Shown);
        ASSERT_EQ(shown.lines.size(), 3U);
        EXPECT_EQ(shown.lines[0].text, u"short"_s);
        EXPECT_EQ(shown.lines[1].text.size(), longest);
        EXPECT_EQ(shown.lines[1].cutBytes, (70U << 20) - LogReader::longestShownLine);
        EXPECT_EQ(shown.lines[2].cutBytes, 0U) << "a line that is no longer than shown";
    }
}

} // namespace
} // namespace korvane
