#include "core/RuleEnforcerProtocol.h"
#include "core/reader/InMemoryFileLogReader.h"
#include "core/reader/LogReader.h"
#include "documents/RowsTest.h"
#include "support/LogCapture.h"
#include "support/TemporaryFile.h"

#include <QStringEncoder>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::TemporaryFile;

using LookedAt = std::pair<qint64, QString>;
using AllLookedAt = std::vector<LookedAt>;

/// Records the lines that are evaluated.
class RecordingEnforcer : public RuleEnforcerProtocol {
public:
    std::atomic<bool> tells{true};
    std::atomic<bool> finds{false};
    test::Gate gate; ///< passed before every line
    test::Guarded<AllLookedAt> lines;

    std::unique_ptr<NotificationPassProtocol> makeNotificationPass() override {
        struct Pass : NotificationPassProtocol {
            explicit Pass(RecordingEnforcer& enforcer) : to(enforcer) {}
            void look(qint64 lineNum, const QString& line) override {
                to.gate.pass();
                to.lines.add(LookedAt(lineNum, line));
            }
            bool hasFoundAny() const override { return to.finds; }
            RecordingEnforcer& to;
        };
        return tells ? std::make_unique<Pass>(*this) : nullptr;
    }
    std::unique_ptr<RulePassProtocol> makePass(std::function<bool()>) override { return nullptr; }
    void highlightSearchMatches(AttributedString&, const std::vector<TextRange>&) override {}
    void clearRules() override {}
};

/// Follows a real file, or a reader whose line count the test sets; the test polls.
class ArrivedLinesNotifierTest : public test::RowsTest {
protected:
    ~ArrivedLinesNotifierTest() override { enforcer_->gate.open(); }

    /// Indexes the file and begins to follow it.
    void follow(const QByteArray& content, bool isInMemory = false) {
        file_.emplace(content);
        followReader(isInMemory ? InMemoryFileLogReader::create(file_->url())
                                : LogReader::create(file_->url()));
    }
    void followLines(qint64 count) {
        reader_ = std::make_shared<test::FakeReader>(count);
        followReader(reader_);
    }
    void append(const QByteArray& bytes) {
        file_->append(bytes);
        followed_->refresh();
    }
    void poll() {
        followed_->refresh();
        source_->filePolled();
    }
    void arriveUpTo(qint64 count) {
        reader_->setLineCount(count);
        source_->linesArrived();
    }
    /// Appends lines, the first of which waits at the gate.
    void holdLinesUpTo(qint64 count) {
        enforcer_->gate.shut();
        arriveUpTo(count);
        ASSERT_TRUE(waitForHeldLine());
    }
    bool waitForHeldLine() {
        return test::waitFor([&] { return enforcer_->gate.waiting() == 1; });
    }
    /// Waits until no more lines can be evaluated now; returns all evaluated lines.
    AllLookedAt passed() {
        EXPECT_TRUE(OperationQueue::waitForAllWorkers(20s));
        return enforcer_->lines.get();
    }
    /// Expects exactly the lines `first` to `last`, each of which holds its one-based number.
    void expectPassed(qint64 first, qint64 last) {
        const AllLookedAt all = passed();
        ASSERT_EQ(all.size(), static_cast<std::size_t>(last - first + 1));
        for (const LookedAt& line : all) {
            ASSERT_EQ(line, LookedAt(first - 1, QString::number(first)));
            ++first;
        }
    }

    std::optional<TemporaryFile> file_;
    std::shared_ptr<LogFileReaderProtocol> followed_;
    std::shared_ptr<RecordingEnforcer> enforcer_ = std::make_shared<RecordingEnforcer>();

private:
    void followReader(std::shared_ptr<LogFileReaderProtocol> reader) {
        followed_ = std::move(reader);
        openRows(followed_);
        enforcer_ = std::make_shared<RecordingEnforcer>();
        source_->setRuleEnforcer(enforcer_);
        followed_->refresh();
        source_->followingBegan();
    }
};

