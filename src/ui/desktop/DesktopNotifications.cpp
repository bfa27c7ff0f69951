#include "ui/desktop/DesktopNotifications.h"

#include "foundation/work/MainThread.h"
#include "ui/desktop/UiLog.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QFileInfo>
#include <QLocale>
#include <QPointer>

#include <utility>

namespace korvane {
namespace {

const QString serviceName = QStringLiteral("org.freedesktop.Notifications");
const QString servicePath = QStringLiteral("/org/freedesktop/Notifications");
const QString busName = QStringLiteral("org.freedesktop.DBus");
const QString defaultAction = QStringLiteral("default");
const QString programName = QStringLiteral("korvane");
constexpr int lifetimeOfTheServicesChoice = -1;
/// Maximum number of click destinations: some services never report that a notification was closed.
constexpr std::size_t mostDestinations = 1000;

/// Blocks until the bus answers, perhaps for ever: call it on a worker.
QDBusConnection connectionTo(const QString& address) {
    static std::atomic<int> serial = 0;
    return QDBusConnection::connectToBus(address, QStringLiteral("korvane notifications %1").arg(++serial));
}

} // namespace

DesktopNotifications::DesktopNotifications(Handlers handlers)
    : handlers_(std::move(handlers)), connectQueue_("Notification bus queue", 1), bus_(QString()) {
    dueTimer_.setSingleShot(true);
    dueTimer_.setTimerType(Qt::PreciseTimer);
    connect(&dueTimer_, &QTimer::timeout, this, [this] { showDue(); });
}

DesktopNotifications::~DesktopNotifications() {
    QDBusConnection::disconnectFromBus(bus_.name());
}

QString DesktopNotifications::sessionBusAddress() {
    const QString told = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS");
    if (!told.isEmpty())
        return told.contains(QStringLiteral("autolaunch:")) ? QString() : told;
    const QByteArray directory = qgetenv("XDG_RUNTIME_DIR");
    const QByteArray socket = directory + "/bus";
    if (directory.isEmpty() || !QFileInfo::exists(QFile::decodeName(socket)))
        return {};
    return QStringLiteral("unix:path=") +
           QString::fromLatin1(socket.toPercentEncoding(QByteArrayLiteral("/"), QByteArrayLiteral("~")));
}

void DesktopNotifications::requestUserAttention(const QString& fileUrl) {
    handlers_.attention(fileUrl);
}

// ---- Folding

void DesktopNotifications::deliver(const UserNotification& notification) {
    if (const auto folded = folder_.add(notification, std::chrono::steady_clock::now()))
        show(*folded);
    showDue();
}

void DesktopNotifications::showDue() {
    const auto now = std::chrono::steady_clock::now();
    for (const auto& folded : folder_.takeDue(now))
        show(folded);
    if (const auto next = folder_.nextDue())
        dueTimer_.start(std::chrono::ceil<std::chrono::milliseconds>(*next - now));
}

void DesktopNotifications::show(const NotificationFolder::Folded& folded) {
    std::shared_ptr<Bubble> bubble;
    if (folded.notification.foldKey.isEmpty()) {
        bubble = std::make_shared<Bubble>();
    } else {
        std::shared_ptr<Bubble>& latest = bubbles_[folded.notification.foldKey];
        if (!latest || folded.more == 0)
            latest = std::make_shared<Bubble>();
        bubble = latest;
    }
    bubble->next = folded;
    // A bubble that is being sent is sent again with the newer content.
    if (!std::exchange(bubble->isUnderWay, true))
        waiting_.push_back(bubble);
    sendWaiting();
}

// ---- The service

void DesktopNotifications::sendWaiting() {
    if (waiting_.empty() || isConnecting_ || isAsking_)
        return;
    if (!bus_.isConnected()) {
        connectToBus();
    } else if (!capabilities_) {
        askCapabilities();
    } else {
        for (const auto& bubble : std::exchange(waiting_, {}))
            send(bubble);
    }
}

void DesktopNotifications::connectToBus() {
    forgetService();
    const QString address = sessionBusAddress();
    if (address.isEmpty()) {
        fail(tr("there is no session bus"));
        return;
    }
    isConnecting_ = true;
    connectQueue_.run([address, self = QPointer<DesktopNotifications>(this)] {
        // Posted also when cancelled: a connection made too late must be closed.
        MainThread::shared().post([self, bus = connectionTo(address)] {
            if (self)
                self->connected(bus);
            else
                QDBusConnection::disconnectFromBus(bus.name());
        });
    });
}

void DesktopNotifications::connected(const QDBusConnection& bus) {
    isConnecting_ = false;
    QDBusConnection::disconnectFromBus(bus_.name());
    bus_ = bus;
    if (!bus_.isConnected()) {
        fail(tr("the session bus does not answer"));
        return;
    }
    // No match on the sender's name, which would be resolved on this thread: the handlers check it.
    bus_.connect({}, servicePath, serviceName, QStringLiteral("ActionInvoked"), this,
                 SLOT(actionInvoked(QDBusMessage)));
    bus_.connect({}, servicePath, serviceName, QStringLiteral("NotificationClosed"), this,
                 SLOT(notificationClosed(QDBusMessage)));
    bus_.connect({}, QStringLiteral("/org/freedesktop/DBus"), busName, QStringLiteral("NameOwnerChanged"),
                 {serviceName}, {}, this, SLOT(ownerChanged(QString, QString, QString)));
    sendWaiting();
}

void DesktopNotifications::call(const QString& method, const QVariantList& arguments,
                                std::function<void(const QDBusPendingCallWatcher&)> answered) {
    QDBusMessage message = QDBusMessage::createMethodCall(serviceName, servicePath, serviceName, method);
    message.setArguments(arguments);
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(message), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [watcher, answered = std::move(answered)] {
        watcher->deleteLater();
        answered(*watcher);
    });
}

