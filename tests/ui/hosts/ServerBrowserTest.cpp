#include "ui/hosts/ServerBrowserViewController.h"

#include "remote/RemoteFileModel.h"
#include "remote/SFTPClient.h"
#include "support/Gate.h"
#include "ui/hosts/RemoteColumnView.h"
#include "ui/hosts/RemoteHostsFixture.h"

#include <atomic>
#include <map>
#include <mutex>

namespace korvane::test {
namespace {

/// A login with a given result.
class LoginThatAnswers : public Client {
public:
    LoginThatAnswers(std::shared_ptr<RemoteHost> host, AlertPresenter& alerts, Result<Connection> answer)
        : Client(std::move(host), alerts), answer_(std::move(answer)) {}
    Result<Connection> connect() override { return answer_; }
    bool isConnected() const override { return !isDisconnected; }
    void disconnect() override { isDisconnected = true; }

    std::atomic<bool> isDisconnected{false};

private:
    const Result<Connection> answer_;
};

/// A tree of files in memory, on a server whose connection can be lost; counts the listings of each
/// directory.
class TreeInMemory : public SFTPClient {
public:
    using SFTPClient::SFTPClient;

    bool isConnected() const override { return isConnected_; }
    Status connect(LoginAsked asked) override {
        if (asked == LoginAsked::ByProgram && !isConnected_)
            ++logins;
        if (!isConnected_ && refusesLogins && asked == LoginAsked::ByProgram)
            return Error{1, QStringLiteral("SSH"), QStringLiteral("No connection: refused.")};
        isConnected_ = true;
        return success();
    }
    Result<std::vector<Entry>> contentsOfDirectoryAtPath(const QString& path) override {
        const std::lock_guard lock(mutex_);
        if (!isConnected_)
            return Error{4, QStringLiteral("SSH"), QStringLiteral("Connection reset by peer")};
        ++listings[path];
        const auto found = directories.find(path);
        if (found == directories.end())
            return Error{3, QStringLiteral("SFTP"), u"\"%1\" cannot be read: permission denied."_s.arg(path)};
        return found->second;
    }
    Result<std::vector<LinkTarget>> followLinks(const std::vector<QString>& paths) override {
        linkGate.pass();
        const std::lock_guard lock(mutex_);
        std::vector<LinkTarget> targets;
        for (const QString& path : paths)
            targets.push_back(links[path]);
        return targets;
    }
    int listingsOf(const QString& path) {
        const std::lock_guard lock(mutex_);
        return listings[path];
    }
    void lose() { isConnected_ = false; }

    std::map<QString, std::vector<Entry>> directories;
    std::map<QString, LinkTarget> links;
    std::map<QString, int> listings;
    /// Blocks the following of links.
    Gate linkGate;
    std::atomic<bool> refusesLogins{false};
    std::atomic<int> logins{0};

private:
    std::mutex mutex_;
    std::atomic<bool> isConnected_{true};
};

class ServerBrowserTest : public RemoteHostsFixture, public ServerBrowserViewDelegate {
protected:
    using Mode = QAbstractItemModelTester::FailureReportingMode;

    ServerBrowserTest() {
        EXPECT_TRUE(RemoteHostsManager::shared().add(host_));
        using Kind = RemoteFileKind;
        tree_->directories = {
            {u"/"_s, {{u"var"_s, Kind::Directory}, {u"notes.txt"_s}}},
            {u"/var"_s, {{u"log"_s, Kind::Directory}}},
            {u"/var/log"_s,
             {file(u"b10.log"_s, 10, 3),
              file(u"b9.log"_s, 2000, 1),
              {u"today"_s, Kind::Link},
              {u"apt"_s, Kind::Directory},
              {u"last.log"_s, Kind::Link},
              file(u".hidden.log"_s, 30, 2)}},
            {u"/var/log/apt"_s, {}},
            {u"/var/log/today"_s, {file(u"new.log"_s, 1, 1)}},
        };
        tree_->links = {{u"/var/log/today"_s, {Kind::Directory}},
                        {u"/var/log/last.log"_s, {Kind::Missing, {}, {}, u"It leads nowhere."_s}}};
    }
    ~ServerBrowserTest() override {
        delete browser_;
        tree_->linkGate.open();
    }