TEST_F(ArrivedLinesNotifierTest, EachLinePassesOnceWithItsWholeText) {
    // The content before, the text appended before each poll, separated by "|", and the lines evaluated.
    const std::tuple<const char*, QString, QString, QString> cases[] = {
        {"what was there", u"one\ntwo"_s, u"|"_s, {}},
        {"the end of what was there", u"one\ntwo"_s, u"|\n|"_s, {}},
        {"the end of wide characters", u"\uFEFFone\ntwo"_s, u"|\n|three\n"_s, u"2 three"_s},
        {"more of what was there", u"one\ntw"_s, u"o\nthree\n"_s, u"1 two, 2 three"_s},
        {"the first lines", {}, u"one\n|\n|three\n"_s, u"0 one, 1 , 2 three"_s},
        {"the end of an empty line", u"one\n"_s, u"\n"_s, u"1 "_s},
        {"halves", {}, u"o|n|e\nt|wo\n"_s, u"0 one, 1 two"_s},
        {"a status without newline", {}, u"50 %||"_s, u"0 50 %"_s},
        {"its late newline", {}, u"ok||\nnext\n"_s, u"0 ok, 1 next"_s},
        {"its late end", {}, u"bro||ken\n"_s, u"0 bro, 0 broken"_s},
        {"another pause", u"a\n"_s, u"1||2|||3\n"_s, u"1 1, 1 12, 1 123"_s},
    };
    const auto textOf = [](const AllLookedAt& lines) {
        QStringList texts;
        for (const auto& [line, text] : lines)
            texts.append(QString::number(line) + u' ' + text);
        return texts.join(u", "_s);
    };
    for (const bool isInMemory : {false, true}) {
        for (const auto& [what, before, polls, expected] : cases) {
            SCOPED_TRACE(what);
            const bool isWide = before.startsWith(u'\uFEFF');
            QStringEncoder encoded(isWide ? QStringConverter::Utf16LE : QStringConverter::Utf8);
            follow(encoded(before), isInMemory);
            for (const QString& added : polls.split(u'|')) {
                file_->append(encoded(added));
                poll();
                passed();
            }
            EXPECT_EQ(textOf(passed()), expected);
        }
    }
}

