#include "remote/RemoteDocument.h"
#include "remote/RemoteFileModel.h"
#include "remote/ShellClient.h"
#include "remote/SshTest.h"
#include "ui/AppFixture.h"
#include "ui/hosts/RemoteBrowsing.h"
#include "ui/hosts/RemoteColumnView.h"
#include "ui/page/LineCopier.h"
#include "ui/page/LogSearch.h"
#include "ui/window/BookmarksOutlineViewController.h"
#include "ui/window/Snapshot.h"

namespace korvane::test {
namespace {

/// Remote documents in a window, over the local shell.
class RemoteInWindowTest : public AppFixture {
protected:
    RemoteInWindowTest() {
        Preferences::shared().setStartTailingOnFileOpen(false);
        documents_.setRemoteDocumentClass([this](const QUrl&) {
            return std::shared_ptr<Document>(
                RemoteDocument::create(host_, [this](const std::shared_ptr<RemoteHost>& host) {
                    client_ = std::make_shared<ShellClient>(host, alerts_);
                    client_->logins = logins_;
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
    std::shared_ptr<ShellClient> client_;
    ShellClient::Logins logins_ = ShellClient::Logins::Accepted;
};

TEST_F(RemoteInWindowTest, LinesNobodyHasSeenAreCopiedMarkedAndFound) {
    const TemporaryFile file(numberedLines(22'345) + '\n');
    MainWindowController* page = openRemote(file, 22'000);
    LogViewController& view = page->logView();
    EXPECT_EQ(view.tableView().rowCount(), 22'345);
    EXPECT_EQ(textOfRow(*page, 21'999), u"line 22000"_s);
    EXPECT_FALSE(page->document()->dataSource()->cachedRowLine(10'000));

    view.tableView().selection().selectAll();
    QApplication::clipboard()->clear();
    view.copier().copySelection();
    ASSERT_TRUE(until([] { return !QApplication::clipboard()->text().isEmpty(); }));
    EXPECT_EQ(QApplication::clipboard()->text().toUtf8(), numberedLines(22'345));

    view.tableView().selection().selectRow(10'000);
    view.toggleLineMarkMenuAction();
    const QString address = absoluteString(page->document()->fileUrl());
    auto& store = FileBasedBookmarksManager::shared();
    ASSERT_TRUE(until([&] { return store.hasLineMark(address, 10'000); }));
    EXPECT_EQ(store.lineMarksFor(address)->entries().front()->line(), u"line 10001"_s);
    EXPECT_FALSE(page->document()->dataSource()->cachedRowLine(10'000));
}

TEST_F(RemoteInWindowTest, APictureIsDrawnOfWhatThereIs) {
    const TemporaryFile lines(numberedLines(100) + '\n');
    const TemporaryFile nothing("");
    const QString full = QString::fromUtf8(lines.path());
    const QString lost = u"There is no connection to h"_s;
    using Logins = ShellClient::Logins;
    for (const auto& [logins, path, fault] :
         Rows<Logins, QString, QString>{{Logins::Accepted, full, {}},
                                        {Logins::Accepted, QString::fromUtf8(nothing.path()), {}},
                                        {Logins::Accepted, u"/nonexistent/x.log"_s, {}},
                                        {Logins::Unauthorised, full, lost},
                                        {Logins::Refused, full, lost}}) {
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
        EXPECT_EQ(document->dataSource()->numberOfRows() == 100, path == full && fault.isEmpty());
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
    client_->logins = ShellClient::Logins::Unauthorised;
    page->logView().goToLine(15'000);
    EXPECT_TRUE(
        until([&] { return saysBeginning(page, u"The connection to h is lost: these are the lines"_s); }));
    EXPECT_EQ(alerts_.alerts.size(), 1U);
    EXPECT_EQ(tableOf(page).rowCount(), 20'000);
    client_->fails = true;
    page->logView().tableView().selection().selectAll();
    page->logView().copier().copySelection();
    EXPECT_TRUE(until([&] { return saysBeginning(page, u"5,000 of 20,000 lines copied"_s); }));

    const LogTableView& table = tableOf(page);
    const qint64 top = table.scroller().firstVisibleRow();
    EXPECT_GT(top, 10'000);
    client_->fails = false;
    client_->logins = ShellClient::Logins::Accepted;
    EXPECT_TRUE(page->canConnect());
    page->connectToServer();
    EXPECT_TRUE(until([&] { return textOfRow(*page, 14'999) == u"line 15000"_s; }));
    EXPECT_EQ(table.scroller().firstVisibleRow(), top);
    EXPECT_EQ(table.selection().rows().count(), 20'000);
    EXPECT_FALSE(saysBeginning(page, u"The connection"_s));
    EXPECT_FALSE(page->canConnect());
}

// ---- The program with a real server

constexpr int lineCount = 12'345;

/// One run of the program, on settings that outlive it.
struct ProgramRun : ProgramInDirectory {
    explicit ProgramRun(const QString& settings) : ProgramInDirectory(settings) {
        Preferences::shared().setPollingInterval(Preferences::shortestPollingInterval);
        // Leaves the known hosts of the user who runs the tests unchanged.
        Preferences::shared().setHostKeyChoice(HostKeyChoice::AcceptAll);
        documents_.setRemoteDocumentClass([this](const QUrl& url) {
            return RemoteDocument::createForUrl(url, RemoteHostsManager::shared(), alerts_);
        });
        windows_.setRemoteHostsHooks(browsing.hooks());
        windows_.setKeepsState();
        alerts_.nextAnswer.reset();
    }
    ~ProgramRun() {
        windows_.quit();
        browsing.closeAll();
        windows_.setRemoteHostsHooks({});
        EXPECT_TRUE(close());
    }

    MainWindowController* page() const {
        return documents_.documents().empty() ? nullptr : windows_.pageOf(*documents_.documents().front());
    }
    LogTableView& table() const { return page()->logView().tableView(); }
    /// A row's text, as the view shows it; empty until it is loaded.
    QString shown(qint64 row) const {
        const auto line = page()->document()->dataSource()->cachedRowLine(row);
        return line ? line->line.string() : QString();
    }

    RemoteBrowsing browsing{documents_, alerts_};
};

class RemoteEndToEndTest : public testing::Test, public WindowDriver, protected OwnSettings {
protected:
    RemoteEndToEndTest() {
        write(numberedLines(1, lineCount), QFile::WriteOnly);
        makeStores(settings_.path());
        const auto host = SshTest::keyHost(server_);
        host->setName(u"Web"_s);
        host->setHomePath(server_.path());
        EXPECT_TRUE(RemoteHostsManager::shared().add(host));
    }

    void write(const QByteArray& text, QFile::OpenMode mode) const {
        writeFile(server_.path(u"app log.txt"_s), text, mode);
    }
    /// Chooses the file in the host's browser.
    static void browseToFile(ProgramRun& run) {
        run.browsing.browse(RemoteHostsManager::shared().host(0));
        auto* browser = topLevel<ServerBrowserViewController>();
        ASSERT_TRUE(browser);
        auto* columns = browser->findChild<RemoteColumnView*>();
        QModelIndex file;
        ASSERT_TRUE(until([&] {
            if (columns->model())
                file = indexOf(*columns->model(), u"app log.txt"_s);
            return file.isValid();
        }));
        columns->setCurrentIndex(file);
        browser->accept();
    }

    SshServer server_;
};

TEST_F(RemoteEndToEndTest, AFileIsBrowsedFollowedSearchedMarkedAndFoundAgain) {
    {
        ProgramRun run(settings_.path());
        browseToFile(run);
        ASSERT_TRUE(run.page());
        ASSERT_TRUE(until([&] { return run.table().rowCount() == lineCount && run.page()->isTailing(); }));
        // The first and last rows of the pages, which have 5000, 5000 and 2345 lines.
        for (const qint64 row : {0, 4'999, 5'000, 9'999, 10'000, 12'344}) {
            run.page()->logView().goToLine(row + 1);
            EXPECT_TRUE(until([&] { return run.shown(row) == u"line %1"_s.arg(row + 1); })) << row;
        }
        EXPECT_FALSE(run.page()->document()->dataSource()->cachedRowLine(lineCount));

        write(numberedLines(lineCount + 1, 10), QFile::Append);
        EXPECT_TRUE(until([&] { return run.shown(lineCount + 9) == u"line %1"_s.arg(lineCount + 10); }));
        write(numberedLines(1, 7'000), QFile::WriteOnly | QFile::Truncate);
        EXPECT_TRUE(
            until([&] { return run.table().rowCount() == 7'000 && run.shown(6'999) == u"line 7000"_s; }));

        LogSearch& search = run.page()->logView().search();
        run.page()->logView().goToLine(1);
        search.setText(u"LINE 4321"_s);
        search.findNext();
        EXPECT_TRUE(
            until([&] { return !search.isSearching() && run.table().selection().currentRow() == 4'320; }));

        run.page()->logView().toggleLineMarkMenuAction();
        const QString address = absoluteString(run.page()->document()->fileUrl());
        auto& bookmarks = FileBasedBookmarksManager::shared();
        EXPECT_TRUE(until([&] { return bookmarks.hasLineMark(address, 4'320); }));
        qobject_cast<MainWindow*>(run.page()->window())->bookmarkFile();
    }
    ProgramRun run(settings_.path());
    // The tab of the last session is restored, and does not connect until requested.
    run.windows_.restoreSession(WindowManager::Reading::AtOnce);
    ASSERT_TRUE(run.page());
    EXPECT_EQ(run.page()->document()->connectionState(), ConnectionState::Unconnected);
    EXPECT_FALSE(run.page()->isLoading());
    const auto* sidebar = run.page()->window()->findChild<BookmarksOutlineViewController*>();
    auto* outline = sidebar->findChild<QTreeView*>();
    const QAbstractItemModel& model = *outline->model();
    const QModelIndex remote = model.index(1, 0);
    const QModelIndex group = model.index(0, 0, remote);
    const QModelIndex server = model.index(0, 0, group);
    const QModelIndex file = model.index(0, 0, server);
    EXPECT_EQ(group.data().toString(), u"Default"_s);
    EXPECT_EQ(server.data().toString(), u"Web"_s);
    EXPECT_EQ(file.data().toString(), u"app log.txt"_s);
    outline->setCurrentIndex(file);
    QTest::keyClick(outline, Qt::Key_Return);
    ASSERT_TRUE(until([&] { return run.table().rowCount() == 7'000; }));
    EXPECT_TRUE(run.page()->document()->dataSource()->hasLineMark(4'320));
}

} // namespace
} // namespace korvane::test
