#include "ui/hosts/ServerBrowserViewController.h"

#include "remote/RemoteFileModel.h"
#include "remote/SFTPClient.h"
#include "remote/hosts/RemoteHost.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "support/TestStores.h"
#include "ui/hosts/RemoteColumnView.h"
#include "ui/widgets/MainThreadPump.h"

#include <QDir>
#include <QFile>
#include <QLabel>
#include <QListView>
#include <QPointer>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <map>
#include <mutex>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;

bool waitUntil(const std::function<bool()>& condition) {
    return QTest::qWaitFor(condition, 20000);
}

/// A login that answers what it is told to.
class LoginThatAnswers : public Client {
public:
    LoginThatAnswers(std::shared_ptr<RemoteHost> host, AlertPresenter& alerts, Result<Connection> answer)
        : Client(std::move(host), alerts), answer_(std::move(answer)) {}
    Result<Connection> connect() override { return answer_; }
    void disconnect() override { isDisconnected = true; }

    std::atomic<bool> isDisconnected{false};

private:
    const Result<Connection> answer_;
};

/// A tree of files in memory that counts how often each directory is listed.
class TreeInMemory : public SFTPClient {
public:
    using SFTPClient::SFTPClient;

    Result<std::vector<Entry>> contentsOfDirectoryAtPath(const QString& path) override {
        std::lock_guard lock(mutex_);
        ++listings[path];
        const auto found = directories.find(path);
        if (found == directories.end())
            return Error{3, QStringLiteral("SFTP"), QStringLiteral("Permission denied")};
        return found->second;
    }
    int listingsOf(const QString& path) {
        std::lock_guard lock(mutex_);
        return listings[path];
    }

    std::map<QString, std::vector<Entry>> directories;
    std::map<QString, int> listings;

private:
    std::mutex mutex_;
};

class RecordingPresenter : public AlertPresenter {
public:
    void present(const Alert& alert, const void*, std::function<void(int)> done) override {
        alerts.push_back(alert);
        if (done)
            done(0);
    }
    std::vector<Alert> alerts;
};

class ServerBrowserTest : public testing::Test, public ServerBrowserViewDelegate {
protected:
    ServerBrowserTest() {
        test::makeStores(directory_.path());
        EXPECT_TRUE(RemoteHostsManager::shared().add(host_));
        tree_->directories = {
            {u"/"_s, {{u"var"_s, true, false}, {u"notes.txt"_s, false, false}}},
            {u"/var"_s, {{u"log"_s, true, false}}},
            {u"/var/log"_s,
             {{u"b10.log"_s, false, false},
              {u"b9.log"_s, false, false},
              {u"today"_s, true, true},
              {u"apt"_s, true, false},
              {u"last.log"_s, false, true}}},
            {u"/var/log/apt"_s, {}},
        };
    }
    ~ServerBrowserTest() override { delete browser_; }

    void open(Result<Client::Connection> answer = Client::Connection{true, true}) {
        client_ = std::make_shared<LoginThatAnswers>(host_, alerts_, std::move(answer));
        browser_ = new ServerBrowserViewController(client_, tree_, *this, alerts_);
        browser_->show();
    }
    void remoteFileChosen(const std::shared_ptr<RemoteHost>&, const QString& path) override {
        chosen_ = path;
    }