TEST_F(ArrivedLinesNotifierTest, AGrowthOfManyPagesPassesInOrderAndBytesThatAreNoTextCostOneLine) {
    follow("old\n");
    QByteArray added;
    AllLookedAt expected;
    for (int line = 1; line < 12'345; ++line) {
        // Some lines are longer than one read.
        QByteArray text = QByteArray::number(line) + QByteArray(line % 5000 == 17 ? 700'000 : 0, 'x');
        if (line % 1000 == 3)
            text = "\xff" + text;
        added += text + '\n';
        expected.emplace_back(line, QString::fromUtf8(text));
    }
    followed_->readRows(1, 1, RowLength::Shown); // detects the encoding
    const test::LogCapture log;
    append(added);
    source_->linesArrived();
    EXPECT_TRUE(passed() == expected) << enforcer_->lines.get().size();
    EXPECT_EQ(log.lines(), QStringList());
}

TEST_F(ArrivedLinesNotifierTest, WithoutARuleThatTellsNothingIsReadNorKeptForLater) {
    followLines(10);
    enforcer_->tells = false;
    arriveUpTo(10'000);
    source_->filePolled();
    EXPECT_EQ(passed(), AllLookedAt{});
    EXPECT_TRUE(reader_->readStarts().empty());

    enforcer_->tells = true;
    arriveUpTo(10'001);
    expectPassed(10'000, 10'000);

    // Notifications are switched off before the appended lines are evaluated.
    holdLinesUpTo(20'000);
    enforcer_->tells = false;
    enforcer_->gate.open();
    const std::size_t before = passed().size();
    enforcer_->tells = true;
    source_->filePolled();
    EXPECT_EQ(passed().size(), before);
    EXPECT_TRUE(source_->letArrivedLinesPass());
}

TEST_F(ArrivedLinesNotifierTest, NoMoreIsEvaluatedWhileFindsWaitForTheMainThread) {
    followLines(1);
    enforcer_->finds = true;
    arriveUpTo(20'001);
    const std::size_t atOnce = passed().size();
    EXPECT_LE(atOnce, 5000U);
    for (int i = 0; i < 5; ++i)
        source_->filePolled();
    EXPECT_EQ(passed().size(), atOnce);
    EXPECT_FALSE(source_->letArrivedLinesPass());
    ASSERT_TRUE(test::waitFor([&] { return source_->letArrivedLinesPass(); }));
    expectPassed(1, 20'000);
}

TEST_F(ArrivedLinesNotifierTest, AnotherContentPassesFromItsFirstLineAndTheOldOneNoMore) {
    follow("1\n2\n3\n");
    enforcer_->gate.shut();
    file_->append(QByteArray("old\n").repeated(5000));
    poll();
    ASSERT_TRUE(waitForHeldLine());
    source_->contentForgotten();
    file_->overwrite("new\nopen");
    poll();
    enforcer_->gate.open();
    poll();
    const AllLookedAt all = passed();
    ASSERT_GT(all.size(), 2U);
    EXPECT_LE(all.size(), 2002U) << "only what was being evaluated";
    EXPECT_EQ(all.front(), LookedAt(3, u"old"_s));
    EXPECT_EQ(std::vector(all.end() - 2, all.end()), (AllLookedAt{{0, u"new"_s}, {1, u"open"_s}}));
}

// The last line of a file that is moved away often lacks its newline.
TEST_F(ArrivedLinesNotifierTest, AFileIsReleasedWhenItsOpenLineHasPassedToo) {
    follow("");
    append("one\nlast words");
    EXPECT_TRUE(test::waitFor([&] { return source_->letArrivedLinesPass(); }));
    EXPECT_EQ(passed(), (AllLookedAt{{0, u"one"_s}, {1, u"last words"_s}}));
}

TEST_F(ArrivedLinesNotifierTest, AFileReadAgainTellsOnlyOfWhatIsNew) {
    follow("1\n2\n3\n4\n");
    file_->append("5\n");
    poll();
    passed();
    followed_->reset();
    source_->filePolled(); // while the file is read again
    followed_->refresh();
    source_->fileReadAnew();
    file_->append("6\n");
    poll();
    expectPassed(5, 6);

    // The file has become shorter while a line waited that it no longer has.
    enforcer_->finds = true;
    for (const char* added : {"7\n", "8\n"}) {
        append(added);
        source_->linesArrived();
        EXPECT_EQ(passed().back(), LookedAt(6, u"7"_s)) << "8 waits for the main thread";
    }
    followed_->reset();
    file_->overwrite("a\n");
    followed_->refresh();
    source_->fileReadAnew();
    file_->append("b\n");
    poll();
    MainThread::shared().runPending();
    EXPECT_EQ(passed().back(), LookedAt(1, u"b"_s));
}

TEST_F(ArrivedLinesNotifierTest, LinesThatAreBeingReadAgainPassWhenTheyAreBack) {
    followLines(1);
    reader_->readGate.shut();
    arriveUpTo(3001);
    ASSERT_TRUE(waitForHeldReads(1));
    reader_->setLineCount(1);
    reader_->readGate.open();
    source_->filePolled();
    EXPECT_EQ(passed().size(), 0U);
    reader_->setLineCount(3001);
    source_->filePolled();
    expectPassed(1, 3000);
}

TEST_F(ArrivedLinesNotifierTest, AStartLeavesOutWhatCameBeforeItButNotWhatWaits) {
    followLines(1);
    holdLinesUpTo(3001);
    reader_->setLineCount(4001);
    source_->followingBegan();
    arriveUpTo(4011);
    enforcer_->gate.open();
    const AllLookedAt all = passed();
    ASSERT_EQ(all.size(), 3010U);
    EXPECT_EQ(all[2999].first, 2999);
    EXPECT_EQ(all[3000].first, 4000);
}

TEST_F(ArrivedLinesNotifierTest, ClosingStopsInTheMiddleOfAPiece) {
    followLines(1);
    holdLinesUpTo(5000);
    source_->close();
    enforcer_->gate.open();
    EXPECT_EQ(passed().size(), 1U);
    arriveUpTo(6000);
    EXPECT_EQ(passed().size(), 1U);
}

} // namespace
} // namespace korvane
