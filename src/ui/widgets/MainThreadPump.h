#pragma once

#include <QSocketNotifier>

namespace korvane {

/// Lets the application's event loop run what workers post to the main thread. Lives as long as the
/// application.
class MainThreadPump {
public:
    MainThreadPump();

private:
    QSocketNotifier notifier_;
};

} // namespace korvane
