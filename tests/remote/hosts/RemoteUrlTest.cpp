#include "remote/hosts/RemoteUrl.h"

#include "foundation/FilePath.h"
#include "remote/hosts/RemoteHost.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "support/PreferencesTest.h"
#include "support/Rows.h"

namespace korvane {
namespace {

using namespace Qt::StringLiterals;

TEST(RemoteUrlTest, AddressAndPathAreOneAnother) {
    using Cases = test::Rows<QString, std::uint16_t, QString, QString, QString, QString>;
    for (const auto& [hostName, port, user, path, text, url] : Cases{
             {u"h"_s, 22, u"admin"_s, u"/var/log/app.log"_s, u"ssh://admin@h:22//var/log/app.log"_s, {}},
             {u"h"_s, 2222, u"u"_s, u"logs/a.log"_s, u"ssh://u@h:2222/logs/a.log"_s, {}},
             {u"h"_s,
              22,
              u"u"_s,
              u"/a b/%41?#;[x]é\"\\^`{|}<>"_s,
              u"ssh://u@h:22//a%20b/%2541%3F%23%3B%5Bx%5D%C3%A9%22%5C%5E%60%7B%7C%7D%3C%3E"_s,
              {}},
             {u"h"_s, 22, u"u"_s, u"/!$&'()*+,-./:=@_~"_s, u"ssh://u@h:22//!$&'()*+,-./:=@_~"_s, {}},
             {u"h"_s, 22, u"u"_s, u"/a/../b/./c//d"_s, u"ssh://u@h:22//a/../b/./c//d"_s, {}},
             {u"Web01"_s, 22, u"Me"_s, u"/x"_s, u"ssh://Me@Web01:22//x"_s, u"ssh://Me@web01:22//x"_s},
             {u"h_1"_s, 22, u"a@b"_s, u"/x"_s, u"ssh://a@b@h_1:22//x"_s, u"ssh://a%40b@h_1:22//x"_s},
             {u"h"_s, 22, u""_s, u"/a b"_s, u"ssh://@h:22//a%20b"_s, {}},
             {u"fe80::1"_s, 22, u"u"_s, u"/x"_s, u"ssh://u@fe80::1:22//x"_s, u"ssh://u@[fe80::1]:22//x"_s}}) {
        const RemoteUrl made(RemoteHost(hostName, port, user), path);
        EXPECT_EQ(made.text(), text);
        EXPECT_EQ(absoluteString(made.url()), url.isEmpty() ? text : url);

        const auto read = RemoteUrl::fromText(text);
        const auto fromUrl = RemoteUrl::fromUrl(made.url());
        ASSERT_TRUE(read && fromUrl) << text.toStdString();
        EXPECT_EQ(read->text(), text);
        EXPECT_EQ(read->host(), hostName);
        for (const RemoteUrl& one : {*read, *fromUrl}) {
            EXPECT_EQ(one.path(), u'/' + path);
            EXPECT_EQ(one.port(), port);
            EXPECT_EQ(one.user(), user);
        }
    }
}

TEST(RemoteUrlTest, WhatLacksAPartIsNoAddress) {
    for (const char* text : {"ssh://u@h//x", "ssh://h:22//x", "ssh://@:22//x", "ssh://u@:22//x",
                             "ssh://u@h:0//x", "ssh://u@h:65536//x", "ssh://u@h:2a//x", "ssh://u@h:22",
                             "ssh://u@h:22/", "sftp://u@h:22//x", "file:///x", "/x", ""}) {
        EXPECT_FALSE(RemoteUrl::fromText(QString::fromLatin1(text))) << text;
        EXPECT_FALSE(RemoteUrl::fromUrl(QUrl::fromEncoded(text))) << text;
    }
}

class RemoteUrlHostTest : public test::PreferencesTest {
protected:
    std::shared_ptr<RemoteHost> add(const QString& host, std::uint16_t port, const QString& user) {
        auto added = std::make_shared<RemoteHost>(host, port, user);
        EXPECT_TRUE(hosts_->add(added));
        return added;
    }

    QTemporaryDir directory_;
    std::unique_ptr<RemoteHostsManager> hosts_ =
        std::move(RemoteHostsManager::load(directory_.path(), Preferences::shared().userDefaults())).value();
};

TEST_F(RemoteUrlHostTest, EveryHostIsFoundAgainByItsOwnAddressAlone) {
    const auto small = add(u"prod"_s, 22, u"u"_s);
    const auto capital = add(u"Prod"_s, 22, u"u"_s);
    // A duplicate, and host names that are invalid in URLs.
    for (const QString& host : {u"prod"_s, u"web 01"_s, u"a..b"_s, u"h,proxy"_s})
        add(host, 22, u"u"_s);
    add(u"h"_s, 22, u"u"_s);
    add(u"h"_s, 2222, u"v"_s);
    EXPECT_FALSE(RemoteUrl::fromText(u"ssh://u@h:2222//tmp/x.log"_s)->hostIn(*hosts_));
    EXPECT_FALSE(RemoteUrl::fromText(u"ssh://U@h:22//tmp/x.log"_s)->hostIn(*hosts_));
    // Host names that QUrl normalises, and a host without a user name.
    for (const auto& host : {add(u"Web01"_s, 22, u"u"_s), add(u"höst"_s, 22, u"u"_s),
                             add(u"10.1"_s, 22, u"u"_s), add(u"h"_s, 22, {})}) {
        // As stored by recent files, bookmarks and sessions.
        const QUrl kept(absoluteString(RemoteUrl(*host, u"/x"_s).url()));
        EXPECT_EQ(RemoteUrl::fromUrl(kept)->hostIn(*hosts_), host) << kept.toString().toStdString();
    }
    QStringList addresses;
    for (const auto& host : hosts_->hosts()) {
        const QUrl kept(absoluteString(RemoteUrl::urlOf(*host, u"/a #1"_s, *hosts_)));
        const auto read = RemoteUrl::fromUrl(kept);
        ASSERT_TRUE(read) << host->host().toStdString();
        EXPECT_EQ(read->hostIn(*hosts_), host) << kept.toString().toStdString();
        EXPECT_EQ(read->path(), u"//a #1"_s);
        addresses.append(displayAddress(kept));
    }
    EXPECT_EQ(addresses.first(), u"ssh://u@prod:22//a %231"_s);
    EXPECT_EQ(RemoteUrl::urlOf(*small, u"/x"_s, *hosts_), RemoteUrl(*small, u"/x"_s).url());
    EXPECT_EQ(addresses[3], u"ssh://u@web_01:22//a %231"_s);
    const QUrl ofCapital = RemoteUrl::urlOf(*capital, u"/x"_s, *hosts_);
    hosts_->remove(capital);
    EXPECT_FALSE(RemoteUrl::fromUrl(ofCapital)->hostIn(*hosts_)) << "not on another host";
}

} // namespace
} // namespace korvane
