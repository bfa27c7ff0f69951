#include "ui/hosts/HostDetailsDialog.h"
#include "foundation/Descriptor.h"
#include "support/Listener.h"
#include "support/StandIns.h"
#include "ui/hosts/RemoteHostsFixture.h"
#include "ui/widgets/BusyIndicator.h"

#include <cerrno>
#include <fcntl.h>

namespace korvane::test {
namespace {

class HostDetailsDialogTest : public RemoteHostsFixture {
protected:
    /// Shows a dialog; null: for a new host.
    void show(const std::shared_ptr<RemoteHost>& edited = nullptr) {
        dialog_ = std::make_unique<HostDetailsDialog>(edited, alerts_);
        dialog_->open();
        EXPECT_TRUE(isInFront(dialog_.get()));
    }
    QLineEdit* textOf(const QString& label) const { return field(dialog_.get(), label); }
    /// Types the texts into the fields with these labels, and selects entries of combo boxes.
    void enter(const std::vector<std::pair<QString, QString>>& fields) {
        for (const auto& [label, text] : fields) {
            if (auto* choice = field<QComboBox>(dialog_.get(), label))
                choice->setCurrentText(text);
            else
                type(dialog_.get(), label, text);
        }
    }
    void enterHost(const QString& host, const QString& user, const QString& authentication) {
        enter({{u"Host:"_s, host}, {u"User:"_s, user}, {u"Authentication:"_s, authentication}});
    }
    void press(const QString& button) { click(dialog_.get(), button); }
    bool saysThat(const QString& text) const { return says(dialog_.get(), text); }
    bool isComplete() const { return button(dialog_.get(), u"OK"_s)->isEnabled(); }
    std::unique_ptr<HostDetailsDialog> dialog_;
};

TEST_F(HostDetailsDialogTest, WhatIsMissingOrWrongIsSaidAndCannotBeSaved) {
    show();
    const auto invalid = [](const QString& address) {
        return u"“%1” is not a valid host name or address."_s.arg(address);
    };
    const QString noHost = u"Enter the name or address of the host."_s;
    const QString noUser = u"Enter the user name."_s;
    // Entered one after another in the same dialog.
    for (const auto& [label, text, hint] : Rows<QString, QString, QString>{
             {u"Authentication:"_s, u"Keyboard-interactive"_s, noHost},
             {u"Host:"_s, u"web"_s, noUser},
             {u"Host:"_s, u"::1"_s, noUser},
             {u"Host:"_s, u" [fe80::1%eth0] "_s, noUser},
             {u"Host:"_s, u"web:22"_s, u"The port has a field of its own."_s},
             {u"Host:"_s, u"a b"_s, invalid(u"a b"_s)},
             {u"Host:"_s, u"ssh://web"_s, invalid(u"ssh://web"_s)},
             {u"Host:"_s, u"me@web"_s, invalid(u"me@web"_s)},
             {u"Host:"_s, u"   "_s, noHost},
             {u"Host:"_s, u"10.0.0.5"_s, noUser},
             {u"User:"_s, u"admin"_s, {}},
             {u"Home path:"_s, u"var/log"_s, u"The home path begins with “/”."_s},
             {u"Home path:"_s, u"/var/log"_s, {}},
             {u"Authentication:"_s, u"Password"_s, {}},
             {u"Authentication:"_s, u"Public Key"_s, u"Choose the private key file."_s},
             {u"Private key:"_s, u"id_rsa"_s, u"“id_rsa” is not the whole path of a file."_s},
             {u"Private key:"_s, u"/keys/id_rsa"_s, {}},
         }) {
        enter({{label, text}});
        EXPECT_EQ(isComplete(), hint.isEmpty()) << text.toStdString();
        EXPECT_EQ(button(dialog_.get(), u"Test Connection"_s)->isEnabled(), hint.isEmpty());
        EXPECT_TRUE(hint.isEmpty() || saysThat(hint)) << text.toStdString();
    }
    EXPECT_TRUE(hosts().empty());
    // An empty password is requested at login.
    enter({{u"Authentication:"_s, u"Password"_s}});
    press(u"OK"_s);
    ASSERT_EQ(hosts().size(), 1U);
    EXPECT_FALSE(dynamic_cast<const PasswordAuthnType&>(*hosts().front()->authnType()).password);
}

TEST_F(HostDetailsDialogTest, EveryFieldReachesTheHostAndIsShownAgain) {
    addGroup(u"Production"_s);
    show();
    auto* port = field<QSpinBox>(dialog_.get(), u"Port:"_s);
    EXPECT_EQ(port->value(), 22);
    port->setValue(70000);
    enter({{u"Name:"_s, u" Front end "_s},
           {u"Host:"_s, u"[2001:db8::5]"_s},
           {u"User:"_s, u"CORP\\admin"_s},
           {u"Group:"_s, u"Production"_s},
           {u"Home path:"_s, u"/var/log"_s},
           {u"Authentication:"_s, u"Password"_s},
           {u"Password:"_s, u" se cret "_s}});
    EXPECT_TRUE(saysThat(u"Stored as plain text, in a file that only you can read."_s));
    EXPECT_EQ(textOf(u"Password:"_s)->echoMode(), QLineEdit::Password);
    QTest::keyClick(dialog_.get(), Qt::Key_Return);
    const auto described = [](const RemoteHost& host) {
        return QStringList{
            host.name(), host.connectionString(), host.group(), host.homePath(),
            dynamic_cast<const PasswordAuthnType&>(*host.authnType()).password.value_or(QString())};
    };
    const QStringList expected{u"Front end"_s, u"CORP\\admin@2001:db8::5:65535"_s, u"Production"_s,
                               u"/var/log"_s, u" se cret "_s};
    ASSERT_EQ(savedHosts()->count(), 1);
    const auto saved = savedHosts()->host(0);
    EXPECT_EQ(described(*saved), expected);

    // Unchanged fields keep their values.
    show(hosts().front());
    EXPECT_TRUE(isComplete());
    QTest::keyClick(dialog_.get(), Qt::Key_Return);
    EXPECT_EQ(described(*hosts().front()), expected);
    EXPECT_EQ(hosts().front()->uuid(), saved->uuid());
}

TEST_F(HostDetailsDialogTest, AKeyFileThatCannotBeReadLeavesWhatWasTyped) {
    const TemporaryFile key("key", "id_test");
    const QString path = QString::fromLocal8Bit(key.path());
    for (const bool isNew : {true, false}) {
        const auto host = isNew ? nullptr : addHost(u"web"_s);
        const qsizetype before = RemoteHostsManager::shared().count();
        alerts_.alerts.clear();
        show(host);
        enterHost(u"10.0.0.5"_s, u"admin"_s, u"Public Key"_s);
        enter({{u"Private key:"_s, path},
               {u"Public key:"_s, u"/nowhere/id_test.pub"_s},
               {u"Pass phrase:"_s, u"phrase"_s}});
        press(u"OK"_s);
        ASSERT_EQ(alerts_.alerts.size(), 1U);
        EXPECT_TRUE(alerts_.alerts[0].informativeText.contains(u"id_test.pub"_s));
        EXPECT_TRUE(dialog_->isVisible());
        EXPECT_EQ(textOf(u"Pass phrase:"_s)->text(), u"phrase"_s);
        EXPECT_EQ(RemoteHostsManager::shared().count(), before);
        EXPECT_TRUE(isNew || hosts().back() == host) << "the host in the store is untouched";

        enter({{u"Public key:"_s, path}});
        press(u"OK"_s);
        EXPECT_FALSE(dialog_->isVisible());
        EXPECT_EQ(RemoteHostsManager::shared().count(), before + (isNew ? 1 : 0));
        EXPECT_TRUE(RemoteHostsManager::shared().publicKeyUrl(*hosts().back()));
        const auto& type = dynamic_cast<const PublicKeyAuthnType&>(*hosts().back()->authnType());
        EXPECT_EQ(type.publicKeyFilePath, path);
        EXPECT_EQ(type.privateKeyPwd, u"phrase"_s);
    }
}

TEST_F(HostDetailsDialogTest, TheOtherHalfOfAKeyIsFoundInTheHomeDirectory) {
    QTemporaryDir home;
    const ScopedVariable variable("HOME", home.path().toLocal8Bit());
    for (const QString& name : {u"/id_rsa"_s, u"/id_rsa.pub"_s})
        ASSERT_TRUE(QFile(home.path() + name).open(QIODevice::WriteOnly));
    show();
    enterHost(u"10.0.0.5"_s, u"admin"_s, u"Public Key"_s);
    enter({{u"Private key:"_s, u"~/id_rsa"_s}});
    QTest::keyClick(textOf(u"Private key:"_s), Qt::Key_Tab);
    EXPECT_EQ(textOf(u"Public key:"_s)->text(), home.path() + u"/id_rsa.pub"_s);
    press(u"OK"_s);
    ASSERT_EQ(hosts().size(), 1U);
    const auto& type = dynamic_cast<const PublicKeyAuthnType&>(*hosts()[0]->authnType());
    EXPECT_EQ(type.privateKeyFilePath, home.path() + u"/id_rsa"_s);
    EXPECT_EQ(type.privateKeyPwd, std::nullopt);
}

TEST_F(HostDetailsDialogTest, TheAgentStandsInForWhatIsLeftEmpty) {
    const QString agent = u"Use SSH agent and ~/.ssh/config"_s;
    show();
    enterHost(u"10.0.0.5"_s, u"admin"_s, u"Public Key"_s);
    EXPECT_FALSE(isComplete());
    press(agent);
    EXPECT_TRUE(isComplete());
    enter({{u"User:"_s, {}}});
    EXPECT_TRUE(isComplete()) << "the configuration names the user";
    EXPECT_EQ(textOf(u"User:"_s)->placeholderText(), u"from ~/.ssh/config"_s);
    press(agent);
    EXPECT_FALSE(isComplete());
    EXPECT_TRUE(saysThat(u"Enter the user name."_s));
    EXPECT_EQ(textOf(u"User:"_s)->placeholderText(), QString());
    press(agent);
    enter({{u"Public key:"_s, u"id.pub"_s}});
    EXPECT_TRUE(saysThat(u"“id.pub” is not the whole path of a file."_s));
    enter({{u"Authentication:"_s, u"Keyboard-interactive"_s}});
    press(u"OK"_s);
    ASSERT_EQ(hosts().size(), 1U);
    EXPECT_TRUE(RemoteHostsManager::shared().usesSshConfig(*hosts()[0]));
    EXPECT_EQ(savedHosts()->host(0)->username(), QString());
    show(hosts()[0]);
    EXPECT_TRUE(isComplete());
    enter({{u"User:"_s, u"admin"_s}});
    press(u"OK"_s);
    for (const QString& end : {u"Cancel"_s, u"OK"_s}) {
        show(hosts()[0]);
        press(agent);
        press(end);
        EXPECT_EQ(RemoteHostsManager::shared().usesSshConfig(*hosts()[0]), end == u"Cancel");
    }
}

TEST_F(HostDetailsDialogTest, AConnectionIsTriedOutAndCanBeCalledOff) {
    // Accepts connections and never sends anything.
    std::optional<Listener> listener(std::in_place);
    const int port = listener->port();
    ASSERT_EQ(::fcntl(listener->socket(), F_SETFL, O_NONBLOCK), 0);
    show();
    enterHost(u"127.0.0.1"_s, u"nobody"_s, u"Keyboard-interactive"_s);
    field<QSpinBox>(dialog_.get(), u"Port:"_s)->setValue(port);
    const auto isBusy = [&] { return dialog_->findChild<BusyIndicator*>()->isVisible(); };
    EXPECT_FALSE(isBusy());
    int visitor = -1;
    const auto startTest = [&] {
        press(u"Test Connection"_s);
        EXPECT_TRUE(isBusy());
        ASSERT_TRUE(until([&] { return (visitor = ::accept(listener->socket(), nullptr, nullptr)) >= 0; }));
    };
    startTest();
    const Descriptor first(visitor);
    press(u"Cancel Test"_s);
    EXPECT_FALSE(isBusy());
    startTest();
    const Descriptor second(visitor);
    char byte = 0;
    ASSERT_TRUE(until([&] {
        ssize_t got = 0;
        while ((got = ::recv(first.number(), &byte, 1, MSG_DONTWAIT)) > 0) {
        }
        return got == 0 || errno == ECONNRESET;
    }));
    EXPECT_FALSE(QTest::qWaitFor([&] { return !isBusy(); }, 100))
        << "the late end of the first test is not that of the second";
    QTest::keyClick(dialog_.get(), Qt::Key_Escape);
    ASSERT_TRUE(until([] { return OperationQueue::waitForAllWorkers(std::chrono::milliseconds(1)); }));
    MainThread::shared().runPending();
    EXPECT_TRUE(alerts_.alerts.empty()) << "who calls a test off need not be told";

    listener.reset();
    dialog_->open();
    press(u"Test Connection"_s);
    ASSERT_TRUE(until([&] { return !isBusy(); }));
    ASSERT_EQ(alerts_.alerts.size(), 1U);
    EXPECT_EQ(alerts_.alerts[0].message, u"Could not connect to host: 127.0.0.1 on port %1"_s.arg(port));
    EXPECT_TRUE(button(dialog_.get(), u"Test Connection"_s)->isEnabled());
    EXPECT_TRUE(hosts().empty());
}

TEST_F(HostDetailsDialogTest, AHomePathPinnedMeanwhileStaysUnlessItIsChangedHere) {
    const auto host = addHost(u"web"_s);
    host->setHomePath(u"/srv"_s);
    for (const bool isChangedHere : {false, true}) {
        const auto current = hosts().front();
        show(current);
        current->setHomePath(u"/var/log"_s);
        enter({{u"Name:"_s, u"renamed"_s}});
        if (isChangedHere)
            enter({{u"Home path:"_s, u"/opt"_s}});
        press(u"OK"_s);
        ASSERT_EQ(hosts().size(), 1U);
        EXPECT_EQ(hosts().front()->homePath(), isChangedHere ? u"/opt"_s : u"/var/log"_s);
        EXPECT_EQ(savedHosts()->host(0)->homePath(), isChangedHere ? u"/opt"_s : u"/var/log"_s);
        EXPECT_EQ(hosts().front()->name(), u"renamed"_s);
    }
}

TEST_F(HostDetailsDialogTest, AHostWithoutALoginIsNotGivenOneUnasked) {
    const auto host = addHost(u"web"_s);
    host->setAuthnType(nullptr);
    show(host);
    EXPECT_TRUE(saysThat(u"Choose how to log in."_s));
    EXPECT_FALSE(isComplete());
    QTest::keyClick(dialog_.get(), Qt::Key_Return);
    EXPECT_EQ(hosts().front()->authnType(), nullptr);
    enter({{u"Authentication:"_s, u"Keyboard-interactive"_s}});
    EXPECT_TRUE(isComplete());
}

} // namespace
} // namespace korvane::test
