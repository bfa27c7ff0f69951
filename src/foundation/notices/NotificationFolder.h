#pragma once

#include "foundation/notices/UserNotifications.h"

#include <chrono>
#include <map>
#include <optional>
#include <vector>

namespace korvane {

/// Folds notifications in quick succession into one. The first of a key is shown at once; those within the
/// interval after the last one shown are held back, and the last of them is then shown in its place. So a key
/// shows at most one notification per interval, and always ends with its last one. Has no clock: the caller
/// passes the time, and calls `takeDue` when something is due. Main thread.
class NotificationFolder {
public:
    using Time = std::chrono::steady_clock::time_point;
    static constexpr std::chrono::milliseconds interval{1000};

    struct Folded {
        UserNotification notification;
        /// Number of other notifications of its key that this one replaces; 0 for the first.
        qint64 more = 0;
    };

    /// Adds a notification; returns the one to show now, if any.
    std::optional<Folded> add(const UserNotification& notification, Time now);
    /// The notifications held back until now.
    std::vector<Folded> takeDue(Time now);
    /// When to call takeDue next; nullopt if nothing is held back.
    std::optional<Time> nextDue() const;

private:
    struct Burst {
        Time lastShown;
        qint64 count = 0;
        std::optional<UserNotification> heldBack;
    };
    static Folded show(Burst& burst, Time now);

    std::map<QString, Burst> bursts_;
};

} // namespace korvane
