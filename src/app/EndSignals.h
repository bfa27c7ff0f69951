#pragma once

#include "foundation/Descriptor.h"

#include <QSocketNotifier>

#include <functional>

namespace korvane {

/// Turns the signals by which terminals and sessions end programs (SIGINT, SIGTERM, SIGHUP) into a call on
/// the main thread, so that the program quits as from its menu. A second signal of a kind ends it at once.
/// One object at a time; main thread.
class EndSignals {
public:
    explicit EndSignals(std::function<void()> onSignal);
    ~EndSignals();
    EndSignals(const EndSignals&) = delete;
    EndSignals& operator=(const EndSignals&) = delete;

private:
    const Descriptor event_;
    QSocketNotifier notifier_;
};

} // namespace korvane
