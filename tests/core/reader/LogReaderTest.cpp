#include "core/reader/LogReader.h"
#include "core/reader/InMemoryFileLogReader.h"
#include "core/search/SearchItem.h"

#include "support/LogCapture.h"
#include "support/TemporaryFile.h"
#include "support/Waiting.h"

#include <atomic>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <mutex>
#include <thread>
#include <unistd.h>

namespace korvane {

std::ostream& operator<<(std::ostream& out, const LineRange& range) {
    return out << '(' << range.location << ", " << range.length << ')';
}

namespace {

using namespace Qt::StringLiterals;
using test::LogCapture;
using test::TemporaryFile;

/// Notes what it hears; may act on it.
class Listener : public LogReaderDelegate {
public:
    void readerDidStart(std::uint64_t size) override { note(u"start %1"_s.arg(size)); }
    void readerDidReadBytes(std::uint64_t count) override {
        note(u"read %1"_s.arg(count));
        if (onRead)
            onRead(count);
    }
    void readerDidIndexLines(qint64 count) override { note(u"lines %1"_s.arg(count)); }
    void readerDidFinish() override { note(u"finish"_s); }
    void readerDidCancel() override { note(u"cancel"_s); }

    QStringList taken() { return std::exchange(heard_, {}); }
    std::function<void(std::uint64_t)> onRead;

private:
    void note(const QString& what) { heard_.append(what); }
    QStringList heard_;
};

const QString decodingFailed =
    u"Could not parse log data! Please check the file encoding and contact support."_s;

std::shared_ptr<LogReader> loaded(const TemporaryFile& file) {
    auto reader = LogReader::createReader(file.url());
    reader->refresh();
    return reader;
}

QStringList allLines(LogFileReaderProtocol& reader) {
    return reader.readLines(1, reader.lineCount());
}

QStringList shownTexts(const DisplayLines& shown) {
    QStringList texts;
    for (const DisplayLine& line : shown.lines)
        texts.append(line.text);
    return texts;
}

using Numbers = std::vector<std::size_t>;

/// Zero-based, among the lines.
Numbers invalidLines(const DisplayLines& lines) {
    Numbers numbers;
    for (std::size_t i = 0; i < lines.lines.size(); ++i)
        if (lines.lines[i].isInvalid)
            numbers.push_back(i);
    return numbers;
}

// What both readers have in common.

class EveryReader : public ::testing::TestWithParam<std::shared_ptr<LogFileReaderProtocol> (*)(const QUrl&)> {
protected:
    std::shared_ptr<LogFileReaderProtocol> reader(const TemporaryFile& file) {
        return GetParam()(file.url());
    }
};

INSTANTIATE_TEST_SUITE_P(Readers, EveryReader,
                         ::testing::Values(&LogReader::create, &InMemoryFileLogReader::create));

TEST_P(EveryReader, LinesAreWhatStandsBetweenLineFeeds) {
    const struct {
        QByteArray content;
        QStringList lines;
    } cases[] = {
        {"", {u""_s}},
        {"\n", {u""_s, u""_s}},
        {"a\nb\n", {u"a"_s, u"b"_s, u""_s}},
        {"a\r\nb", {u"a\r"_s, u"b"_s}},
        {"a\n\n\nb", {u"a"_s, u""_s, u""_s, u"b"_s}},
        {"\xEF\xBB\xBFgr\xC3\xBC\xC3\x9F\nb", {u"grüß"_s, u"b"_s}},
        {QByteArray(70'000, 'x') + "\n" + QByteArray(300'000, 'y') + "\nz",
         {QString(70'000, u'x'), QString(300'000, u'y'), u"z"_s}},
    };
    for (const auto& c : cases) {
        const TemporaryFile file(c.content);
        const auto reader = this->reader(file);
        reader->refresh();
        EXPECT_EQ(reader->lineCount(), c.lines.size()) << c.content.left(20).toStdString();
        EXPECT_EQ(reader->readLines(1, 10), c.lines) << c.content.left(20).toStdString();
        EXPECT_EQ(shownTexts(reader->readRows(1, 10, RowLength::Shown)), c.lines)
            << c.content.left(20).toStdString();
        EXPECT_EQ(reader->byteCount(1, 10), static_cast<std::uint64_t>(c.content.size()));
    }
}

TEST_P(EveryReader, RequestsAreClampedToTheLinesThereAre) {
    const TemporaryFile file("a\nb\nc\nd");
    const auto reader = this->reader(file);
    reader->refresh();
    const qint64 least = std::numeric_limits<qint64>::min();
    const qint64 most = std::numeric_limits<qint64>::max();
    const struct {
        qint64 start;
        qint64 count;
        QStringList expected;
        std::uint64_t bytes;
    } cases[] = {
        {1, 2, {u"a"_s, u"b"_s}, 4},
        {2, 2, {u"b"_s, u"c"_s}, 4},
        {3, 5, {u"c"_s, u"d"_s}, 3},
        {0, 1, {u"a"_s}, 2},
        {-7, 2, {u"a"_s, u"b"_s}, 4},
        {11, 5, {u"d"_s}, 1},
        {2, 0, {}, 0},
        {3, -2, {u"c"_s}, 2},
        {4, -1, {u"d"_s}, 1},
        {2, least, {u"b"_s}, 2},
        {least, most, {u"a"_s, u"b"_s, u"c"_s, u"d"_s}, 7},
        {most, most, {u"d"_s}, 1},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(reader->readLines(c.start, c.count), c.expected) << c.start << ", " << c.count;
        EXPECT_EQ(shownTexts(reader->readRows(c.start, c.count, RowLength::Shown)), c.expected)
            << c.start << ", " << c.count;
        EXPECT_EQ(reader->byteCount(c.start, c.count), c.bytes) << c.start << ", " << c.count;
    }
}

TEST_P(EveryReader, GrowthReportsTheOldLastLineAndTheNewOnes) {
    const TemporaryFile file("a\nb");
    const auto reader = this->reader(file);
    EXPECT_EQ(reader->refresh(), (LineRange{0, 2}));
    EXPECT_EQ(reader->refresh(), (LineRange{1, 0})) << "nothing happened";
    file.append("c\n");
    EXPECT_EQ(reader->refresh(), (LineRange{1, 2}));
    EXPECT_EQ(allLines(*reader), (QStringList{u"a"_s, u"bc"_s, u""_s}));
    file.append("d");
    EXPECT_EQ(reader->refresh(), (LineRange{2, 1}));
    EXPECT_EQ(allLines(*reader), (QStringList{u"a"_s, u"bc"_s, u"d"_s}));
}

TEST_P(EveryReader, AnEmptyFileReportsNothingUntilItGrows) {
    const TemporaryFile file("");
    const auto reader = this->reader(file);
    EXPECT_EQ(reader->refresh(), (LineRange{0, 0}));
    EXPECT_EQ(reader->refresh(), (LineRange{0, 0}));
    EXPECT_EQ(reader->readLines(1, 10), QStringList{u""_s});
    EXPECT_EQ(reader->fileEncoding(), encoding::unknown) << "no bytes, nothing to tell the encoding by";
    file.append("\xC3\xA4\n");
    EXPECT_EQ(reader->refresh(), (LineRange{0, 2}));
    EXPECT_EQ(allLines(*reader), (QStringList{u"ä"_s, u""_s}));
}

TEST_P(EveryReader, AShrunkenFileStartsOver) {
    const TemporaryFile file("one\ntwo\nthree\n");
    const auto reader = this->reader(file);
    reader->refresh();
    file.overwrite("x\ny");
    EXPECT_EQ(reader->refresh(), (LineRange{0, 2}));
    EXPECT_EQ(allLines(*reader), (QStringList{u"x"_s, u"y"_s}));
    file.truncate(0);
    reader->refresh();
    EXPECT_EQ(reader->lineCount(), 1);
    EXPECT_EQ(allLines(*reader), QStringList{u""_s});
}

TEST_P(EveryReader, ManyAppendsGiveWhatOneReadGives) {
    const TemporaryFile file("");
    const auto reader = this->reader(file);
    QByteArray content;
    for (int i = 0; i < 300; ++i) {
        const QByteArray piece = i % 3 == 0   ? "line " + QByteArray::number(i) + "\n"
                                 : i % 3 == 1 ? QByteArray("\xC3")
                                              : QByteArray("\xBC\n\n").left(1 + i % 4);
        content += piece;
        file.append(piece);
        reader->refresh();
    }
    EXPECT_EQ(allLines(*reader), QString::fromUtf8(content).split(u'\n'));
}

TEST_P(EveryReader, ScansReportInStepsOf2048Bytes) {
    QByteArray content(3000, 'x');
    content[10] = content[2047] = content[2048] = '\n';
    const TemporaryFile file(content);
    const auto reader = this->reader(file);
    const auto listener = std::make_shared<Listener>();
    reader->setDelegate(listener);
    reader->refresh();
    EXPECT_EQ(listener->taken(), (QStringList{u"start 3000"_s, u"read 2048"_s, u"lines 2"_s, u"lines 3"_s,
                                              u"read 952"_s, u"lines 4"_s, u"read 0"_s, u"finish"_s}));
    reader->refresh();
    EXPECT_EQ(listener->taken(), (QStringList{u"start 3000"_s, u"finish"_s}));
    file.append("\n");
    reader->refresh();
    EXPECT_EQ(listener->taken(),
              (QStringList{u"start 3001"_s, u"read 1"_s, u"lines 5"_s, u"read 0"_s, u"finish"_s}));
}

TEST_P(EveryReader, ACancelStopsAtTheNextStepAndHoldsUntilAReset) {
    const TemporaryFile file(QByteArray("0123456\n").repeated(100'000));
    const auto reader = this->reader(file);
    const auto listener = std::make_shared<Listener>();
    int steps = 0;
    listener->onRead = [&](std::uint64_t) {
        if (++steps == 40) // within the second block that is fetched
            reader->cancel();
    };
    reader->setDelegate(listener);
    EXPECT_EQ(reader->refresh(), LineRange{});
    const QStringList heard = listener->taken();
    EXPECT_EQ(heard.last(), u"cancel"_s);
    EXPECT_EQ(heard.count(u"read 2048"_s), 40);
    EXPECT_EQ(heard.count(u"cancel"_s), 1);
    EXPECT_FALSE(heard.contains(u"finish"_s));
    EXPECT_EQ(reader->lineCount(), 40 * 2048 / 8 + 1) << "what was found stays";
    EXPECT_EQ(reader->readLines(1, 1), QStringList());
    EXPECT_EQ(reader->fileSize(), 0U);
    EXPECT_EQ(reader->refresh(), LineRange{});
    EXPECT_EQ(listener->taken(), QStringList{u"cancel"_s});

    reader->reset();
    EXPECT_EQ(reader->refresh(), (LineRange{0, 100'001}));
    EXPECT_EQ(reader->readLines(100'000, 2), (QStringList{u"0123456"_s, u""_s}));
}

TEST_P(EveryReader, ACancelDuringARescanIsNoShrunkenFile) {
    const TemporaryFile file(QByteArray("0123456\n").repeated(5'000));
    const auto reader = this->reader(file);
    reader->refresh();
    const auto listener = std::make_shared<Listener>();
    reader->setDelegate(listener);
    listener->onRead = [&](std::uint64_t) { reader->cancel(); };
    file.truncate(20'000); // the rescan's reset must not forget the cancel either
    EXPECT_EQ(reader->refresh(), LineRange{});
    EXPECT_EQ(listener->taken().last(), u"cancel"_s);
    EXPECT_EQ(reader->refresh(), LineRange{});
}

TEST_P(EveryReader, ClosingStopsAScanAndLaterCallsAreHarmless) {
    const TemporaryFile file(QByteArray("0123456\n").repeated(100'000));
    const auto reader = this->reader(file);
    const auto listener = std::make_shared<Listener>();
    reader->setDelegate(listener);
    listener->onRead = [&](std::uint64_t) { reader->close(); };
    EXPECT_EQ(reader->refresh(), LineRange{});
    EXPECT_EQ(listener->taken().filter(u"read"_s).size(), 1);
    listener->onRead = nullptr;
    const qint64 known = reader->lineCount();
    reader->refresh();
    EXPECT_EQ(reader->lineCount(), known) << "a closed file has not shrunk";
    EXPECT_EQ(reader->fileSize(), 0U);
}

TEST_P(EveryReader, AMissingFileStaysInert) {
    const auto reader = GetParam()(QUrl(u"file:///nowhere/at/all.log"_s));
    EXPECT_EQ(reader->refresh(), LineRange{});
    EXPECT_EQ(reader->lineCount(), 1);
    EXPECT_EQ(reader->readLines(1, 5).join(u""_s), QString());
}

TEST_P(EveryReader, WideEncodingsSplitAtWholeNewlines) {
    const QString text = u"eins\nzwei mit 😀\ndrei\n"_s.repeated(100);
    for (const bool little : {true, false}) {
        QByteArray bytes;
        for (const QChar unit : text) {
            const char low = static_cast<char>(unit.unicode() & 0xFF);
            const char high = static_cast<char>(unit.unicode() >> 8);
            bytes += little ? QByteArray{}.append(low).append(high) : QByteArray{}.append(high).append(low);
        }
        const TemporaryFile file(bytes);
        const auto reader = this->reader(file);
        reader->refresh();
        // A page from the middle decides the encoding.
        EXPECT_EQ(reader->readLines(101, 3), text.split(u'\n').mid(100, 3)) << little;
        EXPECT_EQ(allLines(*reader), text.split(u'\n')) << little;
        EXPECT_EQ(reader->fileEncoding(), little ? encoding::utf16LittleEndian : encoding::utf16BigEndian);
    }
}

TEST_P(EveryReader, LinesPublishedDuringAScanCanBeRead) {
    QByteArray content;
    for (int i = 1; i <= 60'000; ++i)
        content += "line " + QByteArray::number(i) + "\n";
    const TemporaryFile file(content);
    const auto reader = this->reader(file);
    std::atomic<bool> done{false};
    std::atomic<qint64> highest{0};
    std::thread viewer([&] {
        while (!done) {
            const qint64 count = reader->lineCount();
            if (count < 2 || count > 60'000)
                continue;
            ASSERT_EQ(reader->readLines(count, 1), QStringList{u"line %1"_s.arg(count)});
            highest = count;
        }
    });
    // The scan goes on when the viewer has read something of it.
    const auto listener = std::make_shared<Listener>();
    std::uint64_t readBytes = 0;
    listener->onRead = [&](std::uint64_t count) {
        readBytes += count;
        if (readBytes == 200 * 2048) {
            EXPECT_TRUE(test::waitFor([&] { return highest > 0; })) << "nothing is published during the scan";
        }
    };
    reader->setDelegate(listener);
    EXPECT_EQ(reader->refresh(), (LineRange{0, 60'001}));
    done = true;
    viewer.join();
}

TEST_P(EveryReader, LongLinesAreCutAtACharacterForTheScreen) {
    const auto longest = static_cast<qsizetype>(LogReader::longestShownLine);
    // The limit falls into the two-byte character.
    const QByteArray tooLong = QByteArray(longest - 1, 'a') + "\xC3\xBC" + QByteArray(99, 'b');
    const TemporaryFile file("first\nsecond\n" + tooLong + "\n" + QByteArray(longest, 'c') + "\nlast\n");
    const auto reader = this->reader(file);
    reader->refresh();
    const DisplayLines shown = reader->readRows(1, 10, RowLength::Shown);
    ASSERT_EQ(shown.lines.size(), 6U);
    EXPECT_EQ(shownTexts(shown).first(2), (QStringList{u"first"_s, u"second"_s}));
    EXPECT_EQ(shown.lines[2].text.left(longest - 1), QString(longest - 1, u'a'));
    const auto shownBytes = static_cast<std::uint64_t>(shown.lines[2].text.toUtf8().size());
    EXPECT_EQ(shownBytes + shown.lines[2].cutBytes, static_cast<std::uint64_t>(tooLong.size()));
    EXPECT_FALSE(shown.lines[2].text.contains(QChar::ReplacementCharacter));
    EXPECT_EQ(shown.lines[3].text, QString(longest, u'c'));
    EXPECT_EQ(shown.lines[3].cutBytes, 0U);
    EXPECT_EQ(shown.lines[4].text, u"last"_s);
    EXPECT_EQ(reader->readLines(3, 1), QStringList{QString::fromUtf8(tooLong)}) << "the line itself is whole";
}

TEST_P(EveryReader, ACharacterThatIsStillBeingWrittenTakesNothingElseAway) {
    const TemporaryFile file("one\nfür\nfor 日");
    const auto reader = this->reader(file);
    reader->refresh();
    for (const QByteArray cut : {"\xE6", "\x97", "\xA5\xF0\x9F", "\x98", "\x80\n\xC3", "\xBC"}) {
        file.append(cut);
        reader->refresh();
        const DisplayLines shown = reader->readRows(1, 10, RowLength::Shown);
        EXPECT_EQ(invalidLines(shown), Numbers());
        ASSERT_GE(shown.lines.size(), 3U) << cut.toHex().constData();
        EXPECT_EQ(shown.lines[1].text, u"für"_s);
        EXPECT_FALSE(shownTexts(shown).join(u'\n').contains(QChar::ReplacementCharacter));
        EXPECT_EQ(reader->readLines(1, 10), shownTexts(shown));
        const auto found = reader->findNextMatch(2, 3, SearchItem(u"FOR"_s), [] { return false; });
        EXPECT_TRUE(found && found->row == 2) << cut.toHex().constData();
    }
    EXPECT_EQ(reader->readLines(3, 2), (QStringList{u"for 日日😀"_s, u"ü"_s}));
}

// The reader that keeps only offsets.

TEST(LogReader, WhatIsAppendedDuringAScanCountsOnce) {
    const TemporaryFile file("a\nb\n");
    const auto reader = LogReader::createReader(file.url());
    const auto listener = std::make_shared<Listener>();
    listener->onRead = [&, appended = false](std::uint64_t) mutable {
        if (!std::exchange(appended, true))
            file.append("c\nd\n");
    };
    reader->setDelegate(listener);
    EXPECT_EQ(reader->refresh(), (LineRange{0, 5}));
    listener->onRead = nullptr;
    listener->taken();
    EXPECT_EQ(reader->refresh(), (LineRange{2, 3})) << "from the end that the first scan had measured";
    EXPECT_EQ(listener->taken(),
              (QStringList{u"start 8"_s, u"read 4"_s, u"lines 4"_s, u"lines 5"_s, u"read 0"_s, u"finish"_s}));
    EXPECT_EQ(allLines(*reader), (QStringList{u"a"_s, u"b"_s, u"c"_s, u"d"_s, u""_s}));
}

/// A reader of "a\nb\n" during whose first scan `appended` came.
struct OvertakenReader {
    explicit OvertakenReader(const QByteArray& appended) {
        listener->onRead = [this, appended, isFirst = true](std::uint64_t) mutable {
            if (std::exchange(isFirst, false))
                file.append(appended);
        };
        reader->setDelegate(listener);
        reader->refresh();
        listener->onRead = nullptr;
    }

    const TemporaryFile file{"a\nb\n"};
    const std::shared_ptr<LogReader> reader = LogReader::createReader(file.url());
    const std::shared_ptr<Listener> listener = std::make_shared<Listener>();
};

TEST(LogReader, WhatIsAppendedDuringAScanCanBeReadBeforeAndDuringTheNext) {
    const OvertakenReader overtaken("c\nd\n");
    LogReader& reader = *overtaken.reader;
    const QStringList lines{u"a"_s, u"b"_s, u"c"_s, u"d"_s, u""_s};
    EXPECT_EQ(reader.readLines(4, 2), lines.mid(3));
    const auto found = reader.findNextMatch(0, 4, SearchItem(u"d"_s), [] { return false; });
    EXPECT_TRUE(found && found->row == 3);
    EXPECT_EQ(reader.byteCount(1, 5), 8U);
    int looks = 0;
    overtaken.listener->onRead = [&](std::uint64_t) {
        ++looks;
        EXPECT_EQ(reader.readLines(1, 5), lines)
            << "lines that were there are gone while they are scanned again";
    };
    reader.refresh();
    EXPECT_EQ(looks, 2);
    EXPECT_EQ(allLines(reader), lines);
}

TEST(LogReader, AFileCutBackToWhereAScanWasOvertakenLosesItsLines) {
    for (const auto& [size, lines] : {std::pair(4, QStringList{u"a"_s, u"b"_s, u""_s}),
                                      std::pair(6, QStringList{u"a"_s, u"b"_s, u"c"_s, u""_s}),
                                      std::pair(7, QStringList{u"a"_s, u"b"_s, u"c"_s, u"d"_s})}) {
        const OvertakenReader overtaken("c\nd\n");
        overtaken.file.truncate(size);
        EXPECT_EQ(overtaken.reader->refresh(), (LineRange{2, lines.size() - 2})) << size;
        EXPECT_EQ(allLines(*overtaken.reader), lines) << size;
    }
}

TEST(LogReader, OtherBytesWhereAScanWasOvertakenAreIndexedAgain) {
    const OvertakenReader overtaken("c\nd\ne\n");
    overtaken.file.overwrite("a\nb\nxyz\ne\nf\n");
    EXPECT_EQ(overtaken.reader->refresh(), (LineRange{2, 4}));
    EXPECT_EQ(allLines(*overtaken.reader), (QStringList{u"a"_s, u"b"_s, u"xyz"_s, u"e"_s, u"f"_s, u""_s}));
}

TEST(LogReader, TheFirstBytesReadDecideTheEncoding) {
    const QByteArray latin1 = "Gr\xFC\xDF"
                              "e aus K\xF6ln, die Verbindung wurde geschlossen und kann nicht ge\xF6"
                              "ffnet werden";
    const TemporaryFile file("\n" + latin1 + "\nplain\n");
    const auto reader = loaded(file);
    const LogCapture log;
    EXPECT_EQ(reader->readLines(1, 1), QStringList{u""_s});
    EXPECT_EQ(reader->fileEncoding(), encoding::unknown);
    EXPECT_EQ(reader->readLines(2, 1), QStringList{QString::fromLatin1(latin1)});
    EXPECT_EQ(reader->readLines(3, 1), QStringList{u"plain"_s});
    EXPECT_EQ(log.lines(), QStringList{u"Detected file encoding: 5 - name = Western (ISO Latin 1)"_s});
    reader->reset();
    EXPECT_EQ(reader->fileEncoding(), encoding::isoLatin1) << "a reset does not forget it";
}

TEST(LogReader, BytesThatAreNoTextAreSaidInTheLog) {
    const TemporaryFile file("plain\nbad \xFF\xFF\nt\xC3\xBC\xC3\xBCr\n");
    const auto reader = loaded(file);
    EXPECT_EQ(reader->readLines(1, 1), QStringList{u"plain"_s});
    const LogCapture log;
    EXPECT_EQ(reader->readLines(2, 1), QStringList());
    EXPECT_EQ(log.lines(), (QStringList{u"-- Error parsing String with detected encoding: 4. Trying UTF-8"_s,
                                        decodingFailed}));
    const DisplayLines shown = reader->readRows(1, 4, RowLength::Shown);
    EXPECT_EQ(shownTexts(shown), (QStringList{u"plain"_s, u"bad \uFFFD\uFFFD"_s, u"tüür"_s, u""_s}));
    EXPECT_EQ(invalidLines(shown), Numbers{1});

    reader->setEncodingChoice({EncodingChoice::Kind::LenientUtf8});
    EXPECT_EQ(reader->readLines(2, 2), (QStringList{u"bad \uFFFD\uFFFD"_s, u"tüür"_s}));
    reader->setEncodingChoice({EncodingChoice::Kind::Fixed, encoding::isoLatin1});
    EXPECT_EQ(reader->fileEncoding(), encoding::isoLatin1);
    EXPECT_EQ(reader->readLines(2, 1), QStringList{u"bad ÿÿ"_s});
    reader->setEncodingChoice({EncodingChoice::Kind::Fixed, encoding::ascii});
    const qsizetype before = log.lines().size();
    EXPECT_EQ(reader->readLines(3, 1), QStringList()) << "a chosen encoding is not replaced by another";
    EXPECT_EQ(log.lines().mid(before), QStringList{decodingFailed});
    reader->setEncodingChoice({});
    EXPECT_EQ(reader->fileEncoding(), encoding::utf8);
}

TEST(LogReader, AnotherEncodingThanTheDetectedOneIsTriedAsUtf8) {
    const QByteArray shiftJis =
        "ERROR \x83\x66\x81\x5b\x83\x5e\x83\x78\x81\x5b\x83\x58\x82\xc9\x90\xda\x91\xb1\x82\xc5\x82\xab\x82"
        "\xdc\x82\xb9\x82\xf1";
    const TemporaryFile file(shiftJis + "\n\xF0\x9F\x98\x80\n");
    const auto reader = loaded(file);
    EXPECT_EQ(reader->readLines(1, 1), QStringList{u"ERROR データベースに接続できません"_s});
    const LogCapture log;
    EXPECT_EQ(reader->readLines(2, 1), QStringList{u"😀"_s});
    EXPECT_EQ(log.lines(), QStringList{u"-- Error parsing String with detected encoding: 8. Trying UTF-8"_s});
    EXPECT_EQ(reader->fileEncoding(), encoding::shiftJis);
}

TEST(LogReader, TheMarkOfTheFileHoldsForAChosenEncodingOnEveryPage) {
    const TemporaryFile file(QByteArray("\xFF\xFE"
                                        "a\0\n\0b\0\n\0",
                                        10));
    const auto reader = loaded(file);
    reader->setEncodingChoice({EncodingChoice::Kind::Fixed, encoding::utf16});
    EXPECT_EQ(reader->readLines(1, 1), QStringList{u"a"_s});
    EXPECT_EQ(reader->readLines(2, 1), QStringList{u"b"_s});
}

TEST(LogReader, AnUndetectableEncodingIsUtf8) {
    const LogCapture log;
    const auto reader = LogReader::createReader(QUrl(u"file:///nowhere"_s));
    EXPECT_EQ(reader->detectEncoding(QByteArrayView()), encoding::utf8);
    EXPECT_EQ(log.lines(),
              QStringList{u"Could not detect file encoding - returning default UTF-8 encoding"_s});
}

TEST(LogReader, FirstLinesAndTheOneLastLine) {
    const TemporaryFile file("a\nb\nc");
    const auto reader = loaded(file);
    EXPECT_EQ(reader->readFirstLines(2), (QStringList{u"a"_s, u"b"_s}));
    EXPECT_EQ(reader->readFirstLines(-3), QStringList{u"a"_s});
    EXPECT_EQ(reader->readLastLines(2), QStringList{u"c"_s});
    EXPECT_EQ(reader->readLastLines(0), QStringList{u"c"_s});
}

TEST(LogReader, AHugeLineIsShownWithoutReadingIt) {
    // Mostly a hole.
    const TemporaryFile file("start ");
    constexpr std::uint64_t size = 300 << 20;
    file.truncate(size);
    file.append("\nend");
    const auto reader = loaded(file);
    ASSERT_EQ(reader->lineCount(), 2);
    const DisplayLines shown = reader->readRows(1, 2, RowLength::Shown);
    ASSERT_EQ(shown.lines.size(), 2U);
    EXPECT_EQ(shown.lines[0].text.size(), static_cast<qsizetype>(LogReader::longestShownLine));
    EXPECT_TRUE(shown.lines[0].text.startsWith(u"start "_s));
    EXPECT_EQ(shown.lines[0].cutBytes, size - LogReader::longestShownLine);
    EXPECT_EQ(shown.lines[1].text, u"end"_s);
    EXPECT_EQ(reader->byteCount(1, 1), size + 1);
}

TEST(LogReader, ACutLineInAnyEncodingEndsWithAWholeCharacter) {
    const auto longest = static_cast<qsizetype>(LogReader::longestShownLine);
    const struct {
        StringEncoding encoding;
        QByteArray line;
        QString end;
        std::uint64_t cut;
    } cases[] = {
        {encoding::shiftJis, QByteArray(longest - 1, 'a') + "\x83\x66zz", u"aa"_s, 4},
        {encoding::isoLatin1, QByteArray(longest - 1, 'a') + "\xE4zz", u"aä"_s, 2},
        {encoding::utf16BigEndian,
         QByteArray("\0a", 2).repeated(longest / 2 - 1) + QByteArray("\xD8\x3D\xDE\x00", 4), u"aa"_s, 4},
        {encoding::gb18030, QByteArray(longest - 3, 'a') + "\x94\x39\xDA\x33", u"aa"_s, 4},
    };
    for (const auto& c : cases) {
        const TemporaryFile file(c.line);
        const auto reader = loaded(file);
        reader->setEncodingChoice({EncodingChoice::Kind::Fixed, c.encoding});
        const DisplayLines shown = reader->readRows(1, 1, RowLength::Shown);
        ASSERT_EQ(shown.lines.size(), 1U) << c.encoding;
        EXPECT_EQ(shown.lines[0].text.right(2), c.end) << c.encoding;
        EXPECT_EQ(shown.lines[0].cutBytes, c.cut) << c.encoding;
    }
}

TEST(LogReader, AReadErrorIsNoSilentEndOfFile) {
    // The kernel refuses to read one's own memory at address 0.
    const auto reader = LogReader::createReader(QUrl(u"file:///proc/self/mem"_s));
    const LogCapture log;
    reader->indexLines();
    ASSERT_EQ(log.lines().size(), 1);
    EXPECT_TRUE(log.lines().front().contains(u"/proc/self/mem"_s)) << log.lines().front().toStdString();
    EXPECT_EQ(reader->lineCount(), 1);
}

TEST(LogReader, PagesScansAndEncodingFromManyThreads) {
    const TemporaryFile file("");
    const auto reader = LogReader::createReader(file.url());
    std::atomic<bool> done{false};
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    threads.emplace_back([&] {
        for (int i = 1; i <= 400; ++i)
            file.append("ünit " + QByteArray::number(i) + "\n");
        done = true;
    });
    threads.emplace_back([&] {
        while (!done)
            reader->refresh();
    });
    for (int t = 0; t < 2; ++t)
        threads.emplace_back([&] {
            while (!done) {
                reader->refresh();
                const QStringList lines = reader->readLines(1, 1000);
                for (int i = 0; i + 1 < lines.size(); ++i)
                    wrong += lines[i] != u"ünit %1"_s.arg(i + 1);
                reader->byteCount(1, 10);
                reader->fileEncoding();
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    reader->refresh();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(reader->lineCount(), 401);
    EXPECT_EQ(reader->readLastLines(1), QStringList{u""_s});
    EXPECT_EQ(reader->readLines(400, 1), QStringList{u"ünit 400"_s});
}

// The reader that keeps the text.

TEST(InMemoryFileLogReader, HoldsNothingBeforeItHasLoaded) {
    const TemporaryFile file("a\n");
    const auto reader = InMemoryFileLogReader::create(file.url());
    EXPECT_EQ(reader->lineCount(), 0);
    EXPECT_EQ(reader->readLines(1, 1), QStringList());
}

TEST(InMemoryFileLogReader, KeepsItsLinesWhenTheFileIsClosed) {
    const TemporaryFile file("a\nb");
    const auto reader = InMemoryFileLogReader::create(file.url());
    reader->refresh();
    reader->close();
    EXPECT_EQ(reader->readLines(2, 1), QStringList{u"b"_s});
}

TEST(InMemoryFileLogReader, ALineThatIsNoTextTakesNoOtherWithIt) {
    const TemporaryFile file(
        "pl\xC3\xA4in\nt\xC3\xBCr \xC3\xBC \xFF\nm\xC3\xB6re\nlast \xFF\xFF\xFF\xFF\xFF");
    const auto reader = InMemoryFileLogReader::create(file.url());
    const LogCapture log;
    reader->refresh();
    EXPECT_EQ(reader->readLines(1, 9), (QStringList{u"pläin"_s, u""_s, u"möre"_s, u""_s}));
    EXPECT_EQ(log.lines().count(decodingFailed), 1) << "once for the block";
}

TEST(InMemoryFileLogReader, WhatIsAppendedDuringAScanWaitsForTheNext) {
    const TemporaryFile file("a\nb");
    const auto reader = InMemoryFileLogReader::create(file.url());
    const auto listener = std::make_shared<Listener>();
    listener->onRead = [&, appended = false](std::uint64_t) mutable {
        if (!std::exchange(appended, true))
            file.append("c\nd");
    };
    reader->setDelegate(listener);
    EXPECT_EQ(reader->refresh(), (LineRange{0, 2}));
    EXPECT_EQ(reader->readLines(1, 9), (QStringList{u"a"_s, u"b"_s}));
    EXPECT_EQ(reader->refresh(), (LineRange{1, 2}));
    EXPECT_EQ(reader->readLines(1, 9), (QStringList{u"a"_s, u"bc"_s, u"d"_s}));
}

} // namespace
} // namespace korvane
