#include "remote/RemoteDocument.h"
#include "remote/ShellClient.h"
#include "remote/hosts/RemoteHost.h"
#include "ui/AppFixture.h"
#include "ui/window/Snapshot.h"

#include <QApplication>
#include <QClipboard>
#include <QFile>
#include <QLabel>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using test::numberedLines;
using test::TemporaryFile;

/// Remote documents in a window, over the shell of this computer.
class RemoteInWindowTest : public test::AppFixture {
protected:
    RemoteInWindowTest() {
        Preferences::shared().setStartTailingOnFileOpen(false);
        documents_.setRemoteDocumentClass([this](const QUrl&) {
            return std::shared_ptr<Document>(
                RemoteDocument::create(host_, [this](const std::shared_ptr<RemoteHost>& host) {
                    client_ = std::make_shared<test::ShellClient>(host, alerts_);
                    client_->setLogins(logins_);
                    return client_;
                }));
        });
    }
    MainWindowController* openRemote(const TemporaryFile& file, std::optional<qint64> line = std::nullopt) {
        const RemoteUrl url(*host_, QString::fromUtf8(file.path()));
        const auto document = documents_.openDocument(url.url(), line);
        EXPECT_TRUE(document);
        MainWindowController* page = windows_.pageOf(*document);
        EXPECT_TRUE(until([&] { return !page->isLoading() && isShown(*page); }));
        return page;
    }

    const std::shared_ptr<RemoteHost> host_ = std::make_shared<RemoteHost>(u"h"_s, 22, u"u"_s);
    std::shared_ptr<test::ShellClient> client_;
    test::ShellClient::Logins logins_ = test::ShellClient::Logins::Accepted;
};

TEST_F(RemoteInWindowTest, LinesNobodyHasSeenAreCopiedMarkedAndFound) {
    const TemporaryFile file(numberedLines(22'345) + '\n');
    MainWindowController* page = openRemote(file, 22'000);
    LogViewController& view = page->logView();
    EXPECT_EQ(view.tableView().rowCount(), 22'345);
    EXPECT_EQ(textOfRow(*page, 21'999), u"line 22000"_s);
    EXPECT_FALSE(page->document()->dataSource()->cachedRowLine(10'000));

    view.selectAll();
    QApplication::clipboard()->clear();
    view.copySelection();
    ASSERT_TRUE(until([] { return !QApplication::clipboard()->text().isEmpty(); }));
    EXPECT_EQ(QApplication::clipboard()->text().toUtf8(), numberedLines(22'345));

    view.tableView().selectRow(10'000);
    view.toggleLineMarkMenuAction();
    const QString address = absoluteString(page->document()->fileUrl());
    auto& store = FileBasedBookmarksManager::shared();
    ASSERT_TRUE(until([&] { return store.hasLineMark(address, 10'000); }));
    EXPECT_EQ(store.lineMarksFor(address)->entries().front()->line(), u"line 10001"_s);
    EXPECT_FALSE(page->document()->dataSource()->cachedRowLine(10'000));
}

TEST_F(RemoteInWindowTest, APictureIsDrawnOfWhatThereIs) {
    const TemporaryFile full(numberedLines(100) + '\n');
    const TemporaryFile empty("");
    const QString missing = u"/nonexistent/x.log"_s;
    using Logins = test::ShellClient::Logins;
    const struct {
        Logins logins;
        QString path;
        QString fault;
    } cases[] = {
        {Logins::Accepted, QString::fromUtf8(full.path()), {}},
        {Logins::Accepted, QString::fromUtf8(empty.path()), {}},
        {Logins::Accepted, missing, {}},
        {Logins::Unauthorised, QString::fromUtf8(full.path()), u"There is no connection to h"_s},
        {Logins::Refused, QString::fromUtf8(full.path()), u"There is no connection to h"_s},
    };
    for (const auto& [logins, path, fault] : cases) {
        SCOPED_TRACE(path.toStdString());
        logins_ = logins;
        const auto document = documents_.openDocument(RemoteUrl(*host_, path).url());
        ASSERT_TRUE(document);
        std::optional<QString> outcome;
        const QString picture = settings_.filePath(u"picture.png"_s);
        new Snapshot(
            *windows_.pageOf(*document), picture, [] { return true; },
            [&](const QString& text) { outcome = text; });
        EXPECT_TRUE(until([&] { return outcome.has_value(); }));
        EXPECT_EQ(outcome, fault);
        EXPECT_EQ(document->dataSource()->numberOfRows() == 100, path == cases[0].path && fault.isEmpty());
        EXPECT_TRUE(QFile::remove(picture));
        documents_.closeAllDocuments();
        windows_.closeAll();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}

TEST_F(RemoteInWindowTest, TheFooterSaysThatTheConnectionIsLost) {
    const TemporaryFile file(numberedLines(20'000) + '\n');
    MainWindowController* page = openRemote(file);
    EXPECT_TRUE(saysBeginning(page, u"20,000 lines"_s));
    page->showFileInfo();
    client_->setLogins(test::ShellClient::Logins::Unauthorised);
    page->logView().goToLine(15'000);
    EXPECT_TRUE(
        until([&] { return saysBeginning(page, u"The connection to h is lost: these are the lines"_s); }));
    EXPECT_EQ(alerts_.alerts.size(), 1U);
    EXPECT_EQ(page->logView().tableView().rowCount(), 20'000);
    client_->setFails(true);
    page->logView().selectAll();
    page->logView().copySelection();
    EXPECT_TRUE(until([&] { return saysBeginning(page, u"5,000 of 20,000 lines copied"_s); }));

    const LogTableView& table = page->logView().tableView();
    const qint64 top = table.firstVisibleRow();
    EXPECT_GT(top, 10'000);
    client_->setFails(false);
    client_->setLogins(test::ShellClient::Logins::Accepted);
    page->document()->reconnect();
    EXPECT_TRUE(until([&] { return textOfRow(*page, 14'999) == u"line 15000"_s; }));
    EXPECT_EQ(table.firstVisibleRow(), top);
    EXPECT_EQ(table.selection().count(), 20'000);
    EXPECT_FALSE(saysBeginning(page, u"The connection"_s));
}

} // namespace
} // namespace korvane
