#pragma once

#include "foundation/notices/NotificationFolder.h"
#include "foundation/notices/UserNotifications.h"
#include "foundation/work/OperationQueue.h"

#include <QDBusConnection>
#include <QObject>
#include <QStringList>
#include <QTimer>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

class QDBusError;
class QDBusMessage;
class QDBusPendingCallWatcher;

namespace korvane {

/// Notifications through the desktop's service on the session bus (org.freedesktop.Notifications). The bus is
/// not touched before the first notification, never started, and never waited for. Main thread.
class DesktopNotifications : public QObject, public UserNotificationCenter {
    Q_OBJECT

public:
    struct Handlers {
        /// The user clicked a notification that leads somewhere.
        std::function<void(const UserNotification::UserInfo&)> activated;
        /// Called once: notifications cannot be shown, and why, as a sentence for the user.
        std::function<void(const QString& text)> unavailable;
        /// Asks the user to look at the window of a file.
        std::function<void(const QString& fileUrl)> attention;
    };

    explicit DesktopNotifications(Handlers handlers);
    ~DesktopNotifications() override;

    void deliver(const UserNotification& notification) override;
    void requestUserAttention(const QString& fileUrl) override;

    /// Where the session's bus listens; empty if there is none that runs.
    static QString sessionBusAddress();

private Q_SLOTS:
    void actionInvoked(const QDBusMessage& message);
    void notificationClosed(const QDBusMessage& message);
    void ownerChanged(const QString& name, const QString& oldOwner, const QString& newOwner);

private:
    /// What is or will be one notification on the screen.
    struct Bubble {
        /// The service's number of it, 0 while there is none.
        uint id = 0;
        /// It is among `waiting_`, or the service has not answered yet.
        bool isUnderWay = false;
        std::optional<NotificationFolder::Folded> next;
    };

    void show(const NotificationFolder::Folded& folded);
    void showDue();
    void sendWaiting();
    void connectToBus();
    void connected(const QDBusConnection& bus);
    void askCapabilities();
    void send(const std::shared_ptr<Bubble>& bubble);
    void sent(const std::shared_ptr<Bubble>& bubble, const NotificationFolder::Folded& content,
              const QDBusPendingCallWatcher& answer);
    void call(const QString& method, const QVariantList& arguments,
              std::function<void(const QDBusPendingCallWatcher&)> answered);
    bool isFromService(const QDBusMessage& message) const;
    void forgetService();
    void fail(const QString& reason);

    const Handlers handlers_;
    NotificationFolder folder_;
    QTimer dueTimer_;

    OperationQueue connectQueue_;
    QDBusConnection bus_;
    bool isConnecting_ = false;
    bool isAsking_ = false;
    bool hasFailed_ = false;
    /// The bus's own name of the service that answered last.
    QString owner_;
    std::optional<QStringList> capabilities_;

    /// For the bus or the capabilities.
    std::vector<std::shared_ptr<Bubble>> waiting_;
    /// By fold key, the latest of each.
    std::map<QString, std::shared_ptr<Bubble>> bubbles_;
    /// Where a click leads, by the service's number.
    std::map<uint, UserNotification::UserInfo> destinations_;
};

} // namespace korvane
