#pragma once

#include <memory>

namespace korvane {

/// How often a rule notifies the user of its matches.
enum class Frequency : unsigned char { Once, Always };

/// Whether and how often the user is notified of a match. A reference object, held by shared pointer; changed
/// on the main thread only.
class NotificationRule {
public:
    NotificationRule(bool enabled, bool bounceDock, Frequency frequency)
        : enabled_(enabled), frequency_(frequency), bounceDock_(bounceDock) {}
    NotificationRule(const NotificationRule&) = delete;
    NotificationRule& operator=(const NotificationRule&) = delete;

    /// The shared rule for no notification: disabled, once, no bounce. Any thread.
    static const std::shared_ptr<NotificationRule>& defaultRule();

    bool enabled() const { return enabled_; }
    void setEnabled(bool value) { enabled_ = value; }
    Frequency frequency() const { return frequency_; }
    void setFrequency(Frequency value) { frequency_ = value; }
    /// Whether the program also requests the user's attention.
    bool bounceDock() const { return bounceDock_; }
    void setBounceDock(bool value) { bounceDock_ = value; }

private:
    bool enabled_;
    Frequency frequency_;
    bool bounceDock_;
};

} // namespace korvane
