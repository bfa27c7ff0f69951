#include "documents/AppDocumentController.h"

#include "core/FileObserverProtocol.h"
#include "documents/LoadProgressController.h"
#include "documents/LocalDocument.h"
#include "support/PreferencesTest.h"
#include "support/RecordedAlerts.h"
#include "support/TemporaryFile.h"
#include "support/Waiting.h"

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using test::TemporaryFile;

/// Records the requests to the windows.
class Recorder : public DocumentWindowFactory {
public:
    void makeWindow(const std::shared_ptr<Document>& document) override { add(u"make"_s, document); }
    void changesEnd(const std::shared_ptr<Document>& front) override {
        if (front)
            add(u"raise"_s, front);
    }
    void waitForFile(const QUrl& url, std::optional<qint64> lineNumber, const QString& reason) override {
        EXPECT_TRUE(reason.contains(u"does not exist"_s));
        events << u"wait for "_s + url.fileName() + u' ' + QString::number(lineNumber.value_or(0));
    }
    void closeWindow(const std::shared_ptr<Document>& document) override {
        EXPECT_FALSE(document->isClosed()) << "the window still needs its document";
        add(u"close"_s, document);
        if (onClose)
            onClose(document);
    }
    void goToLine(const std::shared_ptr<Document>& document, qint64 lineNumber) override {
        add(u"go to %1 in"_s.arg(lineNumber), document);
    }
    QStringList takeEvents() { return std::exchange(events, {}); }

    QStringList events;
    std::function<void(const std::shared_ptr<Document>&)> onClose;

private:
    void add(const QString& event, const std::shared_ptr<Document>& document) {
        events << event + u' ' + document->displayName();
    }
};

class AppDocumentControllerTest : public test::PreferencesTest {
protected:
    Recorder recorder_;
    test::RecordedAlerts alerts_{1};
    AppDocumentController controller_{recorder_, alerts_};
};

TEST_F(AppDocumentControllerTest, OnlyTheSchemeDecidesTheTypeWhichARegisteredClassOpens) {
    const std::pair<QString, QString> cases[] = {
        {u"ssh://me@host:22/var/log/a.log"_s, AppDocumentController::remoteDocumentType},
        {u"file:///var/log/ssh:/a.log"_s, AppDocumentController::localDocumentType},
        {u"sftp://host/a.log"_s, AppDocumentController::localDocumentType},
        {u"http://host/a.log"_s, AppDocumentController::localDocumentType},
    };
    for (const auto& [url, type] : cases)
        EXPECT_EQ(controller_.typeForContentsOfUrl(QUrl(url)), type) << url.toStdString();
    EXPECT_TRUE(controller_.documentClassForType(u"Local Korvane Document"_s));
    EXPECT_FALSE(controller_.documentClassForType(u"Remote Korvane Document"_s));
    EXPECT_FALSE(controller_.documentClassForType(u"local korvane document"_s));

    const TemporaryFile file("one\n");
    controller_.setRemoteDocumentClass(
        [](const QUrl&) { return std::shared_ptr<Document>(LocalDocument::create()); });
    const auto made = controller_.makeDocument(file.url(), AppDocumentController::remoteDocumentType);
    EXPECT_EQ(made.value()->fileUrl(), file.url());
}

TEST_F(AppDocumentControllerTest, AWindowIsShownBeforeTheDocumentIsAnnounced) {
    const TemporaryFile file("one\n");
    std::shared_ptr<DocumentProtocol> announced;
    const auto subscription = controller_.documentLoaded().subscribe([&](const auto& loaded) {
        announced = loaded;
        recorder_.events << u"announced"_s;
    });
    const auto document = controller_.openDocument(file.url(), 42, u"given"_s);
    ASSERT_TRUE(document);
    EXPECT_EQ(announced, document);
    EXPECT_EQ(recorder_.takeEvents(),
              (QStringList{u"make given"_s, u"go to 42 in given"_s, u"raise given"_s, u"announced"_s}));
    EXPECT_EQ(controller_.documents(), std::vector{document});
}

TEST_F(AppDocumentControllerTest, AClickOnANotificationLeadsToTheLineOfTheVeryFile) {
    const TemporaryFile file("one\n", "a b%41 \xc3\xbc\xff#?.log");
    const QString address = absoluteString(file.url());
    controller_.userNotificationActivated(address, 1);
    ASSERT_EQ(controller_.documents().size(), 1U) << "opened where it was not open";
    const auto document = controller_.documents().front();
    EXPECT_EQ(absoluteString(document->fileUrl()), address);
    recorder_.takeEvents();
    controller_.userNotificationActivated(address, 7);
    EXPECT_EQ(controller_.documents(), std::vector{document});
    const QString name = document->displayName();
    EXPECT_EQ(recorder_.takeEvents(), (QStringList{u"go to 7 in "_s + name, u"raise "_s + name}));
}