void DesktopNotifications::askCapabilities() {
    isAsking_ = true;
    call(QStringLiteral("GetCapabilities"), {}, [this](const QDBusPendingCallWatcher& answer) {
        isAsking_ = false;
        const QDBusPendingReply<QStringList> reply = answer;
        if (reply.isError()) {
            fail(reply.error().type() == QDBusError::ServiceUnknown ? tr("no notification service is running")
                                                                    : reply.error().message());
            return;
        }
        owner_ = reply.reply().service();
        capabilities_ = reply.value();
        sendWaiting();
    });
}

void DesktopNotifications::send(const std::shared_ptr<Bubble>& bubble) {
    const NotificationFolder::Folded content = *std::exchange(bubble->next, std::nullopt);
    const auto& [notification, more] = content;
    const QString title =
        more > 0 ? tr("%1 (%2 more)").arg(notification.title, QLocale().toString(more)) : notification.title;
    QStringList lines{notification.subtitle, notification.informativeText};
    lines.removeAll(QString());
    QString body = lines.join(u'\n');
    if (capabilities_->contains(QStringLiteral("body-markup")))
        body = body.toHtmlEscaped();
    QStringList actions;
    if (notification.userInfo && capabilities_->contains(QStringLiteral("actions")))
        actions = {defaultAction, tr("Show the line")};
    const QVariantMap hints{{QStringLiteral("desktop-entry"), programName}};
    call(QStringLiteral("Notify"),
         {QStringLiteral("Korvane"), bubble->id, programName, title, body, actions, hints,
          lifetimeOfTheServicesChoice},
         [this, bubble, content](const QDBusPendingCallWatcher& answer) { sent(bubble, content, answer); });
}

void DesktopNotifications::sent(const std::shared_ptr<Bubble>& bubble,
                                const NotificationFolder::Folded& content,
                                const QDBusPendingCallWatcher& answer) {
    const QDBusPendingReply<uint> reply = answer;
    bubble->isUnderWay = false;
    if (reply.isError()) {
        fail(reply.error().message());
    } else {
        if (reply.reply().service() != owner_) {
            // Another service has taken over: it knows none of the ids, and shows texts that were formatted
            // for the capabilities of the previous one.
            forgetService();
            owner_ = reply.reply().service();
            if (!bubble->next)
                bubble->next = content;
        }
        bubble->id = reply.value();
        if (content.notification.userInfo)
            destinations_[bubble->id] = *content.notification.userInfo;
        if (destinations_.size() > mostDestinations)
            destinations_.erase(destinations_.begin());
    }
    if (bubble->next) {
        bubble->isUnderWay = true;
        waiting_.push_back(bubble);
        sendWaiting();
    }
}

bool DesktopNotifications::isFromService(const QDBusMessage& message) const {
    return !owner_.isEmpty() && message.service() == owner_;
}

void DesktopNotifications::actionInvoked(const QDBusMessage& message) {
    if (!isFromService(message) || message.signature() != QStringLiteral("us") ||
        message.arguments().at(1).toString() != defaultAction)
        return;
    const auto found = destinations_.find(message.arguments().at(0).toUInt());
    if (found == destinations_.end())
        return;
    const UserNotification::UserInfo destination = found->second;
    handlers_.activated(destination);
}

void DesktopNotifications::notificationClosed(const QDBusMessage& message) {
    if (!isFromService(message) || !message.signature().startsWith(u'u'))
        return;
    const uint id = message.arguments().at(0).toUInt();
    destinations_.erase(id);
    for (const auto& [key, bubble] : bubbles_) {
        if (bubble->id == id)
            bubble->id = 0;
    }
}

void DesktopNotifications::ownerChanged(const QString& name, const QString& oldOwner,
                                        const QString& /*newOwner*/) {
    if (name == serviceName && oldOwner == owner_)
        forgetService();
}

void DesktopNotifications::forgetService() {
    owner_.clear();
    capabilities_.reset();
    destinations_.clear();
    for (const auto& [key, bubble] : bubbles_)
        bubble->id = 0;
}

void DesktopNotifications::fail(const QString& reason) {
    for (const auto& bubble : std::exchange(waiting_, {})) {
        bubble->isUnderWay = false;
        bubble->next.reset();
    }
    if (std::exchange(hasFailed_, true))
        return;
    const QString text = tr("Notifications cannot be shown: %1").arg(reason);
    qCWarning(logUi, "%ls", qUtf16Printable(text));
    handlers_.unavailable(text);
}

} // namespace korvane
