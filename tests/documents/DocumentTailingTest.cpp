#include "core/FileObserverProtocol.h"
#include "core/TailDataSourceProtocol.h"
#include "documents/AppDocumentController.h"
#include "documents/LoadProgressController.h"
#include "documents/LocalDocument.h"
#include "support/PreferencesTest.h"
#include "support/RecordedAlerts.h"
#include "support/TemporaryFile.h"
#include "support/Waiting.h"
#include "support/WithoutRootsRights.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::TemporaryFile;
using test::waitFor;
using State = LoadProgressController::State;

class DocumentTailingTest : public test::PreferencesTest {
protected:
    DocumentTailingTest() { Preferences::shared().setPollingInterval(0.002); }
    ~DocumentTailingTest() override { document_->close(); }

    void tail(const TemporaryFile& file) {
        ASSERT_TRUE(document_->readFromUrl(file.url()));
        document_->startTailingWhenLoaded();
        document_->startLoading();
        ASSERT_TRUE(waitFor([&] { return document_->logFileObserver()->isTailing(); }));
        EXPECT_EQ(document_->loadProgress()->state(), State::Completed) << "the load is the document's own";
    }
    bool waitForRows(const QStringList& rows) {
        return waitFor([&] {
            const auto source = document_->dataSource();
            if (source->numberOfRows() != rows.size())
                return false;
            for (qint64 row = 0; row < rows.size(); ++row) {
                const RowLine line = source->rowLine(row);
                if (!line.isLoaded || line.line.string() != rows[row])
                    return false;
            }
            return true;
        });
    }

    std::shared_ptr<LocalDocument> document_ = LocalDocument::create();
};

TEST_F(DocumentTailingTest, RowsFollowTheFile) {
    for (const bool isLazy : {true, false}) {
        SCOPED_TRACE(isLazy);
        Preferences::shared().setLazyLoadFile(isLazy);
        document_ = LocalDocument::create();
        const TemporaryFile file("one\ntw");
        tail(file);
        ASSERT_TRUE(waitForRows({u"one"_s, u"tw"_s}));
        file.append("o\nthree");
        EXPECT_TRUE(waitForRows({u"one"_s, u"two"_s, u"three"_s}));
        document_->dataSource()->clearView();
        document_->dataSource()->setLastSearchResults({{0, {0, {{0, 1}}}}});
        file.overwrite("eno\n");
        EXPECT_TRUE(waitForRows({u"eno"_s, QString()})) << "a cleared view begins anew";
        EXPECT_TRUE(document_->dataSource()->lastSearchResults().empty());

        const TemporaryFile other("rotated\n");
        ASSERT_EQ(::rename(other.path().constData(), file.path().constData()), 0);
        EXPECT_TRUE(waitForRows({u"rotated"_s, QString()}));
        std::optional<FileFault> fault;
        document_->checkFile([&](FileFault found) { fault = found; });
        EXPECT_TRUE(waitFor([&] { return fault.has_value(); }));
        EXPECT_EQ(fault, FileFault::None) << "the file at the path is the one shown";
    }
}

TEST_F(DocumentTailingTest, AFileThatMayNotBeReadShowsWhenItMay) {
    const test::WithoutRootsRights asAnyone;
    const TemporaryFile file("one\n");
    ASSERT_EQ(::chmod(file.path().constData(), 0), 0);
    tail(file);
    EXPECT_FALSE(document_->openFault().isEmpty());
    ASSERT_EQ(::chmod(file.path().constData(), 0600), 0);
    EXPECT_TRUE(waitForRows({u"one"_s, QString()}));
    EXPECT_EQ(document_->openFault(), QString());
}

TEST_F(DocumentTailingTest, CancellingTheLoadDoesNotLeaveItToTheMonitor) {
    Preferences::shared().setPollingInterval(3600); // a monitor that runs would outlast the limit below
    const TemporaryFile file(QByteArray("line\n").repeated(2'000'000));
    ASSERT_TRUE(document_->readFromUrl(file.url()));
    document_->startLoading();
    document_->startTailingWhenLoaded();
    document_->cancelLoading();
    EXPECT_TRUE(OperationQueue::waitForAllWorkers(20s));
    MainThread::shared().runPending();
    EXPECT_TRUE(OperationQueue::waitForAllWorkers(5s));
    EXPECT_FALSE(document_->logFileObserver()->isTailing());
    EXPECT_LT(document_->logReader()->lineCount(), 2'000'000);
}

TEST_F(DocumentTailingTest, ClosingEndsTheMonitorAtOnce) {
    Preferences::shared().setPollingInterval(3600);
    const TemporaryFile file("one\n");
    tail(file);
    const std::weak_ptr<TailDataSourceProtocol> rows = document_->dataSource();
    document_->close();
    EXPECT_TRUE(OperationQueue::waitForAllWorkers(5s));
    EXPECT_TRUE(rows.expired());
    document_->startTailingWhenLoaded();
    EXPECT_TRUE(OperationQueue::waitForAllWorkers(1s)) << "a closed document follows nothing";
}

class NoWindows : public DocumentWindowFactory {
public:
    void makeWindow(const std::shared_ptr<Document>&) override {}
    void changesEnd(const std::shared_ptr<Document>&) override {}
    void waitForFile(const QUrl&, std::optional<qint64>, const QString&) override {}
    void closeWindow(const std::shared_ptr<Document>&) override {}
    void goToLine(const std::shared_ptr<Document>&, qint64) override {}
};

TEST_F(DocumentTailingTest, OpeningStartsToFollowAsTheSettingSays) {
    NoWindows none;
    test::RecordedAlerts alerts;
    AppDocumentController controller(none, alerts);
    for (const bool isWanted : {true, false}) {
        SCOPED_TRACE(isWanted);
        Preferences::shared().setStartTailingOnFileOpen(isWanted);
        const TemporaryFile file("one\n");
        const auto document = controller.openDocument(file.url());
        ASSERT_TRUE(document);
        ASSERT_TRUE(waitFor([&] { return document->loadProgress()->state() == State::Completed; }));
        if (isWanted) {
            EXPECT_TRUE(waitFor([&] { return document->logFileObserver()->isTailing(); }));
        } else {
            // The load's end, which would start it, has been heard of.
            EXPECT_TRUE(OperationQueue::waitForAllWorkers(20s));
            MainThread::shared().runPending();
            EXPECT_TRUE(OperationQueue::waitForAllWorkers(1s));
        }
        controller.closeDocument(document);
    }
}

} // namespace
} // namespace korvane
