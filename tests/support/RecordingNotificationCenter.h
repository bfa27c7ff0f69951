#pragma once

#include "foundation/notices/UserNotifications.h"

#include <QStringList>

#include <vector>

namespace korvane::test {

/// The program's notification centre while it lives; records all notifications.
class RecordingNotificationCenter : public UserNotificationCenter {
public:
    RecordingNotificationCenter() { setShared(this); }
    ~RecordingNotificationCenter() override { setShared(nullptr); }

    void deliver(const UserNotification& notification) override { delivered.push_back(notification); }
    void requestUserAttention(const QString& fileUrl) override { attention.push_back(fileUrl); }

    std::vector<UserNotification> delivered;
    QStringList attention;
};

} // namespace korvane::test