TEST_F(AppDocumentControllerTest, ABatchComesToTheFrontOnceAndTellsAllItsFailuresInOneAlert) {
    const TemporaryFile files[] = {TemporaryFile("1\n", "a"), TemporaryFile("2\n", "b")};
    const QUrl missing = fileUrlFromPath(files[0].path() + ".missing");
    alerts_.nextAnswer = 0;
    {
        const DocumentBatch batch(controller_, 4);
        controller_.openDocument(files[0].url());
        controller_.openDocument(missing, 12);
        controller_.openDocument(files[1].url());
        controller_.openDocument(fileUrlFromPath("/dev/null"));
        EXPECT_EQ(recorder_.takeEvents(), (QStringList{u"make a"_s, u"make b"_s}));
        EXPECT_TRUE(alerts_.alerts.empty());
    }
    ASSERT_EQ(alerts_.alerts.size(), 1U);
    const Alert& alert = alerts_.alerts.front();
    EXPECT_TRUE(alert.informativeText.contains(missing.path()) &&
                alert.informativeText.contains(u"/dev/null"_s))
        << alert.informativeText.toStdString();
    EXPECT_EQ(alert.defaultButton, 1) << "Return must not open a tab for a mistyped name";
    EXPECT_EQ(recorder_.takeEvents(), (QStringList{u"raise b"_s, u"wait for a.missing 12"_s}))
        << "only what may appear is waited for";
}

TEST_F(AppDocumentControllerTest, WhatCannotBeOpenedIsSaidInOneAlert) {
    const TemporaryFile file("");
    const QUrl missing = fileUrlFromPath(file.path() + ".missing");
    for (const QUrl& url : {missing, QUrl(u"ssh://me@host:22/a.log"_s)}) {
        SCOPED_TRACE(url.toString().toStdString());
        alerts_.alerts.clear();
        EXPECT_EQ(controller_.openDocument(url), nullptr);
        ASSERT_EQ(alerts_.alerts.size(), 1U);
        EXPECT_EQ(alerts_.alerts[0].kind, Alert::Kind::Error);
        EXPECT_TRUE(alerts_.alerts[0].message.contains(url.fileName()));
        EXPECT_TRUE(alerts_.alerts[0].informativeText.contains(url.path()));
    }
    EXPECT_TRUE(recorder_.events.isEmpty());
    EXPECT_TRUE(controller_.documents().empty());
}

TEST_F(AppDocumentControllerTest, AFileCanBeOpenedAgainAfterItWasClosed) {
    const TemporaryFile file("one\n", "a\tb.log");
    const auto first = controller_.openDocument(file.url());
    controller_.closeDocument(first);
    EXPECT_TRUE(first->isClosed());
    EXPECT_EQ(controller_.documentForUrl(file.url()), nullptr);
    const auto second = controller_.openDocument(file.url());
    EXPECT_NE(second, first);
    EXPECT_EQ(recorder_.takeEvents(), (QStringList{u"make a␉b.log"_s, u"raise a␉b.log"_s, u"close a␉b.log"_s,
                                                   u"make a␉b.log"_s, u"raise a␉b.log"_s}));
}

TEST_F(AppDocumentControllerTest, ClosingAllClosesEachOnceAndThenTellsSo) {
    const TemporaryFile one("", "one");
    const TemporaryFile two("", "two");
    const auto first = controller_.openDocument(one.url());
    const auto second = controller_.openDocument(two.url());
    recorder_.takeEvents();
    // A window that closes also closes its document.
    recorder_.onClose = [this](const std::shared_ptr<Document>& document) {
        controller_.closeDocument(document);
    };
    controller_.setDidCloseAll([this] { recorder_.events << u"all gone"_s; });
    controller_.closeAllDocuments();
    EXPECT_EQ(recorder_.takeEvents(), (QStringList{u"close one"_s, u"close two"_s, u"all gone"_s}));
    EXPECT_TRUE(first->isClosed() && second->isClosed());
}

TEST_F(AppDocumentControllerTest, OpeningStartsToFollowAsTheSettingSays) {
    for (const bool isWanted : {true, false}) {
        SCOPED_TRACE(isWanted);
        Preferences::shared().setStartTailingOnFileOpen(isWanted);
        const TemporaryFile file("one\n");
        const auto document = controller_.openDocument(file.url());
        ASSERT_TRUE(document);
        ASSERT_TRUE(test::waitFor([&] {
            return document->loadProgress()->state() == LoadProgressController::State::Completed &&
                   document->logFileObserver()->isTailing() == isWanted;
        }));
        if (!isWanted) {
            // The end of the load, which would start following, has been delivered.
            EXPECT_TRUE(test::settle(std::chrono::seconds(20)));
            EXPECT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(1)));
        }
        controller_.closeDocument(document);
    }
}

} // namespace
} // namespace korvane
