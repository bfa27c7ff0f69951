#include "ui/desktop/DesktopNotifications.h"

#include "foundation/work/MainThread.h"
#include "support/Listener.h"
#include "support/StandIns.h"
#include "support/WindowDriver.h"
#include "ui/widgets/MainThreadPump.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <fcntl.h>

namespace korvane::test {
namespace {

const QString serviceName = u"org.freedesktop.Notifications"_s;
const QString servicePath = u"/org/freedesktop/Notifications"_s;

/// A session bus for the test only. It starts no services.
class PrivateBus {
public:
    PrivateBus() {
        QFile configuration(directory_.filePath(u"bus.conf"_s));
        EXPECT_TRUE(configuration.open(QIODevice::WriteOnly));
        configuration.write("<busconfig><type>session</type><listen>unix:dir=" + directory_.path().toUtf8() +
                            "</listen><policy context=\"default\"><allow send_destination=\"*\"/>"
                            "<allow receive_sender=\"*\"/><allow own=\"*\"/></policy></busconfig>");
        configuration.close();
        process_.start(u"dbus-daemon"_s,
                       {u"--config-file="_s + configuration.fileName(), u"--nofork"_s, u"--print-address"_s});
        while (!process_.canReadLine() && process_.waitForReadyRead(20000)) {
        }
        address_ = QString::fromLatin1(process_.readLine().trimmed());
        EXPECT_FALSE(address_.isEmpty()) << qPrintable(process_.errorString());
    }
    ~PrivateBus() { stop(); }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    const QString& address() const { return address_; }
    void stop() {
        process_.kill();
        process_.waitForFinished();
    }

private:
    QTemporaryDir directory_;
    QProcess process_;
    QString address_;
};

/// A notification service on its own connection that shows nothing and records what it should show.
class FakeService : public QDBusVirtualObject {
public:
    struct Shown {
        uint id = 0;
        QString icon;
        QString summary;
        QString body;
        QStringList actions;
        QVariantMap hints;
        uint replaces = 0;
    };

    FakeService(const QString& address, QStringList capabilities = {u"actions"_s, u"body"_s},
                uint firstId = 1)
        : capabilities_(std::move(capabilities)), nextId_(firstId),
          bus_(QDBusConnection::connectToBus(address, u"service %1"_s.arg(firstId))) {
        EXPECT_TRUE(bus_.registerVirtualObject(servicePath, this));
        EXPECT_TRUE(bus_.registerService(serviceName));
    }
    ~FakeService() override { QDBusConnection::disconnectFromBus(bus_.name()); }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override {
        if (message.member() == u"GetCapabilities"_s)
            return bus.send(message.createReply(capabilities_));
        if (message.member() != u"Notify"_s || message.signature() != u"susssasa{sv}i"_s)
            return false;
        const QVariantList arguments = message.arguments();
        const uint replaces = arguments[1].toUInt();
        const uint id = replaces != 0 ? replaces : nextId_++;
        shown.push_back({id, arguments[2].toString(), arguments[3].toString(), arguments[4].toString(),
                         arguments[5].toStringList(), qdbus_cast<QVariantMap>(arguments[6]), replaces});
        const QDBusMessage reply = message.createReply(id);
        if (shown.back().summary == holdsAnswersTo)
            heldBack.push_back(reply);
        else
            bus.send(reply);
        return true;
    }
    bool hasShown(std::size_t count) const {
        return test::WindowDriver::until([&] { return shown.size() == count; });
    }
    QString introspect(const QString&) const override { return {}; }

    void answerHeldBack() {
        for (const QDBusMessage& reply : std::exchange(heldBack, {}))
            bus_.send(reply);
    }
    void emitAction(uint id, const QString& action = u"default"_s) {
        emitSignal(bus_, u"ActionInvoked"_s, {id, action});
    }
    void emitClosed(uint id) { emitSignal(bus_, u"NotificationClosed"_s, {id, 2U}); }
    static void emitSignal(const QDBusConnection& from, const QString& name, const QVariantList& arguments) {
        QDBusMessage message = QDBusMessage::createSignal(servicePath, serviceName, name);
        message.setArguments(arguments);
        from.send(message);
    }

