#pragma once

#include "ui/window/Session.h"

#include <QTimer>

#include <functional>

namespace korvane {

/// Saves the session as it changes: tabs at once, places and window geometries within seconds, so that it
/// survives a crash or kill. Main thread.
class SessionKeeper {
public:
    /// `current`: returns the present session. Called at every save while this object lives.
    explicit SessionKeeper(std::function<Session()> current);

    /// Nothing is saved before `start` or after `stop`.
    void start() { isKeeping_ = true; }
    void stop() { isKeeping_ = false; }

    /// Tabs were added, closed or moved: saves when the present event has been handled.
    void tabsChanged() { soon_.start(); }
    void placesChanged();
    void saveNow();

private:
    const std::function<Session()> current_;
    bool isKeeping_ = false;
    QTimer soon_;
    QTimer later_;
};

} // namespace korvane
