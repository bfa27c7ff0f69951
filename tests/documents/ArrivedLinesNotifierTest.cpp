#include "core/RuleEnforcerProtocol.h"
#include "core/reader/InMemoryFileLogReader.h"
#include "core/reader/LogReader.h"
#include "documents/FakeDocument.h"
#include "documents/FakeReader.h"
#include "documents/LogTableDataSource.h"
#include "support/LogCapture.h"
#include "support/PreferencesTest.h"
#include "support/TemporaryFile.h"
#include "support/Waiting.h"

#include <QStringEncoder>

#include <gtest/gtest.h>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::TemporaryFile;

using LookedAt = std::pair<qint64, QString>;

/// Keeps what passes.
class RecordingEnforcer : public RuleEnforcerProtocol {
public:
    std::atomic<bool> tells{true};
    std::atomic<bool> finds{false};
    test::Gate gate; ///< before every line

    std::vector<LookedAt> lines() const {
        const std::lock_guard guard(mutex_);
        return lines_;
    }

    std::unique_ptr<NotificationPassProtocol> makeNotificationPass() override {
        struct Pass : NotificationPassProtocol {
            explicit Pass(RecordingEnforcer& enforcer) : to(enforcer) {}
            void look(qint64 lineNum, const QString& line) override {
                to.gate.pass();
                const std::lock_guard guard(to.mutex_);
                to.lines_.emplace_back(lineNum, line);
            }
            bool hasFoundAny() const override { return to.finds; }
            RecordingEnforcer& to;
        };
        return tells ? std::make_unique<Pass>(*this) : nullptr;
    }
    std::unique_ptr<RulePassProtocol> makePass(std::function<bool()>) override { return nullptr; }
    void highlightSearchMatches(AttributedString&, const std::vector<TextRange>&) override {}
    void clearRules() override {}

private:
    mutable std::mutex mutex_;
    std::vector<LookedAt> lines_; // guarded by mutex_
};

class ArrivedLinesNotifierTest : public test::PreferencesTest {
protected:
    ~ArrivedLinesNotifierTest() override { enforcer_->gate.open(); }

    /// What the file holds is known, and following begins.
    void follow(std::shared_ptr<LogFileReaderProtocol> reader) {
        reader_ = std::move(reader);
        document_ = std::make_shared<test::FakeDocument>(reader_);
        source_ = std::make_shared<test::RuledDataSource>(document_);
        enforcer_ = std::make_shared<RecordingEnforcer>();
        source_->setRuleEnforcer(enforcer_);
        reader_->refresh();
        source_->followingBegan();
    }
    void poll() {
        reader_->refresh();
        source_->filePolled();
    }
    /// All that can pass now has passed.
    std::vector<LookedAt> passed() {
        EXPECT_TRUE(OperationQueue::waitForAllWorkers(20s));
        return enforcer_->lines();
    }

    std::shared_ptr<LogFileReaderProtocol> reader_;
    std::shared_ptr<test::FakeDocument> document_;
    std::shared_ptr<RecordingEnforcer> enforcer_ = std::make_shared<RecordingEnforcer>();
    std::shared_ptr<test::RuledDataSource> source_;
};

TEST_F(ArrivedLinesNotifierTest, EachLinePassesOnceWithItsWholeText) {
    const QByteArray nothing;
    const auto wide = [](const char16_t* text) {
        return QByteArray(QStringEncoder(QStringConverter::Utf16LE)(text));
    };
    const struct {
        const char* what;
        QByteArray before;
        std::vector<QByteArray> polls; // what each finds appended
        std::vector<LookedAt> passed;
    } cases[] = {
        {"what was there", "one\ntwo", {nothing, nothing}, {}},
        {"the end of what was there", "one\ntwo", {nothing, "\n", nothing}, {}},
        {"the end of wide characters",
         wide(u"\uFEFFone\ntwo"),
         {nothing, wide(u"\n"), wide(u"three\n")},
         {{2, u"three"_s}}},
        {"more of what was there", "one\ntw", {"o\nthree\n"}, {{1, u"two"_s}, {2, u"three"_s}}},
        {"the first lines", "", {"one\n", "\n", "three\n"}, {{0, u"one"_s}, {1, u""_s}, {2, u"three"_s}}},
        {"the end of an empty line", "one\n", {"\n"}, {{1, u""_s}}},
        {"halves", "", {"o", "n", "e\nt", "wo\n"}, {{0, u"one"_s}, {1, u"two"_s}}},
        {"a status without newline", "", {"50 %", nothing, nothing}, {{0, u"50 %"_s}}},
        {"its late newline", "", {"ok", nothing, "\nnext\n"}, {{0, u"ok"_s}, {1, u"next"_s}}},
        {"its late end", "", {"bro", nothing, "ken\n"}, {{0, u"bro"_s}, {0, u"broken"_s}}},
        {"another pause",
         "a\n",
         {"1", nothing, "2", nothing, nothing, "3\n"},
         {{1, u"1"_s}, {1, u"12"_s}, {1, u"123"_s}}},
    };
    for (const bool isInMemory : {false, true}) {
        for (const auto& c : cases) {
            SCOPED_TRACE(c.what);
            const TemporaryFile file(c.before);
            follow(isInMemory ? InMemoryFileLogReader::create(file.url()) : LogReader::create(file.url()));
            for (const QByteArray& added : c.polls) {
                file.append(added);
                poll();
                passed();
            }
            EXPECT_EQ(passed(), c.passed);
        }
    }
}

