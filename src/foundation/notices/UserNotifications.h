#pragma once

#include <QString>

#include <memory>
#include <optional>

namespace korvane {

/// A message for the user that appears outside the program's windows.
struct UserNotification {
    QString title;
    QString subtitle;
    QString informativeText;

    /// Target of a click on the notification.
    struct UserInfo {
        /// One-based.
        qint64 lineNum = 0;
        /// The file's absolute URL.
        QString fileUrl;
    };
    std::optional<UserInfo> userInfo;

    /// Notifications with equal keys in quick succession are shown as one. Empty = never folded.
    QString foldKey;
};

/// Access to the desktop's notification service. Main thread.
class UserNotificationCenter {
public:
    virtual ~UserNotificationCenter() = default;
    /// Shows the notification, if the desktop can. Never blocks.
    virtual void deliver(const UserNotification& notification) = 0;
    /// Requests the user's attention for the program, once. `fileUrl`: the file concerned, may be empty.
    virtual void requestUserAttention(const QString& fileUrl) = 0;

    /// The program's centre; null until one is set, and notifications are dropped until then.
    static UserNotificationCenter* shared();
    /// Not owned; must live until another one is set.
    static void setShared(UserNotificationCenter* center);
};

} // namespace korvane