    std::vector<Shown> shown;
    std::vector<QDBusMessage> heldBack;
    QString holdsAnswersTo = u"(none)"_s;

private:
    const QStringList capabilities_;
    uint nextId_;
    QDBusConnection bus_;
};

UserNotification lineNotification(qint64 line, const QString& key = {}) {
    UserNotification made;
    made.title = u"Rule 'x' matched"_s;
    made.subtitle = u"Line: %1 in x.log"_s.arg(line);
    made.informativeText = u"Path: file:///x.log"_s;
    made.userInfo = UserNotification::UserInfo{line, u"file:///x.log"_s};
    made.foldKey = key;
    return made;
}

class DesktopNotificationsTest : public ::testing::Test, public WindowDriver {
protected:
    DesktopNotificationsTest() { useBus(bus_.address()); }
    ~DesktopNotificationsTest() override {
        qunsetenv("DBUS_SESSION_BUS_ADDRESS");
        EXPECT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(60)));
        MainThread::shared().runPending();
    }

    static void useBus(const QString& address) { qputenv("DBUS_SESSION_BUS_ADDRESS", address.toUtf8()); }

    /// Delivers until the condition holds: a failed delivery is not retried automatically.
    static bool deliverUntil(DesktopNotifications& notifications, const std::function<bool()>& condition) {
        return until([&] {
            if (!condition())
                notifications.deliver(lineNotification(3, u"retry"_s));
            return condition();
        });
    }

    PrivateBus bus_;
    MainThreadPump pump_;
    std::vector<qint64> clicked_;
    QStringList unavailable_;
    const DesktopNotifications::Handlers handlers_{
        [this](const UserNotification::UserInfo& line) {
            EXPECT_EQ(line.fileUrl, u"file:///x.log"_s);
            clicked_.push_back(line.lineNum);
        },
        [this](const QString& text) { unavailable_ << text; },
        [](const QString&) {},
    };
    DesktopNotifications notifications_{handlers_};
};

TEST_F(DesktopNotificationsTest, TextsAreWrittenAsTheServiceReadsThem) {
    UserNotification notification = lineNotification(4);
    notification.title = u"Rule '<b>&amp;' matched"_s;
    notification.subtitle = u"Line: 4 in <a>.log"_s;
    notification.informativeText = u"Path: file:///a&b"_s;
    UserNotification titleAlone;
    titleAlone.title = u"alone"_s;
    for (const auto& [capabilities, body, hasAction] :
         Rows<QStringList, QString, bool>{{{u"actions"_s, u"body"_s, u"body-markup"_s},
                                           u"Line: 4 in &lt;a&gt;.log\nPath: file:///a&amp;b"_s,
                                           true},
                                          {{u"body"_s}, u"Line: 4 in <a>.log\nPath: file:///a&b"_s, false}}) {
        FakeService service(bus_.address(), capabilities);
        DesktopNotifications notifications(handlers_);
        notifications.deliver(notification);
        notifications.deliver(titleAlone);
        ASSERT_TRUE(service.hasShown(2));
        const FakeService::Shown& shown = service.shown.front();
        EXPECT_EQ(shown.summary + u'|' + shown.body, u"Rule '<b>&amp;' matched|"_s + body)
            << "the title is never markup";
        EXPECT_EQ(shown.actions.value(0), hasAction ? u"default"_s : QString());
        EXPECT_EQ(shown.icon, u"korvane"_s);
        EXPECT_EQ(shown.hints.value(u"desktop-entry"_s), u"korvane"_s);
        EXPECT_EQ(service.shown.back().body, QString());
        EXPECT_EQ(service.shown.back().actions, QStringList()) << "a click would lead nowhere";
    }
    EXPECT_EQ(unavailable_, QStringList());
}

