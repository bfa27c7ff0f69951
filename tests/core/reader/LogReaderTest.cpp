#include "core/reader/LogReader.h"
#include "core/reader/InMemoryFileLogReader.h"
#include "core/search/SearchItem.h"

#include "support/FaultyReads.h"
#include "support/LogCapture.h"
#include "support/NumberedLines.h"
#include "support/TemporaryFile.h"
#include "support/Waiting.h"

#include <QStringConverter>

#include <atomic>
#include <random>
#include <set>
#include <thread>

namespace korvane {

std::ostream& operator<<(std::ostream& out, const LineRange& range) {
    return out << '(' << range.location << ", " << range.length << ')';
}

namespace {

using namespace Qt::StringLiterals;
using test::FaultyReads;
using test::LogCapture;
using test::TemporaryFile;
using Kind = EncodingChoice::Kind;

/// Records the calls; may act on them.
class Listener : public LogReaderDelegate {
public:
    void readerDidStart(std::uint64_t size) override { calls_.append(u"start %1"_s.arg(size)); }
    void readerDidReadBytes(std::uint64_t count) override {
        calls_.append(u"read %1"_s.arg(count));
        if (onRead)
            onRead(++reads_);
    }
    void readerDidIndexLines(qint64 count) override { calls_.append(u"lines %1"_s.arg(count)); }
    void readerDidForgetLines() override { calls_.append(u"forget"_s); }
    void readerDidFinish() override { calls_.append(u"finish"_s); }
    void readerDidCancel() override { calls_.append(u"cancel"_s); }

