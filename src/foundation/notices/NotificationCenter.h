#pragma once

#include <QString>

#include <any>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace korvane {

/// One posted notification.
struct Notification {
    QString name;
    /// What the notification is about; its type is fixed by the name. Empty where a name carries no object.
    std::any object;
    /// Who posted it, for receivers that must ignore what happens in other windows. May be null; never
    /// dereferenced.
    const void* sender = nullptr;
};

/// Keeps an observer registered for as long as it lives.
class [[nodiscard]] NotificationToken {
public:
    NotificationToken() = default;

private:
    friend class NotificationCenter;
    struct Observer;
    explicit NotificationToken(std::shared_ptr<Observer> observer) : observer_(std::move(observer)) {}
    std::shared_ptr<Observer> observer_;
};

/// The application-wide board of notices. Delivery is on the posting thread, before `post` returns, in the
/// order of registration; whoever has something for the windows goes to the main thread first.
class NotificationCenter {
public:
    using Handler = std::function<void(const Notification&)>;

    static NotificationCenter& shared();

    /// Calls `handler` for every notification of that name until the token is gone. Any thread; when the
    /// token is released on another thread than the posting one, a call under way may still finish.
    NotificationToken observe(QString name, Handler handler);

    void post(const QString& name, std::any object = {}, const void* sender = nullptr);

private:
    std::mutex mutex_;
    std::vector<std::weak_ptr<NotificationToken::Observer>> observers_;
};

} // namespace korvane