    static SFTPClient::Entry file(const QString& name, quint64 size, int day) {
        return {name, RemoteFileKind::Regular, size, QDateTime(QDate(2026, 11, day), QTime(12, 0))};
    }

    void open(Result<Client::Connection> answer = Client::Connection{true, true}) {
        client_ = std::make_shared<LoginThatAnswers>(host_, alerts_, std::move(answer));
        browser_ = new ServerBrowserViewController(client_, tree_, *this, alerts_);
        for (auto* model : browser_->findChildren<QAbstractItemModel*>())
            new QAbstractItemModelTester(model, Mode::Fatal, browser_);
        browser_->comeBack();
    }
    void remoteFileChosen(const std::shared_ptr<RemoteHost>&, const QString& path) override {
        chosen_ = path;
    }

    RemoteColumnView& columns() { return *browser_->findChild<RemoteColumnView*>(); }
    /// The displayed entry with that path, after it has been listed.
    QModelIndex entry(const QString& path) {
        QModelIndex found;
        EXPECT_TRUE(until([&] {
            if (columns().model())
                found = indexOf(*columns().model(), path, RemoteFileModel::PathRole);
            return found.isValid();
        })) << path.toStdString();
        return found;
    }
    bool says(const QString& text) {
        return until([&] { return WindowDriver::says(browser_, text); });
    }
    QString savedHomePath() const { return savedHosts()->host(0)->homePath(); }
    /// The names in the directory's column, from top to bottom.
    QStringList names(const QModelIndex& parent = {}) {
        return columns().model() ? textsOf(*columns().model(), parent) : QStringList();
    }
    bool shows(const QStringList& expected, const QString& directory = {}) {
        return until(
            [&] { return names(directory.isEmpty() ? QModelIndex() : entry(directory)) == expected; });
    }
    void select(const QString& path) { columns().setCurrentIndex(entry(path)); }
    void press(const QString& name) { button(browser_, name)->click(); }
    QString selected() { return columns().currentIndex().data(RemoteFileModel::PathRole).toString(); }
    /// Presses the key in the focused widget.
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
        ASSERT_TRUE(until([&] { return browser_->focusWidget() != nullptr; }));
        QTest::keyClick(browser_->focusWidget(), key, modifiers);
    }

