#pragma once

#include <QString>

#include <chrono>

namespace korvane {

/// What becomes of the key that a server shows.
enum class HostKeyPolicy {
    AcceptAll,
    /// A new one is stored, and the user is asked about one that has changed.
    AcceptNew,
    /// The user is asked about both.
    AskForNew,
};

/// How a session goes about its connection.
struct SessionSettings {
    /// From the first look for the server to the login, with the time that the user's agent takes; the time
    /// that the user takes to answer us is not counted.
    std::chrono::milliseconds connectingLimit = std::chrono::seconds(15);
    /// Until the server's SFTP subsystem has greeted; otherwise the login does without the server's files.
    std::chrono::milliseconds filesLimit = std::chrono::seconds(10);
    /// A server that has been silent for so long is asked whether it is there.
    std::chrono::milliseconds keepAliveInterval = std::chrono::seconds(15);
    /// And given up when it has not answered for so long.
    std::chrono::milliseconds unansweredLimit = std::chrono::seconds(60);

    HostKeyPolicy hostKeyPolicy = HostKeyPolicy::AcceptAll;
    /// Where the configuration names no other.
    QString knownHostsPath;
    /// Whether the user's agent and configuration say more about the server.
    bool usesSshConfig = false;
    QString configPath;

    friend bool operator==(const SessionSettings&, const SessionSettings&) = default;
};

} // namespace korvane