TEST_F(DesktopNotificationsTest, ASlowServiceDoesNotMakeTwoOfOneBurst) {
    FakeService service(bus_.address());
    service.holdsAnswersTo = u"Rule 'x' matched"_s;
    notifications_.deliver(lineNotification(1, u"slow"_s));
    notifications_.deliver(lineNotification(2, u"slow"_s));
    UserNotification other = lineNotification(7, u"other"_s);
    other.title = u"other"_s;
    notifications_.deliver(other);
    notifications_.deliver(other);
    // When the second notification of the other key is shown, that of the slow one would have been shown,
    // too.
    ASSERT_TRUE(until([&] { return !service.shown.empty() && service.shown.back().replaces != 0; }));
    ASSERT_EQ(service.shown.size(), 3U);
    service.answerHeldBack();
    ASSERT_TRUE(service.hasShown(4));
    EXPECT_EQ(service.shown[3].summary, u"Rule 'x' matched (1 more)"_s);
    EXPECT_EQ(service.shown[3].replaces, service.shown[0].id);
    service.emitAction(service.shown[0].id);
    ASSERT_TRUE(until([&] { return !clicked_.empty(); }));
    EXPECT_EQ(clicked_, std::vector<qint64>{2}) << "the last line";
}

TEST_F(DesktopNotificationsTest, OnlyClicksOnOurOwnNotificationsCount) {
    FakeService service(bus_.address());
    for (const qint64 line : {1, 2, 3})
        notifications_.deliver(lineNotification(line));
    ASSERT_TRUE(service.hasShown(3));
    const uint first = service.shown[0].id;
    const QDBusConnection stranger = QDBusConnection::connectToBus(bus_.address(), u"stranger"_s);
    FakeService::emitSignal(stranger, u"ActionInvoked"_s, {first, u"default"_s});
    // The reply shows that the bus has delivered the earlier signal.
    stranger.call(QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/"_s, u"org.freedesktop.DBus"_s,
                                                 u"GetId"_s));
    QDBusConnection::disconnectFromBus(stranger.name());
    service.emitAction(first + 100);
    service.emitAction(first, u"settings"_s);
    service.emitAction(service.shown[1].id);
    service.emitClosed(service.shown[1].id);
    service.emitAction(service.shown[1].id);
    service.emitAction(service.shown[2].id);
    ASSERT_TRUE(until([&] { return !clicked_.empty() && clicked_.back() == 3; }));
    EXPECT_EQ(clicked_, (std::vector<qint64>{2, 3}));
}

TEST_F(DesktopNotificationsTest, AServiceThatDiesIsReplacedAndItsNumbersMeanNothing) {
    auto service = std::make_unique<FakeService>(bus_.address());
    notifications_.deliver(lineNotification(1, u"rule"_s));
    ASSERT_TRUE(service->hasShown(1));
    const uint old = service->shown[0].id;
    service->emitAction(old);
    ASSERT_TRUE(until([&] { return clicked_ == std::vector<qint64>{1}; }));
    service.reset();

    FakeService next(bus_.address(), {u"actions"_s, u"body-markup"_s}, 500);
    UserNotification second = lineNotification(2, u"rule"_s);
    second.informativeText = u"<2>"_s;
    notifications_.deliver(second);
    ASSERT_TRUE(until([&] { return !next.shown.empty() && next.shown.back().body.contains(u"&lt;2&gt;"_s); }))
        << "asked again what it can do";
    EXPECT_EQ(next.shown[0].replaces, 0U);
    next.emitAction(old);
    next.emitAction(next.shown.back().id);
    ASSERT_TRUE(until([&] { return clicked_.size() > 1; }));
    EXPECT_EQ(clicked_, (std::vector<qint64>{1, 2}));
}