    QColumnView& columns() { return *browser_->findChild<RemoteColumnView*>(); }
    QPushButton* button(const QString& text) {
        for (QPushButton* button : browser_->findChildren<QPushButton*>()) {
            if (QString(button->text()).remove(u'&') == text)
                return button;
        }
        return nullptr;
    }
    /// The shown entry of that path, once it has been listed.
    QModelIndex entry(const QString& path) {
        QModelIndex found;
        EXPECT_TRUE(waitUntil([&] {
            if (!columns().model())
                return false;
            const QModelIndexList all = columns().model()->match(
                columns().model()->index(0, 0), RemoteFileModel::PathRole, path, 1, Qt::MatchRecursive);
            if (!all.isEmpty())
                found = all.first();
            return found.isValid();
        })) << path.toStdString();
        return found;
    }
    bool says(const QString& text) {
        return waitUntil([&] {
            const auto labels = browser_->findChildren<QLabel*>();
            return std::any_of(labels.begin(), labels.end(),
                               [&](const QLabel* label) { return label->text() == text; });
        });
    }
    QString homePathInStore() const {
        const auto stored = RemoteHostsManager::load(directory_.path(), Preferences::shared().userDefaults());
        return stored.value()->host(0)->homePath();
    }
    QStringList names(const QModelIndex& parent) {
        QStringList names;
        for (int row = 0; row < columns().model()->rowCount(parent); ++row)
            names.append(columns().model()->index(row, 0, parent).data().toString());
        return names;
    }

    MainThreadPump pump_;
    QTemporaryDir directory_;
    std::shared_ptr<RemoteHost> host_ = std::make_shared<RemoteHost>(u"h"_s, 22, u"u"_s);
    std::shared_ptr<TreeInMemory> tree_ = std::make_shared<TreeInMemory>(nullptr);
    RecordingPresenter alerts_;
    std::shared_ptr<LoginThatAnswers> client_;
    QPointer<ServerBrowserViewController> browser_;
    QString chosen_;
};

TEST_F(ServerBrowserTest, DirectoriesComeFirstAndAreListedOnce) {
    host_->setHomePath(u"/var/log"_s);
    open();
    const QModelIndex apt = entry(u"/var/log/apt"_s);
    EXPECT_EQ(browser_->currentPath(), u"/var/log"_s);
    EXPECT_EQ(names({}), QStringList({u"apt"_s, u"today"_s, u"b9.log"_s, u"b10.log"_s, u"last.log"_s}));
    const auto imageOf = [&](const QString& path) {
        return entry(path).data(RemoteFileModel::ImageNameRole).toString();
    };
    EXPECT_EQ(imageOf(u"/var/log/apt"_s), u"folder2"_s);
    EXPECT_EQ(imageOf(u"/var/log/today"_s), u"symLink"_s);
    EXPECT_EQ(imageOf(u"/var/log/last.log"_s), u"symLink"_s);
    EXPECT_EQ(imageOf(u"/var/log/b9.log"_s), u"blank"_s);
    for (int i = 0; i < 2; ++i) {
        columns().setCurrentIndex(apt);
        EXPECT_TRUE(waitUntil([&] { return tree_->listingsOf(u"/var/log/apt"_s) == 1; }));
        columns().setCurrentIndex(entry(u"/var/log/b9.log"_s));
    }
    EXPECT_EQ(tree_->listingsOf(u"/var/log/apt"_s), 1);
    EXPECT_EQ(tree_->listingsOf(u"/var/log"_s), 1);
}

TEST_F(ServerBrowserTest, OnlyAFileCanBeOpened) {
    open();
    columns().setCurrentIndex(entry(u"/var"_s));
    EXPECT_FALSE(button(u"OK"_s)->isEnabled());
    browser_->accept();
    EXPECT_TRUE(browser_->isVisible());
    columns().setCurrentIndex(entry(u"/notes.txt"_s));
    ASSERT_TRUE(button(u"OK"_s)->isEnabled());
    button(u"OK"_s)->click();
    EXPECT_EQ(chosen_, u"/notes.txt"_s);
    EXPECT_TRUE(waitUntil([&] { return !browser_; }));
    EXPECT_TRUE(client_->isDisconnected);
}

TEST_F(ServerBrowserTest, AHomePathThatIsMissingBeginsAtTheRoot) {
    host_->setHomePath(u"/gone"_s);
    open(Client::Connection{true, false});
    entry(u"/var"_s);
    EXPECT_EQ(browser_->currentPath(), u"/"_s);
}

