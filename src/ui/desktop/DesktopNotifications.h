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

    /// The address of the session bus; empty if none is running.
    static QString sessionBusAddress();

private Q_SLOTS:
    void actionInvoked(const QDBusMessage& message);
    void notificationClosed(const QDBusMessage& message);
    void ownerChanged(const QString& name, const QString& oldOwner, const QString& newOwner);

private:
    /// One notification on the screen, or about to be shown.
    struct Bubble {
        /// Assigned by the service; 0 before that.
        uint id = 0;
        /// Waits in `waiting_` or for the answer of the service.
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
    /// The unique bus name of the service that answered last.
    QString owner_;
    std::optional<QStringList> capabilities_;

    /// Until the bus is connected and the capabilities are known.
    std::vector<std::shared_ptr<Bubble>> waiting_;
    /// By fold key, the latest of each.
    std::map<QString, std::shared_ptr<Bubble>> bubbles_;
    /// Where a click leads, by `Bubble::id`.
    std::map<uint, UserNotification::UserInfo> destinations_;
};

} // namespace korvane
