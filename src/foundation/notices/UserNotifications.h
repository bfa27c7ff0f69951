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

    /// What a click on the notification leads to.
    struct UserInfo {
        /// One-based.
        qint64 lineNum = 0;
        /// The file's absolute address.
        QString fileUrl;
    };
    std::optional<UserInfo> userInfo;

    /// Notifications of one key that follow each other closely are shown as one. Empty = never folded.
    QString foldKey;
};

/// The way to the desktop's notification service. Main thread.
class UserNotificationCenter {
public:
    virtual ~UserNotificationCenter() = default;
    /// Shows the notification, if the desktop can. Never blocks.
    virtual void deliver(const UserNotification& notification) = 0;
    /// Asks the user to look at the program, once and without insisting. `fileUrl`: the file concerned, may
    /// be empty.
    virtual void requestUserAttention(const QString& fileUrl) = 0;

    /// The program's own; null until one is set (and then notifications go nowhere).
    static UserNotificationCenter* shared();
    /// Not owned; must live until another is set.
    static void setShared(UserNotificationCenter* center);
};

} // namespace korvane
