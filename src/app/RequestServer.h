#pragma once

#include "app/OpenRequest.h"

#include <QSocketNotifier>
#include <QTimer>

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

namespace korvane {

/// Receives the requests of later starts in the running copy. Never blocks: it reads only available bytes,
/// and drops requests that are not complete in time. Main thread, with an event loop; connections end with
/// the object.
class RequestServer {
public:
    struct Limits {
        /// Maximum time from connecting to the last byte of the message.
        std::chrono::milliseconds time{5000};
        /// Maximum number of connections; further ones wait in the listener's queue.
        std::size_t connections = 8;
    };

    /// Called with each request, after its sender got the answer that it was taken.
    using Handler = std::function<void(OpenRequest request)>;

    /// `listener`: a listening socket that does not block. Stays the caller's and must outlive the object.
    RequestServer(int listener, Handler handler, Limits limits);
    RequestServer(int listener, Handler handler) : RequestServer(listener, std::move(handler), Limits()) {}
    ~RequestServer();
    RequestServer(const RequestServer&) = delete;
    RequestServer& operator=(const RequestServer&) = delete;

    /// Stops reading for a moment. For when the program may be about to end: requests that are not taken are
    /// served by the next copy then.
    void pause();

private:
    class Connection;

    void accept();
    /// Disables all while paused, and the listener at the limit of connections.
    void updateNotifiers();
    /// Reads from the connection, and removes it when its message is complete, invalid or cut off.
    void read(Connection& connection);
    void remove(Connection& connection);

    const Handler handler_;
    const Limits limits_;
    const int listener_;
    QSocketNotifier notifier_;
    QTimer resumeTimer_;
    std::vector<std::unique_ptr<Connection>> connections_;
};

} // namespace korvane
