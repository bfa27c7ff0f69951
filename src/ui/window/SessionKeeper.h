#pragma once

#include "ui/window/Session.h"

#include <QTimer>

#include <functional>

namespace korvane {

/// Saves the session as it changes: tabs at once, places and windows' geometries within seconds, so that it
/// outlives an end of the program without notice. Main thread.
class SessionKeeper {
public:
    /// `current`: the session now. Called whenever it is saved, while this object lives.
    explicit SessionKeeper(std::function<Session()> current);

    /// Nothing is saved before, or after `stop`.
    void start() { isKeeping_ = true; }
    void stop() { isKeeping_ = false; }

    /// A tab has come, gone or moved: saved when the event under way has been handled.
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