TEST_F(DesktopNotificationsTest, WhatCannotBeShownIsToldOnce) {
    for (const auto& [address, reason] :
         Rows<const char*, QString>{{"autolaunch:", u"there is no session bus"_s},
                                    {"unix:path=/nonexistent/bus", u"the session bus does not answer"_s},
                                    {nullptr, u"no notification service is running"_s}}) {
        useBus(address ? QString::fromLatin1(address) : bus_.address());
        QStringList told;
        DesktopNotifications notifications({[](const UserNotification::UserInfo&) {},
                                            [&](const QString& text) { told << text; },
                                            [](const QString&) {}});
        notifications.deliver(lineNotification(1));
        ASSERT_TRUE(until([&] { return !told.isEmpty(); }));
        useBus(bus_.address());
        notifications.deliver(lineNotification(2));
        // A service that starts later is found, which also shows that the second delivery had time to fail.
        FakeService service(bus_.address());
        ASSERT_TRUE(deliverUntil(notifications, [&] { return !service.shown.empty(); }));
        EXPECT_EQ(told, QStringList{u"Notifications cannot be shown: "_s + reason});
    }
}

TEST_F(DesktopNotificationsTest, ABusThatDiesIsSurvived) {
    {
        FakeService service(bus_.address());
        notifications_.deliver(lineNotification(1));
        ASSERT_TRUE(service.hasShown(1));
    }
    bus_.stop();
    notifications_.deliver(lineNotification(2));
    ASSERT_TRUE(deliverUntil(notifications_, [&] { return !unavailable_.isEmpty(); }));
    EXPECT_EQ(unavailable_.size(), 1);

    const PrivateBus other;
    useBus(other.address());
    FakeService service(other.address());
    ASSERT_TRUE(deliverUntil(notifications_, [&] { return !service.shown.empty(); }));
}

TEST_F(DesktopNotificationsTest, ABusThatIsSilentKeepsNobodyWaiting) {
    const QTemporaryDir directory;
    const QString path = directory.filePath(u"bus"_s);
    const int silent = socketAt(QFile::encodeName(path), &::bind);
    ASSERT_EQ(::fcntl(silent, F_SETFL, O_NONBLOCK), 0);
    ASSERT_EQ(::listen(silent, 1), 0);
    useBus(u"unix:path="_s + path);
    QElapsedTimer timer;
    timer.start();
    notifications_.deliver(lineNotification(1));
    EXPECT_LT(timer.elapsed(), 5000) << "the bus alone would be waited for longer";
    int visitor = -1;
    EXPECT_TRUE(until([&] { return (visitor = ::accept(silent, nullptr, nullptr)) >= 0; }));
    EXPECT_EQ(unavailable_, QStringList());
    ::close(visitor);
    ::close(silent);
    EXPECT_TRUE(until([&] { return unavailable_.size() == 1; }));
}

TEST(SessionBusAddressTest, OnlyABusThatRunsIsUsed) {
    const QTemporaryDir directory;
    const QByteArray with = QFile::encodeName(directory.filePath(u"a~b, c"_s));
    const QByteArray without = QFile::encodeName(directory.path());
    ASSERT_TRUE(QDir().mkpath(QFile::decodeName(with)));
    QFile socket(QFile::decodeName(with) + u"/bus"_s);
    ASSERT_TRUE(socket.open(QIODevice::WriteOnly));
    const QString escaped = u"unix:path="_s + directory.path() + u"/a%7Eb%2C%20c/bus"_s;
    for (const auto& [told, runtimeDirectory, expected] :
         Rows<QByteArray, QByteArray, QString>{{"unix:path=/told", with, u"unix:path=/told"_s},
                                               {"", with, escaped},
                                               {"", without, {}},
                                               {"", "", {}},
                                               {"autolaunch:", without, {}},
                                               {"autolaunch:scope=x", with, {}}}) {
        const ScopedVariable address("DBUS_SESSION_BUS_ADDRESS", told);
        const ScopedVariable directories("XDG_RUNTIME_DIR", runtimeDirectory);
        EXPECT_EQ(DesktopNotifications::sessionBusAddress(), expected) << told.constData();
    }
}

} // namespace
} // namespace korvane::test