    std::shared_ptr<RemoteHost> host_ = std::make_shared<RemoteHost>(u"h"_s, 22, u"u"_s);
    std::shared_ptr<TreeInMemory> tree_ = std::make_shared<TreeInMemory>(nullptr);
    std::shared_ptr<LoginThatAnswers> client_;
    QPointer<ServerBrowserViewController> browser_;
    QString chosen_;
};

TEST_F(ServerBrowserTest, EntriesAreShownBeforeTheirLinksAreFollowed) {
    tree_->linkGate.shut();
    host_->setHomePath(u"/var/log"_s);
    open();
    ASSERT_TRUE(shows({u"apt"_s, u"b9.log"_s, u"b10.log"_s, u"last.log"_s, u"today"_s}));
    EXPECT_EQ(browser_->currentPath(), u"/var/log"_s);
    select(u"/var/log/today"_s);
    EXPECT_FALSE(button(browser_, u"OK"_s)->isEnabled()) << "nobody knows yet what it is";
    tree_->linkGate.open();
    ASSERT_TRUE(shows({u"apt"_s, u"today"_s, u"b9.log"_s, u"b10.log"_s, u"last.log"_s}));
    EXPECT_EQ(selected(), u"/var/log/today"_s);
    EXPECT_TRUE(shows({u"new.log"_s}, u"/var/log/today"_s)) << "a directory that is selected is shown";
    for (const auto& [name, image] : Rows<QString, QString>{
             {u"apt"_s, u"folder2"_s}, {u"today"_s, u"symLink"_s}, {u"b9.log"_s, u"blank"_s}})
        EXPECT_EQ(entry(u"/var/log/"_s + name).data(RemoteFileModel::ImageNameRole).toString(), image);
    select(u"/var/log/last.log"_s);
    EXPECT_FALSE(button(browser_, u"OK"_s)->isEnabled());
    EXPECT_TRUE(says(u"It leads nowhere."_s));
    for (int i = 0; i < 2; ++i) {
        select(u"/var/log/apt"_s);
        EXPECT_TRUE(until([&] { return tree_->listingsOf(u"/var/log/apt"_s) == 1; }));
        select(u"/var/log/b9.log"_s);
    }
    EXPECT_EQ(tree_->listingsOf(u"/var/log/apt"_s), 1);
    EXPECT_EQ(tree_->listingsOf(u"/var/log"_s), 1);
}

TEST_F(ServerBrowserTest, KeysAloneLeadToAFile) {
    host_->setHomePath(u"/gone"_s);
    open(Client::Connection{true, false});
    ASSERT_TRUE(shows({u"var"_s, u"notes.txt"_s}));
    EXPECT_EQ(browser_->currentPath(), u"/"_s);
    EXPECT_EQ(selected(), QString());
    press(Qt::Key_Down);
    EXPECT_EQ(selected(), u"/var"_s) << "the first entry";
    browser_->accept();
    EXPECT_TRUE(browser_->isVisible()) << "a directory is no file";
    ASSERT_TRUE(shows({u"log"_s}, u"/var"_s));
    press(Qt::Key_Return);
    EXPECT_EQ(selected(), u"/var/log"_s);
    ASSERT_TRUE(shows({u"apt"_s, u"today"_s, u"b9.log"_s, u"b10.log"_s, u"last.log"_s}, u"/var/log"_s));
    for (const auto& [key, path] : Rows<Qt::Key, QString>{{Qt::Key_Right, u"/var/log/apt"_s},
                                                          {Qt::Key_End, u"/var/log/last.log"_s},
                                                          {Qt::Key_Left, u"/var/log"_s},
                                                          {Qt::Key_Backspace, u"/var"_s},
                                                          {Qt::Key_N, u"/notes.txt"_s}}) {
        press(key);
        EXPECT_EQ(selected(), path);
    }
    press(Qt::Key_Return);
    EXPECT_EQ(chosen_, u"/notes.txt"_s);
    EXPECT_TRUE(until([&] { return !browser_; }));
    EXPECT_TRUE(client_->isDisconnected);
}

TEST_F(ServerBrowserTest, ThePathBarTheRootButtonAndTheKeyForItLeadBack) {
    host_->setHomePath(u"/var/log/apt"_s);
    open();
    ASSERT_TRUE(until([&] { return !browser_->currentPath().isEmpty(); }));
    press(Qt::Key_Up, Qt::AltModifier);
    EXPECT_EQ(browser_->currentPath(), u"/var/log"_s);
    EXPECT_TRUE(until([&] { return selected() == u"/var/log/apt"_s; }));
    ASSERT_TRUE(until([&] { return button(browser_, u"var"_s)->isVisible(); }));
    click(browser_, u"var"_s);
    EXPECT_EQ(browser_->currentPath(), u"/var"_s);
    entry(u"/var/log"_s);
    press(u"Root"_s);
    EXPECT_EQ(browser_->currentPath(), u"/"_s);
    entry(u"/notes.txt"_s);
}

TEST_F(ServerBrowserTest, OrderAndHiddenFilesAreChosenAndRemembered) {
    host_->setHomePath(u"/var/log"_s);
    open();
    entry(u"/var/log/last.log"_s);
    select(u"/var/log/b9.log"_s);
    EXPECT_TRUE(
        says(u"/var/log/b9.log — 2.0 KiB, "_s +
             QLocale::system().toString(QDateTime(QDate(2026, 11, 1), QTime(12, 0)), QLocale::ShortFormat)));
    named<QAction>(browser_, u"Sort by Size, Largest First"_s)->trigger();
    EXPECT_TRUE(shows({u"apt"_s, u"today"_s, u"b9.log"_s, u"b10.log"_s, u"last.log"_s}));
    press(Qt::Key_H, Qt::ControlModifier);
    named<QAction>(browser_, u"Sort by Date, Newest First"_s)->trigger();
    const QStringList byDate{u"apt"_s,         u"today"_s,  u"b10.log"_s,
                             u".hidden.log"_s, u"b9.log"_s, u"last.log"_s};
    EXPECT_TRUE(shows(byDate));
    EXPECT_EQ(selected(), u"/var/log/b9.log"_s);
    delete browser_;
    open();
    EXPECT_TRUE(shows(byDate));
}

TEST_F(ServerBrowserTest, ARefreshKeepsWhatIsStillThere) {
    open();
    for (const QString& path : {u"/var"_s, u"/var/log"_s, u"/var/log/b9.log"_s})
        select(path);
    entry(u"/var/log/last.log"_s);
    auto& log = tree_->directories[u"/var/log"_s];
    log = {
        file(u"b9.log"_s, 3000, 4), file(u"a.log"_s, 1, 1), {u"apt"_s}, {u"today"_s, RemoteFileKind::Link}};
    press(Qt::Key_F5);
    EXPECT_TRUE(shows({u"today"_s, u"a.log"_s, u"apt"_s, u"b9.log"_s}, u"/var/log"_s));
    EXPECT_EQ(selected(), u"/var/log/b9.log"_s);
    EXPECT_EQ(columns().currentIndex().data(RemoteFileModel::FileSizeRole).toInt(), 3000);
    log.erase(log.begin());
    press(u"Refresh"_s);
    EXPECT_TRUE(shows({u"today"_s, u"a.log"_s, u"apt"_s}, u"/var/log"_s));
    EXPECT_EQ(selected(), u"/var/log"_s) << "the neighbour of what is gone was not chosen by anybody";
    // Different bytes that are displayed alike.
    log = {file(u"\uFFFD"_s, 1, 1), file(u"\uFFFD"_s, 2, 1)};
    press(Qt::Key_F5);
    EXPECT_TRUE(shows({u"\uFFFD"_s, u"\uFFFD"_s}, u"/var/log"_s));
    log.push_back(file(u"new"_s, 1, 1));
    press(Qt::Key_F5);
    EXPECT_TRUE(shows({u"new"_s, u"\uFFFD"_s, u"\uFFFD"_s}, u"/var/log"_s));
    tree_->directories[u"/"_s] = {{u"notes.txt"_s}};
    press(Qt::Key_F5);
    EXPECT_TRUE(shows({u"notes.txt"_s}));
    EXPECT_EQ(columns().directories(), QModelIndexList({QModelIndex()}));
}

TEST_F(ServerBrowserTest, ALostConnectionIsMadeAgainUnlessTheLoginIsRefused) {
    open();
    select(u"/var"_s);
    tree_->lose();
    select(u"/var/log"_s);
    entry(u"/var/log/apt"_s);
    EXPECT_EQ(tree_->logins, 1);
    EXPECT_FALSE(button(browser_, u"Reconnect"_s)->isVisible());

    tree_->refusesLogins = true;
    select(u"/notes.txt"_s);
    tree_->lose();
    tree_->directories[u"/var/log"_s].push_back({u"zz.log"_s});
    press(Qt::Key_F5);
    ASSERT_TRUE(until([&] { return button(browser_, u"Reconnect"_s)->isVisible(); }));
    EXPECT_TRUE(says(u"No connection: refused."_s)) << "whatever is selected";
    EXPECT_EQ(selected(), u"/notes.txt"_s);
    EXPECT_EQ(names(entry(u"/var/log"_s)).size(), 5) << "what was listed stands";
    select(u"/var/log"_s);
    press(u"Reconnect"_s);
    entry(u"/var/log/zz.log"_s);
    EXPECT_EQ(selected(), u"/var/log"_s);
    EXPECT_TRUE(until([&] { return !button(browser_, u"Reconnect"_s)->isVisible(); }));

    tree_->lose();
    client_->isDisconnected = true;
    browser_->comeBack();
    EXPECT_TRUE(until([&] { return tree_->isConnected(); })) << "the user has asked for the window again";
}

TEST_F(ServerBrowserTest, NamesHideNothing) {
    tree_->directories[u"/"_s] = {{u"rtl\u202egol.exe"_s}, {u"two\nlines"_s, RemoteFileKind::Directory}};
    open();
    ASSERT_TRUE(shows({u"two\u240alines"_s, u"rtl\ufffdgol.exe"_s}));
    select(u"/rtl\u202egol.exe"_s);
    EXPECT_TRUE(says(u"/rtl\ufffdgol.exe"_s));
    EXPECT_EQ(columns().currentIndex().data(Qt::ToolTipRole).toString(), u"/rtl\ufffdgol.exe"_s);
    select(u"/two\nlines"_s);
    EXPECT_TRUE(says(u"\"/two\u240alines\" cannot be read: permission denied."_s));
    press(u"Pin"_s);
    EXPECT_EQ(savedHomePath(), u"/two\nlines"_s);
    EXPECT_TRUE(says(u"u@h:22 begins with /two\u240alines from now on"_s));
}

TEST_F(ServerBrowserTest, APinOutlivesTheProgramAndReachesTheHostAsItIsByNowOrSaysWhyNot) {
    open();
    for (const auto& [path, pinned] : Rows<QString, QString>{
             {u"/var"_s, u"/var"_s}, {u"/var/log"_s, u"/var/log"_s}, {u"/notes.txt"_s, u"/"_s}}) {
        select(path);
        press(u"Pin"_s);
        EXPECT_EQ(savedHomePath(), pinned);
    }
    auto& store = RemoteHostsManager::shared();
    const auto edited = std::make_shared<RemoteHost>(u"h2"_s, 22, u"u"_s);
    edited->setUuid(host_->uuid());
    ASSERT_TRUE(store.update(0, edited));
    select(u"/var"_s);
    press(u"Pin"_s);
    EXPECT_EQ(edited->homePath(), u"/var"_s);
    EXPECT_EQ(savedHomePath(), u"/var"_s);
    EXPECT_TRUE(says(u"u@h2:22 begins with /var from now on"_s));

    const QString file = settings_.filePath(RemoteHostsManager::DATA_FILE);
    ASSERT_TRUE(QFile::remove(file) && QDir().mkpath(file + u"/in the way"_s));
    press(u"Pin"_s);
    EXPECT_FALSE(store.fault().isEmpty());
    EXPECT_TRUE(says(u"/var has not been saved: "_s + store.fault()));

    store.remove(edited);
    press(u"Pin"_s);
    EXPECT_TRUE(says(u"u@h:22 is no longer one of the remote hosts: nothing has been pinned"_s));
    EXPECT_EQ(store.count(), 0);
}

TEST_F(ServerBrowserTest, WhyADirectoryCannotBeListedIsSaidAtEveryVisit) {
    tree_->directories[u"/"_s].push_back({u"root"_s, RemoteFileKind::Directory});
    open();
    const QString reason = u"\"/root\" cannot be read: permission denied."_s;
    for (int visit = 1; visit <= 2; ++visit) {
        select(u"/root"_s);
        EXPECT_TRUE(until([&] { return tree_->listingsOf(u"/root"_s) == visit; }));
        EXPECT_TRUE(says(reason));
        select(u"/notes.txt"_s);
        EXPECT_FALSE(WindowDriver::says(browser_, reason));
    }
}

TEST_F(ServerBrowserTest, ARefusedLoginClosesTheBrowserWithItsReason) {
    open(Error{1, QStringLiteral("SSH"), QStringLiteral("Access denied.")});
    EXPECT_TRUE(until([&] { return !alerts_.alerts.empty() && !browser_; }));
    EXPECT_EQ(alerts_.texts().first(),
              u"Could not connect to host: h on port 22|Please check the configuration and "
              "ensure the SSH server is running! Reason: Access denied."_s);
    EXPECT_TRUE(chosen_.isEmpty());
}

} // namespace
} // namespace korvane::test
