#pragma once

#include "app/OpenRequest.h"

#include <QSocketNotifier>
#include <QTimer>

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

namespace korvane {

/// Takes the requests of later starts in the running copy. Never blocks: it reads when there is something to
/// read, and what is not complete in time is dropped. Main thread, with an event loop; connections end with
/// the object.
class RequestServer {
public:
    struct Limits {
        /// From connecting to the last byte of the message.
        std::chrono::milliseconds time{5000};
        /// Others wait until one of these has ended.
        std::size_t connections = 8;
    };

    /// Gets each request after its sender has been told that it was taken.
    using Handler = std::function<void(OpenRequest request)>;

    /// `listener`: a listening socket that does not block. Stays the caller's and must outlive the object.
    RequestServer(int listener, Handler handler, Limits limits);
    RequestServer(int listener, Handler handler) : RequestServer(listener, std::move(handler), Limits()) {}
    ~RequestServer();
    RequestServer(const RequestServer&) = delete;
    RequestServer& operator=(const RequestServer&) = delete;

    /// Takes nothing for a moment. For when the program may be about to end: what is not taken is served by
    /// the next copy, if the program does end.
    void pause();

private:
    class Connection;

    void accept();
    /// None while paused, and no new connections beyond the limit.
    void updateNotifiers();
    /// Lets the connection read, and ends it when that leads to an end.
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
