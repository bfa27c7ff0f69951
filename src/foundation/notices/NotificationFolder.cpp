#include "foundation/notices/NotificationFolder.h"

#include <algorithm>
#include <utility>

namespace korvane {

std::optional<NotificationFolder::Folded> NotificationFolder::add(const UserNotification& notification,
                                                                  Time now) {
    if (notification.foldKey.isEmpty())
        return Folded{notification, 0};
    std::erase_if(bursts_, [now](const auto& entry) {
        return !entry.second.heldBack && now - entry.second.lastShown >= interval;
    });
    Burst& burst = bursts_[notification.foldKey];
    ++burst.count;
    burst.heldBack = notification;
    if (burst.count > 1 && now - burst.lastShown < interval)
        return std::nullopt;
    return show(burst, now);
}

std::vector<NotificationFolder::Folded> NotificationFolder::takeDue(Time now) {
    std::vector<Folded> due;
    for (auto& [key, burst] : bursts_) {
        if (burst.heldBack && now - burst.lastShown >= interval)
            due.push_back(show(burst, now));
    }
    return due;
}

std::optional<NotificationFolder::Time> NotificationFolder::nextDue() const {
    std::optional<Time> next;
    for (const auto& [key, burst] : bursts_) {
        if (burst.heldBack)
            next = std::min(next.value_or(Time::max()), burst.lastShown + interval);
    }
    return next;
}

NotificationFolder::Folded NotificationFolder::show(Burst& burst, Time now) {
    burst.lastShown = now;
    return {*std::exchange(burst.heldBack, std::nullopt), burst.count - 1};
}

} // namespace korvane
