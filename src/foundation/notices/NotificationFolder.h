#pragma once

#include "foundation/notices/UserNotifications.h"

#include <chrono>
#include <map>
#include <optional>
#include <vector>

namespace korvane {

/// Makes one notification of many that follow each other closely: the first of a key is shown at once, those
/// within the interval after what was shown last are held back, and the last of them is then shown in its
/// place. So a key shows at most one notification an interval, and always ends with its last one. Knows no
/// clock: the caller tells the time, and comes back when something is due. Main thread.
class NotificationFolder {
public:
    using Time = std::chrono::steady_clock::time_point;
    static constexpr std::chrono::milliseconds interval{1000};

    struct Folded {
        UserNotification notification;
        /// How many others of its key this one stands for. 0: it is the first, and replaces nothing.
        qint64 more = 0;
    };

    /// Takes in a notification; returns what is to be shown now, if anything.
    std::optional<Folded> add(const UserNotification& notification, Time now);
    /// What was held back until now.
    std::vector<Folded> takeDue(Time now);
    /// When to call takeDue next; nothing while nothing is held back.
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