TEST_F(ServerBrowserTest, ThePathBarAndTheRootButtonLeadBack) {
    host_->setHomePath(u"/var/log"_s);
    open();
    entry(u"/var/log/apt"_s);
    QToolButton* component = nullptr;
    for (QToolButton* button : browser_->findChildren<QToolButton*>()) {
        if (button->text() == u"var"_s)
            component = button;
    }
    ASSERT_TRUE(component && waitUntil([&] { return component->isVisible(); }));
    QTest::mouseClick(component, Qt::LeftButton);
    EXPECT_EQ(browser_->currentPath(), u"/var"_s);
    entry(u"/var/log"_s);
    button(u"Root"_s)->click();
    EXPECT_EQ(browser_->currentPath(), u"/"_s);
    entry(u"/notes.txt"_s);
}

TEST_F(ServerBrowserTest, APinOutlivesTheProgram) {
    open();
    columns().setCurrentIndex(entry(u"/var"_s));
    columns().setCurrentIndex(entry(u"/var/log"_s));
    button(u"Pin"_s)->click();
    EXPECT_EQ(homePathInStore(), u"/var/log"_s);
    columns().setCurrentIndex(entry(u"/notes.txt"_s));
    button(u"Pin"_s)->click();
    EXPECT_EQ(homePathInStore(), u"/"_s);
}

TEST_F(ServerBrowserTest, APinReachesTheHostAsItIsByNow) {
    open();
    auto& store = RemoteHostsManager::shared();
    const auto edited = std::make_shared<RemoteHost>(u"h2"_s, 22, u"u"_s);
    edited->setUuid(host_->uuid());
    ASSERT_TRUE(store.update(0, edited));
    columns().setCurrentIndex(entry(u"/var"_s));
    button(u"Pin"_s)->click();
    EXPECT_EQ(edited->homePath(), u"/var"_s);
    EXPECT_EQ(homePathInStore(), u"/var"_s);
    EXPECT_TRUE(says(u"u@h2:22 begins with /var from now on"_s));

    store.remove(edited);
    button(u"Pin"_s)->click();
    EXPECT_TRUE(says(u"u@h:22 is no longer one of the remote hosts: nothing has been pinned"_s));
    EXPECT_EQ(store.count(), 0);
}

TEST_F(ServerBrowserTest, APinThatCannotBeSavedSaysSo) {
    open();
    columns().setCurrentIndex(entry(u"/var"_s));
    const QString file = directory_.filePath(RemoteHostsManager::DATA_FILE);
    ASSERT_TRUE(QFile::remove(file) && QDir().mkpath(file + u"/in the way"_s));
    button(u"Pin"_s)->click();
    EXPECT_FALSE(RemoteHostsManager::shared().fault().isEmpty());
    EXPECT_TRUE(says(u"/var has not been saved: "_s + RemoteHostsManager::shared().fault()));
}

TEST_F(ServerBrowserTest, WhatCannotBeListedIsNamed) {
    tree_->directories[u"/"_s].push_back({u"root"_s, true, false});
    open();
    columns().setCurrentIndex(entry(u"/root"_s));
    EXPECT_TRUE(says(u"/root cannot be listed: Permission denied"_s));
    EXPECT_EQ(columns().model()->rowCount(entry(u"/root"_s)), 0);
}

TEST_F(ServerBrowserTest, ARefusedLoginClosesTheBrowserWithItsReason) {
    open(Error{1, QStringLiteral("SSH"), QStringLiteral("Access denied.")});
    EXPECT_TRUE(waitUntil([&] { return !alerts_.alerts.empty() && !browser_; }));
    EXPECT_EQ(alerts_.alerts.front().message, u"Could not connect to host: h on port 22"_s);
    EXPECT_EQ(
        alerts_.alerts.front().informativeText,
        u"Please check the configuration and ensure the SSH server is running! Reason: Access denied."_s);
    EXPECT_TRUE(chosen_.isEmpty());
}

} // namespace
} // namespace korvane