    QStringList taken() { return std::exchange(calls_, {}); }
    /// Called at each step with the number of steps so far.
    std::function<void(int)> onRead;

private:
    QStringList calls_;
    int reads_ = 0;
};

QStringList texts(const DisplayLines& rows) {
    QStringList result;
    for (const DisplayLine& line : rows.lines)
        result.append(line.text);
    return result;
}

/// Zero-based positions among the rows.
std::vector<std::size_t> invalidLines(const DisplayLines& rows) {
    std::vector<std::size_t> numbers;
    for (std::size_t i = 0; i < rows.lines.size(); ++i)
        if (rows.lines[i].isInvalid)
            numbers.push_back(i);
    return numbers;
}

const QString decodingFailed =
    u"Could not parse log data! Please check the file encoding and contact support."_s;
constexpr auto longest = static_cast<qsizetype>(RowReader::longestShownLine);

/// One reader of one file. Every test runs with the disk reader and with the in-memory reader.
class LogReaderTest
    : public ::testing::TestWithParam<std::shared_ptr<LogFileReaderProtocol> (*)(const QUrl&)> {
protected:
    ~LogReaderTest() override { FaultyReads::failFrom(0, 0); }

    void open(const QByteArray& content, EncodingChoice choice = {}) {
        file_.emplace(content);
        reader_ = GetParam()(file_->url());
        reader_->setEncodingChoice(choice);
        listener_ = std::make_shared<Listener>();
        reader_->setDelegate(listener_);
    }
    void load(const QByteArray& content, EncodingChoice choice = {}) {
        open(content, choice);
        reader_->refresh();
        listener_->taken();
    }
    LineRange refreshAfterAppending(const QByteArray& bytes) {
        file_->append(bytes);
        return reader_->refresh();
    }
    /// Runs `act` at the given step of later scans.
    void atStep(int step, std::function<void()> act) {
        listener_->onRead = [step, act = std::move(act)](int number) {
            if (number == step)
                act();
        };
    }
    /// Scans "a\nb\n" while more is appended.
    void loadOvertaken(const QByteArray& appended) {
        open("a\nb\n");
        atStep(1, [this, appended] { file_->append(appended); });
        EXPECT_EQ(reader_->refresh().location, 0);
        listener_->onRead = nullptr;
        listener_->taken();
    }
    bool isInMemory() const { return GetParam() == &InMemoryFileLogReader::create; }

    QStringList lines() { return reader_->readLines(1, reader_->lineCount()); }
    DisplayLines rows(qint64 start = 1, qint64 count = 1000, RowLength length = RowLength::Shown) {
        return reader_->readRows(start, count, length);
    }
    qint64 rowOf(const QString& text) {
        const auto found =
            reader_->findNextMatch(0, reader_->lineCount() - 1, SearchItem(text), [] { return false; });
        return found ? found->row : -1;
    }

    std::optional<TemporaryFile> file_;
    std::shared_ptr<LogFileReaderProtocol> reader_;
    std::shared_ptr<Listener> listener_;
};

INSTANTIATE_TEST_SUITE_P(Readers, LogReaderTest,
                         ::testing::Values(&LogReader::create, &InMemoryFileLogReader::create),
                         [](const auto& test) { return std::string(test.index == 0 ? "Disk" : "Memory"); });

TEST_P(LogReaderTest, LinesAreTheTextBetweenLineFeeds) {
    const std::pair<QByteArray, QStringList> cases[] = {
        {"", {u""_s}},
        {"\n", {u""_s, u""_s}},
        {"a\nb\n", {u"a"_s, u"b"_s, u""_s}},
        {"a\r\nb", {u"a\r"_s, u"b"_s}},
        {"a\n\n\nb", {u"a"_s, u""_s, u""_s, u"b"_s}},
        {"\xEF\xBB\xBFgr\xC3\xBC\xC3\x9F\nb", {u"grüß"_s, u"b"_s}},
        {QByteArray(70'000, 'x') + "\n" + QByteArray(300'000, 'y') + "\nz",
         {QString(70'000, u'x'), QString(300'000, u'y'), u"z"_s}},
    };
    for (const auto& [content, lines] : cases) {
        SCOPED_TRACE(content.left(20).toStdString());
        load(content);
        EXPECT_EQ(reader_->lineCount(), lines.size());
        EXPECT_EQ(reader_->readLines(1, 10), lines);
        EXPECT_EQ(texts(rows()), lines);
        EXPECT_EQ(reader_->byteCount(1, 10), static_cast<std::uint64_t>(content.size()));
    }
}

TEST_P(LogReaderTest, RequestsAreClampedToTheLinesThereAre) {
    load("a\nb\nc\nd");
    const qint64 least = std::numeric_limits<qint64>::min();
    const qint64 most = std::numeric_limits<qint64>::max();
    const std::tuple<qint64, qint64, QStringList, std::uint64_t> cases[] = {
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
    for (const auto& [start, count, expected, bytes] : cases) {
        EXPECT_EQ(reader_->readLines(start, count), expected) << start << ", " << count;
        EXPECT_EQ(texts(rows(start, count)), expected) << start << ", " << count;
        EXPECT_EQ(reader_->byteCount(start, count), bytes) << start << ", " << count;
    }
    const auto reader = std::dynamic_pointer_cast<LogReader>(reader_);
    EXPECT_EQ(reader->readFirstLines(2), (QStringList{u"a"_s, u"b"_s}));
    EXPECT_EQ(reader->readFirstLines(-3), QStringList{u"a"_s});
    EXPECT_EQ(reader->readLastLines(2), QStringList{u"d"_s});
    EXPECT_EQ(reader->readLastLines(0), QStringList{u"d"_s});
}

// ---- Files that change ----

TEST_P(LogReaderTest, GrowthReportsTheOldLastLineAndTheNewOnes) {
    open("");
    const std::tuple<QByteArray, LineRange, QStringList> steps[] = {
        {"", {0, 0}, {u""_s}},
        {"a\nb", {0, 2}, {u"a"_s, u"b"_s}},
        {"", {1, 0}, {u"a"_s, u"b"_s}},
        {"c\n", {1, 2}, {u"a"_s, u"bc"_s, u""_s}},
        {"\xC3\xA4", {2, 1}, {u"a"_s, u"bc"_s, u"ä"_s}},
        {"\n", {2, 2}, {u"a"_s, u"bc"_s, u"ä"_s, u""_s}},
    };
    for (const auto& [appended, changed, expected] : steps) {
        EXPECT_EQ(refreshAfterAppending(appended), changed) << appended.toStdString();
        EXPECT_EQ(lines(), expected) << appended.toStdString();
    }
}

TEST_P(LogReaderTest, LinesAppendedDuringAScanCountOnceAndCanBeReadMeanwhile) {
    loadOvertaken("c\nd\n");
    const QStringList all{u"a"_s, u"b"_s, u"c"_s, u"d"_s, u""_s};
    EXPECT_EQ(lines(), all);
    EXPECT_EQ(rowOf(u"d"_s), 3);
    EXPECT_EQ(reader_->byteCount(1, 5), 8U);
    listener_->onRead = [&](int) {
        EXPECT_EQ(reader_->readLines(1, 5), all) << "lines disappear while they are scanned again";
    };
    EXPECT_EQ(reader_->refresh(), (LineRange{2, 3})) << "from the end that the first scan had measured";
    EXPECT_EQ(listener_->taken(),
              (QStringList{u"start 8"_s, u"read 4"_s, u"lines 4"_s, u"lines 5"_s, u"read 0"_s, u"finish"_s}));
    EXPECT_EQ(lines(), all);
}

TEST_P(LogReaderTest, AFileThatChangesWhereAScanWasOvertakenIsIndexedAgainFromThere) {
    const std::pair<QByteArray, LineRange> cases[] = {
        {"a\nb\n", {2, 1}}, {"a\nb\nc\n", {2, 2}}, {"a\nb\nc\nd", {2, 2}}, {"a\nb\nxyz\ne\nf\n", {2, 4}}};
    for (const auto& [content, changed] : cases) {
        loadOvertaken("c\nd\ne\n");
        file_->overwrite(content);
        EXPECT_EQ(reader_->refresh(), changed) << content.toStdString();
        EXPECT_EQ(lines(), QString::fromUtf8(content).split(u'\n')) << content.toStdString();
    }
}

TEST_P(LogReaderTest, AFileCutDuringAScanThatGrowsAgainIsReadWithoutAGap) {
    const QByteArray line("0123456\n");
    open(line.repeated(40'000));
    atStep(1, [this] { file_->truncate(100'000); }); // between the first two blocks
    reader_->refresh();
    EXPECT_EQ(reader_->lineCount(), 12'501);
    refreshAfterAppending(line.repeated(30'000));
    EXPECT_EQ(reader_->lineCount(), 42'501);
    EXPECT_EQ(reader_->readLines(42'499, 3), (QStringList{u"0123456"_s, u"0123456"_s, u""_s}));
}

TEST_P(LogReaderTest, OtherContentIsReadWithItsOwnEncoding) {
    const QString first = u"grüß dich, schöne Übung, ärger"_s;
    const QString other =
        u"ganz anders: öffnen, größer, und so lang, dass die Datei nur gewachsen sein könnte"_s;
    for (const bool isReplaced : {false, true}) {
        load(first.toLatin1() + '\n');
        EXPECT_EQ(texts(rows(1, 1)), QStringList(first));
        if (isReplaced) {
            file_->replace(other.toUtf8() + '\n');
            ASSERT_TRUE(reader_->reopen());
        } else {
            file_->overwrite(other.toUtf8() + '\n');
            EXPECT_TRUE(reader_->isBehind());
        }
        reader_->refresh();
        EXPECT_EQ(texts(rows(1, 1)), QStringList(other)) << isReplaced;
        EXPECT_EQ(reader_->fileEncoding(), encoding::utf8) << isReplaced;
    }
}

TEST_P(LogReaderTest, AScanThatWasOvertakenAndCancelledStillKnowsItsContent) {
    open("a\nb\n");
    const QByteArray appended = QByteArray(5'000, 'x') + '\n';
    listener_->onRead = [&](int step) {
        if (step == 1)
            file_->append(appended);
        else if (step == 3) // beyond the measured end
            reader_->cancelScan();
    };
    reader_->refresh();
    listener_->onRead = nullptr;
    reader_->refresh();
    EXPECT_EQ(reader_->lineCount(), 4);
    EXPECT_FALSE(reader_->isBehind());
    file_->overwrite("a\nb\n" + QByteArray(4'999, 'x') + "y\n");
    EXPECT_TRUE(reader_->isBehind());
}

// ---- Scans ----

TEST_P(LogReaderTest, ScansReportInStepsOf2048Bytes) {
    QByteArray content(3000, 'x');
    content[10] = content[2047] = content[2048] = '\n';
    open(content);
    reader_->refresh();
    EXPECT_EQ(listener_->taken(), (QStringList{u"start 3000"_s, u"read 2048"_s, u"lines 2"_s, u"lines 3"_s,
                                               u"read 952"_s, u"lines 4"_s, u"read 0"_s, u"finish"_s}));
    reader_->refresh();
    EXPECT_EQ(listener_->taken(), (QStringList{u"start 3000"_s, u"finish"_s}));
    refreshAfterAppending("\n");
    EXPECT_EQ(listener_->taken(),
              (QStringList{u"start 3001"_s, u"read 1"_s, u"lines 5"_s, u"read 0"_s, u"finish"_s}));
}

TEST_P(LogReaderTest, ACancelStopsAtTheNextStepAndHoldsUntilAReset) {
    open(QByteArray("0123456\n").repeated(100'000));
    atStep(40, [this] { reader_->cancel(); }); // within the second block
    EXPECT_EQ(reader_->refresh(), LineRange{});
    const QStringList calls = listener_->taken();
    EXPECT_EQ(calls.last(), u"cancel"_s);
    EXPECT_EQ(calls.count(u"read 2048"_s), 40);
    EXPECT_EQ(calls.count(u"cancel"_s), 1);
    EXPECT_FALSE(calls.contains(u"finish"_s));
    EXPECT_EQ(reader_->lineCount(), 40 * 2048 / 8 + 1) << "the lines found so far stay";
    EXPECT_EQ(reader_->readLines(1, 1), QStringList());
    EXPECT_TRUE(rows().lines.empty());
    EXPECT_EQ(reader_->fileSize(), 0U);
    EXPECT_EQ(reader_->refresh(), LineRange{});
    EXPECT_EQ(listener_->taken(), QStringList{u"cancel"_s});

    reader_->reset();
    EXPECT_EQ(reader_->refresh(), (LineRange{0, 100'001}));
    EXPECT_EQ(reader_->readLines(100'000, 2), (QStringList{u"0123456"_s, u""_s}));

    // A scan of a shrunken file starts over, and must not forget the cancel.
    listener_->onRead = [this](int) { reader_->cancel(); };
    file_->truncate(20'000);
    EXPECT_EQ(reader_->refresh(), LineRange{});
    EXPECT_EQ(listener_->taken().last(), u"cancel"_s);
    EXPECT_EQ(reader_->refresh(), LineRange{});
}

TEST_P(LogReaderTest, ACancelledScanGoesOnFromWhereItStopped) {
    open(test::numberedLines(1, 20'000));
    atStep(35, [this] { reader_->cancelScan(); });
    const LineRange found = reader_->refresh();
    EXPECT_EQ(listener_->taken().last(), u"cancel"_s);
    const qint64 count = reader_->lineCount();
    EXPECT_EQ(found, (LineRange{0, count}));
    EXPECT_GT(count, 5000);
    EXPECT_LT(count, 15'000);
    const QStringList last = texts(rows(count - 1, 2));
    ASSERT_EQ(last.size(), 2);
    EXPECT_EQ(last[0], u"line %1"_s.arg(count - 1));
    EXPECT_TRUE(u"line %1"_s.arg(count).startsWith(last[1]));

    reader_->refresh();
    EXPECT_EQ(reader_->lineCount(), 20'001);
    EXPECT_EQ(texts(rows(count, 2)), (QStringList{u"line %1"_s.arg(count), u"line %1"_s.arg(count + 1)}));
}

TEST_P(LogReaderTest, ClosingStopsAScanAndLaterCallsAreHarmless) {
    open(QByteArray("0123456\n").repeated(100'000));
    listener_->onRead = [this](int) { reader_->close(); };
    EXPECT_EQ(reader_->refresh(), LineRange{});
    EXPECT_EQ(listener_->taken().filter(u"read"_s).size(), 1);
    const qint64 known = reader_->lineCount();
    reader_->refresh();
    EXPECT_EQ(reader_->lineCount(), known) << "a closed file has not shrunk";
    EXPECT_EQ(reader_->fileSize(), 0U);
    EXPECT_FALSE(reader_->reopen());
    EXPECT_EQ(reader_->readLines(1, 1), isInMemory() ? QStringList{u"0123456"_s} : QStringList());
}

TEST_P(LogReaderTest, BeforeTheFirstScanAndOfAMissingFileNoLineIsKnown) {
    open("a\n");
    EXPECT_EQ(reader_->lineCount(), isInMemory() ? 0 : 1);
    EXPECT_EQ(reader_->isUnread(), !isInMemory());
    EXPECT_EQ(reader_->readLines(1, 1).join(u""_s), QString());
    reader_->refresh();
    EXPECT_EQ(reader_->lineCount(), 2);
    EXPECT_FALSE(reader_->isUnread());

    const auto missing = GetParam()(QUrl(u"file:///nowhere/at/all.log"_s));
    EXPECT_FALSE(missing->isUnread());
    EXPECT_EQ(missing->refresh(), LineRange{});
    EXPECT_EQ(missing->lineCount(), 1);
    EXPECT_FALSE(missing->reopen());
    EXPECT_EQ(missing->readLines(1, 5).join(u""_s), QString());
}

TEST_P(LogReaderTest, LinesPublishedDuringAScanCanBeRead) {
    open(test::numberedLines(1, 60'000));
    std::atomic<bool> done{false};
    std::atomic<qint64> highest{0};
    std::thread viewer([&] {
        while (!done) {
            const qint64 count = reader_->lineCount();
            if (count < 2 || count > 60'000)
                continue;
            ASSERT_EQ(reader_->readLines(count, 1), QStringList{u"line %1"_s.arg(count)});
            highest = count;
        }
    });
    // The scan continues once the viewer has read a line.
    atStep(200, [&] {
        EXPECT_TRUE(test::waitFor([&] { return highest > 0; })) << "nothing is published during the scan";
    });
    EXPECT_EQ(reader_->refresh(), (LineRange{0, 60'001}));
    done = true;
    viewer.join();
}

TEST_P(LogReaderTest, PagesScansAndEncodingFromManyThreads) {
    open("");
    reader_->setDelegate(nullptr);
    std::atomic<bool> done{false};
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    threads.emplace_back([&] {
        for (int i = 1; i <= 400; ++i)
            file_->append("ünit " + QByteArray::number(i) + "\n");
        done = true;
    });
    for (int t = 0; t < 3; ++t)
        threads.emplace_back([&] {
            while (!done) {
                reader_->refresh();
                const QStringList read = reader_->readLines(1, 1000);
                for (int i = 0; i + 1 < read.size(); ++i)
                    wrong += read[i] != u"ünit %1"_s.arg(i + 1);
                reader_->byteCount(1, 10);
                reader_->fileEncoding();
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    reader_->refresh();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(reader_->lineCount(), 401);
    EXPECT_EQ(reader_->readLines(400, 2), (QStringList{u"ünit 400"_s, u""_s}));
}

// ---- Read errors ----

TEST_P(LogReaderTest, AFaultIsLoggedOnceUntilReadingSucceedsAgain) {
    open(QByteArray("0123456\n").repeated(20'000));
    const auto isLogged = [this](int error) {
        const LogCapture log;
        FaultyReads::failFrom(65'536, error); // the second block
        reader_->reset();
        reader_->refresh();
        EXPECT_EQ(reader_->scanError(), error);
        EXPECT_EQ(reader_->lineCount(), error == 0 ? 20'001 : 8193);
        return log.lines().size() == 1 && log.lines().front().contains(u"failed at byte 65536"_s);
    };
    EXPECT_TRUE(isLogged(EIO));
    EXPECT_FALSE(isLogged(EIO));
    EXPECT_TRUE(isLogged(EPERM)) << "another error is another fault";
    EXPECT_FALSE(isLogged(0));
    EXPECT_TRUE(isLogged(EPERM)) << "the fault has come back";
}

TEST_P(LogReaderTest, RowsThatCannotBeReadAreAbsentAndNoEndOfASearch) {
    load("Error\n" + QByteArray(400'000, '.').replace(300'000, 1, "\n"));
    const qint64 last = reader_->lineCount() - 1;
    bool isPattern = false;
    const auto search = [&](qint64 from, qint64 to, const QString& text) {
        SearchItem item(text);
        item.setRegex(isPattern);
        return reader_->findNextMatch(from, to, item, [] { return false; });
    };
    EXPECT_TRUE(search(0, last, u"no such"_s).fault.isEmpty());
    FaultyReads::failFrom(0, EIO);
    const LogCapture log;
    EXPECT_EQ(rows(1, 1).lines.size(), isInMemory() ? 1U : 0U);
    EXPECT_EQ(reader_->readLines(1, 1).size(), isInMemory() ? 1 : 0);
    EXPECT_EQ(log.lines().filter(u"failed at byte 0"_s).size(), isInMemory() ? 0 : 1);
    FaultyReads::failFrom(200'000, EIO);
    const auto expectFaults = [&] {
        for (const auto& [from, to] : {std::pair(qint64{0}, last), std::pair(last, qint64{0})})
            EXPECT_EQ(search(from, to, u"no such"_s).fault.contains(u"Input/output error"_s), !isInMemory());
    };
    expectFaults();
    EXPECT_TRUE(search(0, last, u"error"_s)) << "a line before the fault is found";
    FaultyReads::failFrom(0, EIO);
    isPattern = true;
    expectFaults();
}

TEST_P(LogReaderTest, APatternIsSearchedForInBothDirections) {
    const std::set<qint64> matching = {3, 4095, 4096, 12287, 12288, 19'999};
    QByteArray content;
    for (qint64 line = 0; line < 20'000; ++line)
        content += matching.contains(line) ? "id=4711 done\n" : "id=4711 failed\n";
    load(content);
    SearchItem item(u"id=\\d+ d.n"_s);
    item.setRegex(true);
    const auto next = [&](qint64 from, qint64 to) {
        const auto found = reader_->findNextMatch(from, to, item, [] { return false; });
        return found ? found->row : -1;
    };
    std::set<qint64> forwards;
    std::set<qint64> backwards;
    for (qint64 row = -1; (row = next(row + 1, 20'000)) >= 0;)
        forwards.insert(row);
    for (qint64 row = 20'001; row > 0 && (row = next(row - 1, 0)) >= 0;)
        backwards.insert(row);
    EXPECT_EQ(forwards, matching);
    EXPECT_EQ(backwards, matching);
    EXPECT_EQ(reader_->findNextMatch(0, 5, item, [] { return false; })->results.front().length, 11);
    EXPECT_FALSE(reader_->findNextMatch(4, 19'999, item, [] { return true; })) << "cancelled";
}

// ---- Encodings ----

TEST_P(LogReaderTest, TheFirstBytesReadDecideTheEncoding) {
    const QString text = u"Grüße aus Köln, die Verbindung ist geschlossen und kann nicht geöffnet werden"_s;
    load('\n' + text.toLatin1() + "\nplain\n");
    const LogCapture log;
    EXPECT_EQ(reader_->readLines(1, 1), QStringList{u""_s});
    EXPECT_EQ(reader_->fileEncoding(), encoding::unknown);
    EXPECT_EQ(reader_->readLines(2, 1), QStringList{text});
    EXPECT_EQ(reader_->readLines(3, 1), QStringList{u"plain"_s});
    EXPECT_EQ(log.lines(), QStringList{u"Detected file encoding: 5 - name = Western (ISO Latin 1)"_s});
    reader_->reset();
    EXPECT_EQ(reader_->fileEncoding(), encoding::isoLatin1) << "a reset keeps it";
}

TEST_P(LogReaderTest, BytesThatAreNoTextAreLogged) {
    load("plain\nbad \xFF\xFF\nt\xC3\xBC\xC3\xBCr\n");
    EXPECT_EQ(reader_->readLines(1, 1), QStringList{u"plain"_s});
    const LogCapture log;
    EXPECT_EQ(reader_->readLines(2, 1), QStringList());
    EXPECT_EQ(log.lines(), (QStringList{u"-- Error parsing String with detected encoding: 4. Trying UTF-8"_s,
                                        decodingFailed}));
    const DisplayLines shown = rows();
    EXPECT_EQ(texts(shown), (QStringList{u"plain"_s, u"bad \uFFFD\uFFFD"_s, u"tüür"_s, u""_s}));
    EXPECT_EQ(invalidLines(shown), std::vector<std::size_t>{1});

    reader_->setEncodingChoice({Kind::LenientUtf8});
    EXPECT_EQ(reader_->readLines(2, 2), (QStringList{u"bad \uFFFD\uFFFD"_s, u"tüür"_s}));
    reader_->setEncodingChoice({Kind::Fixed, encoding::isoLatin1});
    EXPECT_EQ(reader_->fileEncoding(), encoding::isoLatin1);
    EXPECT_EQ(reader_->readLines(2, 1), QStringList{u"bad ÿÿ"_s});
    reader_->setEncodingChoice({Kind::Fixed, encoding::ascii});
    const qsizetype before = log.lines().size();
    EXPECT_EQ(reader_->readLines(3, 1), QStringList()) << "a chosen encoding is not replaced by another";
    EXPECT_EQ(log.lines().mid(before), QStringList{decodingFailed});
    reader_->setEncodingChoice({});
    EXPECT_EQ(reader_->fileEncoding(), encoding::utf8);
}

TEST_P(LogReaderTest, AnotherEncodingThanTheDetectedOneIsTriedAsUtf8) {
    const QByteArray shiftJis =
        "ERROR \x83\x66\x81\x5b\x83\x5e\x83\x78\x81\x5b\x83\x58\x82\xc9\x90\xda\x91\xb1\x82\xc5\x82\xab\x82"
        "\xdc\x82\xb9\x82\xf1";
    load(shiftJis + "\n\xF0\x9F\x98\x80\n");
    EXPECT_EQ(reader_->readLines(1, 1), QStringList{u"ERROR データベースに接続できません"_s});
    const LogCapture log;
    EXPECT_EQ(reader_->readLines(2, 1), QStringList{u"😀"_s});
    EXPECT_EQ(log.lines(), QStringList{u"-- Error parsing String with detected encoding: 8. Trying UTF-8"_s});
    EXPECT_EQ(reader_->fileEncoding(), encoding::shiftJis);
    EXPECT_EQ(std::dynamic_pointer_cast<LogReader>(reader_)->detectEncoding({}), encoding::utf8);
    EXPECT_EQ(log.lines().last(), u"Could not detect file encoding - returning default UTF-8 encoding"_s);
}

TEST_P(LogReaderTest, OneBadByteChangesItsLineOnly) {
    const std::tuple<StringEncoding, QByteArray, QByteArray> cases[] = {
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
    for (const auto& [number, word, badByte] : cases) {
        for (int round = 0; round < 10; ++round) {
            SCOPED_TRACE(encodingName(number).toStdString() + " " + std::to_string(round));
            const int count = 1 + static_cast<int>(random() % 300);
            const int bad = static_cast<int>(random() % static_cast<unsigned>(count));
            QList<QByteArray> bytes;
            QStringList expected;
            for (int line = 0; line < count; ++line) {
                bytes.append("2024 [" + QByteArray::number(line) + "] " +
                             word.repeated(static_cast<qsizetype>(random() % 4)) + " end");
                if (line == bad)
                    bytes.back().insert(3, badByte);
                expected.append(decodeLeniently(bytes.back(), number));
            }
            load(bytes.join('\n'), {Kind::Fixed, number});
            EXPECT_EQ(texts(rows()), expected);
            EXPECT_EQ(texts(rows(1, 1000, RowLength::Whole)), expected);
            EXPECT_TRUE(expected[bad].contains(QChar::ReplacementCharacter));
            EXPECT_EQ(invalidLines(rows()), std::vector<std::size_t>{static_cast<std::size_t>(bad)});
            EXPECT_EQ(rowOf(u"[%1]"_s.arg(bad)), bad);
        }
    }
}

TEST_P(LogReaderTest, ACharacterThatIsStillBeingWrittenTakesNothingElseAway) {
    load("one\nfür\nfor 日");
    for (const QByteArray cut : {"\xE6", "\x97", "\xA5\xF0\x9F", "\x98", "\x80\n\xC3", "\xBC"}) {
        SCOPED_TRACE(cut.toHex().toStdString());
        refreshAfterAppending(cut);
        const DisplayLines shown = rows();
        EXPECT_TRUE(invalidLines(shown).empty());
        ASSERT_GE(shown.lines.size(), 3U);
        EXPECT_EQ(shown.lines[1].text, u"für"_s);
        EXPECT_FALSE(texts(shown).join(u'\n').contains(QChar::ReplacementCharacter));
        EXPECT_EQ(reader_->readLines(1, 10), texts(shown));
        EXPECT_EQ(rowOf(u"FOR"_s), 2);
    }
    EXPECT_EQ(reader_->readLines(3, 2), (QStringList{u"for 日日😀"_s, u"ü"_s}));
}

TEST_P(LogReaderTest, LinesEndAtWholeLineFeedsOfTheirEncodingAlsoWhileTheFileGrows) {
    const std::pair<StringEncoding, QStringConverter::Encoding> encodings[] = {
        {encoding::utf8, QStringConverter::Utf8},
        {encoding::utf16LittleEndian, QStringConverter::Utf16LE},
        {encoding::utf16BigEndian, QStringConverter::Utf16BE},
        {encoding::utf32LittleEndian, QStringConverter::Utf32LE},
        {encoding::utf32BigEndian, QStringConverter::Utf32BE},
    };
    // All words but the first contain a line feed's byte that ends no line.
    const QStringList words{u"ok "_s, u"\u4E0A\u5E8A"_s, u"\u0A0A"_s, u"\u0A13\u000D"_s, u"\u0A05\u0A00"_s};
    std::mt19937 random(5);
    for (const auto& [number, converter] : encodings) {
        for (const bool hasMark : {true, false}) {
            SCOPED_TRACE(encodingName(number).toStdString() + (hasMark ? " with a mark" : " as chosen"));
            QStringList expected;
            for (int line = 0; line < 300; ++line) {
                expected.append(QString());
                for (auto count = random() % 5; count > 0; --count)
                    expected.back() += words[static_cast<qsizetype>(random() % words.size())];
            }
            const auto flag = hasMark ? QStringConverter::Flag::WriteBom : QStringConverter::Flag::Default;
            const QByteArray bytes = QStringEncoder(converter, flag)(expected.join(u'\n'));
            open("", hasMark ? EncodingChoice() : EncodingChoice{Kind::Fixed, number});
            for (qsizetype begin = 0, size = 0; begin < bytes.size(); begin += size) {
                size = static_cast<qsizetype>(1 + random() % 99);
                refreshAfterAppending(bytes.mid(begin, size));
                EXPECT_FALSE(reader_->isBehind());
            }
            EXPECT_EQ(texts(rows()), expected);
            EXPECT_EQ(texts(rows(2, 1, RowLength::Whole)), expected.mid(1, 1));
            EXPECT_EQ(reader_->readLines(100, 50), expected.mid(99, 50));
            EXPECT_EQ(reader_->byteCount(1, 300), static_cast<std::uint64_t>(bytes.size()));
        }
    }
}

TEST_P(LogReaderTest, WideEncodingsAreDetectedAlsoFromAPageInTheMiddle) {
    const QStringList expected = u"eins\nzwei mit 😀\ndrei\n"_s.repeated(100).split(u'\n');
    for (const bool little : {true, false}) {
        QStringEncoder encoder(little ? QStringConverter::Utf16LE : QStringConverter::Utf16BE);
        load(encoder(expected.join(u'\n')));
        EXPECT_EQ(reader_->readLines(101, 3), expected.mid(100, 3)) << little;
        EXPECT_EQ(lines(), expected) << little;
        EXPECT_EQ(reader_->fileEncoding(), little ? encoding::utf16LittleEndian : encoding::utf16BigEndian);
    }
    // The file's byte-order mark decides the byte order of a chosen encoding, on every page.
    load("\xFF\xFEx\0\n\0y\0\n\0"_ba);
    reader_->setEncodingChoice({Kind::Fixed, encoding::utf16});
    EXPECT_EQ(reader_->readLines(1, 1), QStringList{u"x"_s});
    EXPECT_EQ(reader_->readLines(2, 1), QStringList{u"y"_s});
}

TEST_P(LogReaderTest, AChosenWideEncodingFindsItsLinesByANewScan) {
    const QStringList expected = u"\u4E0A\u5E8A\n\u0A0A\n\u5E8A"_s.split(u'\n');
    load(QStringEncoder(QStringConverter::Utf16BE)(expected.join(u'\n')));
    reader_->setEncodingChoice({Kind::Fixed, encoding::windows1252});
    EXPECT_FALSE(reader_->needsNewScan());
    reader_->setEncodingChoice({Kind::Fixed, encoding::utf16BigEndian});
    ASSERT_TRUE(reader_->needsNewScan());
    reader_->reset();
    reader_->refresh();
    EXPECT_EQ(texts(rows()), expected);
    EXPECT_FALSE(reader_->needsNewScan());
}

// ---- Long lines ----

TEST_P(LogReaderTest, LongLinesAmongShortOnesAreCutAtACharacterForTheScreen) {
    // The limit falls into the two-byte character.
    const QByteArray tooLong = QByteArray(longest - 1, 'a') + "\xC3\xBC" + QByteArray(99, 'b');
    load("short\n" + QByteArray(70 << 20, 'x') + '\n' + QByteArray(longest, 'y') + '\n' + tooLong + "\nlast");
    const DisplayLines shown = rows(1, 5);
    EXPECT_EQ(texts(shown), (QStringList{u"short"_s, QString(longest, u'x'), QString(longest, u'y'),
                                         QString(longest - 1, u'a'), u"last"_s}));
    EXPECT_EQ(shown.lines[1].cutBytes, (70U << 20) - RowReader::longestShownLine);
    EXPECT_EQ(shown.lines[2].cutBytes, 0U) << "a line that is no longer than shown";
    EXPECT_EQ(shown.lines[3].cutBytes, 101U);
    EXPECT_EQ(reader_->readLines(4, 1), QStringList{QString::fromUtf8(tooLong)})
        << "the line itself is whole";
}

TEST_P(LogReaderTest, ManyLongLinesAreCutShorter) {
    const QByteArray line(longest, 'x');
    load((line + '\n').repeated(65));
    const auto most = static_cast<qsizetype>(RowReader::longestShownLineOfMany);
    EXPECT_EQ(rows(1, 64).lines.front().text.size(), longest);
    const DisplayLines shown = rows(1, 65);
    ASSERT_EQ(shown.lines.size(), 65U);
    EXPECT_EQ(shown.lines.front().text.size(), most);
    EXPECT_EQ(shown.lines.back().cutBytes, RowReader::longestShownLine - RowReader::longestShownLineOfMany);
}

TEST_P(LogReaderTest, ACutLineInAnyEncodingEndsWithAWholeCharacter) {
    const std::tuple<StringEncoding, QByteArray, QString, std::uint64_t> cases[] = {
        {encoding::shiftJis, QByteArray(longest - 1, 'a') + "\x83\x66zz", u"aa"_s, 4},
        {encoding::isoLatin1, QByteArray(longest - 1, 'a') + "\xE4zz", u"aä"_s, 2},
        {encoding::utf16BigEndian,
         QByteArray("\0a", 2).repeated(longest / 2 - 1) + QByteArray("\xD8\x3D\xDE\x00", 4), u"aa"_s, 4},
        {encoding::gb18030, QByteArray(longest - 3, 'a') + "\x94\x39\xDA\x33", u"aa"_s, 4},
    };
    for (const auto& [number, line, end, cut] : cases) {
        load(line, {Kind::Fixed, number});
        const DisplayLines shown = rows(1, 1);
        ASSERT_EQ(shown.lines.size(), 1U) << number;
        EXPECT_EQ(shown.lines[0].text.right(2), end) << number;
        EXPECT_EQ(shown.lines[0].cutBytes, cut) << number;
    }
}

} // namespace
} // namespace korvane