TEST_F(ArrivedLinesNotifierTest, AGrowthOfManyPagesPassesInOrderAndBytesThatAreNoTextCostOneLine) {
    const TemporaryFile file("old\n");
    follow(LogReader::create(file.url()));
    QByteArray added;
    std::vector<LookedAt> expected;
    for (int line = 1; line < 12'345; ++line) {
        // Some lines are longer than what is read at once.
        QByteArray text = QByteArray::number(line) + QByteArray(line % 5000 == 17 ? 700'000 : 0, 'x');
        if (line % 1000 == 3)
            text = "\xff" + text;
        added += text + '\n';
        expected.emplace_back(line, QString::fromUtf8(text));
    }
    file.append(added);
    reader_->readRows(1, 1, RowLength::Shown); // tells the encoding
    const test::LogCapture log;
    reader_->refresh();
    source_->linesArrived();
    EXPECT_TRUE(passed() == expected) << enforcer_->lines().size();
    EXPECT_EQ(log.lines(), QStringList());
}

TEST_F(ArrivedLinesNotifierTest, WithoutARuleThatTellsNothingIsReadNorKeptForLater) {
    const auto fake = std::make_shared<test::FakeReader>(10);
    follow(fake);
    enforcer_->tells = false;
    fake->setLineCount(10'000);
    source_->linesArrived();
    source_->filePolled();
    EXPECT_EQ(passed(), std::vector<LookedAt>{});
    EXPECT_TRUE(fake->readStarts().empty());

    enforcer_->tells = true;
    fake->setLineCount(10'001);
    source_->linesArrived();
    EXPECT_EQ(passed(), (std::vector<LookedAt>{{9'999, u"10000"_s}}));

    // Switched off before what has arrived could pass.
    enforcer_->gate.shut();
    fake->setLineCount(20'000);
    source_->linesArrived();
    ASSERT_TRUE(test::waitFor([&] { return enforcer_->gate.waiting() == 1; }));
    enforcer_->tells = false;
    enforcer_->gate.open();
    const std::size_t before = passed().size();
    enforcer_->tells = true;
    source_->filePolled();
    EXPECT_EQ(passed().size(), before);
    EXPECT_TRUE(source_->letArrivedLinesPass());
}

TEST_F(ArrivedLinesNotifierTest, NoMoreIsLookedForWhileFindsWaitForTheMainThread) {
    const auto fake = std::make_shared<test::FakeReader>(1);
    follow(fake);
    enforcer_->finds = true;
    fake->setLineCount(20'001);
    source_->linesArrived();
    const std::size_t atOnce = passed().size();
    EXPECT_LE(atOnce, 5000U);
    for (int i = 0; i < 5; ++i)
        source_->filePolled();
    EXPECT_EQ(passed().size(), atOnce);
    EXPECT_FALSE(source_->letArrivedLinesPass());

    ASSERT_TRUE(test::waitFor([&] { return source_->letArrivedLinesPass(); }));
    const auto all = passed();
    ASSERT_EQ(all.size(), 20'000U);
    for (std::size_t i = 0; i < all.size(); ++i)
        ASSERT_EQ(all[i].first, static_cast<qint64>(i));
}

TEST_F(ArrivedLinesNotifierTest, AnotherContentPassesFromItsFirstLineAndTheOldOneNoMore) {
    const TemporaryFile file("1\n2\n3\n");
    follow(LogReader::create(file.url()));
    enforcer_->gate.shut();
    file.append(QByteArray("old\n").repeated(5000));
    poll();
    ASSERT_TRUE(test::waitFor([&] { return enforcer_->gate.waiting() == 1; }));
    source_->contentForgotten();
    file.overwrite("new\nopen");
    poll();
    enforcer_->gate.open();
    poll();
    const auto all = passed();
    ASSERT_GT(all.size(), 2U);
    EXPECT_LE(all.size(), 2002U) << "only what was being looked at";
    EXPECT_EQ(all.front(), LookedAt(3, u"old"_s));
    EXPECT_EQ(std::vector(all.end() - 2, all.end()), (std::vector<LookedAt>{{0, u"new"_s}, {1, u"open"_s}}));
}

// The last words before a file is moved away often lack their newline.
TEST_F(ArrivedLinesNotifierTest, AFileIsLetGoOfWhenItsOpenLineHasPassedToo) {
    const TemporaryFile file("");
    follow(LogReader::create(file.url()));
    file.append("one\nlast words");
    reader_->refresh();
    EXPECT_TRUE(test::waitFor([&] { return source_->letArrivedLinesPass(); }));
    EXPECT_EQ(passed(), (std::vector<LookedAt>{{0, u"one"_s}, {1, u"last words"_s}}));
}

TEST_F(ArrivedLinesNotifierTest, AFileReadAnewTellsOnlyOfWhatIsNew) {
    const TemporaryFile file("1\n2\n3\n4\n");
    follow(LogReader::create(file.url()));
    file.append("5\n");
    poll();
    passed();
    reader_->reset();
    source_->filePolled(); // in the middle of it
    reader_->refresh();
    source_->fileReadAnew();
    file.append("6\n");
    poll();
    EXPECT_EQ(passed(), (std::vector<LookedAt>{{4, u"5"_s}, {5, u"6"_s}}));

    // It has become shorter, while a line waited that is not there any more.
    enforcer_->finds = true;
    for (const char* added : {"7\n", "8\n"}) {
        file.append(added);
        reader_->refresh();
        source_->linesArrived();
        EXPECT_EQ(passed().back(), LookedAt(6, u"7"_s)) << "8 waits for the main thread";
    }
    reader_->reset();
    file.overwrite("a\n");
    reader_->refresh();
    source_->fileReadAnew();
    file.append("b\n");
    poll();
    MainThread::shared().runPending();
    EXPECT_EQ(passed().back(), LookedAt(1, u"b"_s));
}

TEST_F(ArrivedLinesNotifierTest, LinesThatAreBeingReadAnewPassWhenTheyAreThereAgain) {
    const auto fake = std::make_shared<test::FakeReader>(1);
    follow(fake);
    fake->readGate.shut();
    fake->setLineCount(3001);
    source_->linesArrived();
    ASSERT_TRUE(test::waitFor([&] { return fake->readGate.waiting() == 1; }));
    fake->setLineCount(1);
    fake->readGate.open();
    source_->filePolled();
    EXPECT_EQ(passed().size(), 0U);
    fake->setLineCount(3001);
    source_->filePolled();
    const auto all = passed();
    ASSERT_EQ(all.size(), 3000U);
    EXPECT_EQ(all.front(), LookedAt(0, u"1"_s));
    EXPECT_EQ(all.back(), LookedAt(2999, u"3000"_s));
}

TEST_F(ArrivedLinesNotifierTest, AStartAnewLeavesOutWhatCameBetweenButNotWhatWaits) {
    const auto fake = std::make_shared<test::FakeReader>(1);
    follow(fake);
    enforcer_->gate.shut();
    fake->setLineCount(3001);
    source_->linesArrived();
    ASSERT_TRUE(test::waitFor([&] { return enforcer_->gate.waiting() == 1; }));
    fake->setLineCount(4001);
    source_->followingBegan();
    fake->setLineCount(4011);
    source_->linesArrived();
    enforcer_->gate.open();
    const auto all = passed();
    ASSERT_EQ(all.size(), 3010U);
    EXPECT_EQ(all[2999].first, 2999);
    EXPECT_EQ(all[3000].first, 4000);
}

TEST_F(ArrivedLinesNotifierTest, ClosingStopsInTheMiddleOfAPiece) {
    const auto fake = std::make_shared<test::FakeReader>(1);
    follow(fake);
    enforcer_->gate.shut();
    fake->setLineCount(5000);
    source_->linesArrived();
    ASSERT_TRUE(test::waitFor([&] { return enforcer_->gate.waiting() == 1; }));
    source_->close();
    enforcer_->gate.open();
    EXPECT_EQ(passed().size(), 1U);
    fake->setLineCount(6000);
    source_->linesArrived();
    EXPECT_EQ(passed().size(), 1U);
}

} // namespace
} // namespace korvane
