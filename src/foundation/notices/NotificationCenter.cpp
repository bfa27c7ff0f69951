#include "foundation/notices/NotificationCenter.h"

#include <utility>

namespace korvane {

struct NotificationToken::Observer {
    QString name;
    NotificationCenter::Handler handler;
};

NotificationCenter& NotificationCenter::shared() {
    static NotificationCenter* const instance = new NotificationCenter;
    return *instance;
}

NotificationToken NotificationCenter::observe(QString name, Handler handler) {
    auto observer = std::make_shared<NotificationToken::Observer>(
        NotificationToken::Observer{std::move(name), std::move(handler)});
    const std::lock_guard guard(mutex_);
    std::erase_if(observers_, [](const auto& known) { return known.expired(); });
    observers_.push_back(observer);
    return NotificationToken(std::move(observer));
}

void NotificationCenter::post(const QString& name, std::any object, const void* sender) {
    std::vector<std::weak_ptr<NotificationToken::Observer>> observers;
    {
        const std::lock_guard guard(mutex_);
        observers = observers_;
    }
    const Notification notification{name, std::move(object), sender};
    for (const auto& known : observers) {
        // Locked one at a time: a handler may release the tokens of later observers, which then hear nothing.
        if (const auto observer = known.lock(); observer && observer->name == name)
            observer->handler(notification);
    }
}

} // namespace korvane
