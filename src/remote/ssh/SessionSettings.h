#pragma once

#include <QString>

#include <chrono>

namespace korvane {

/// How the key that a server shows is treated.
enum class HostKeyPolicy {
    AcceptAll,
    /// A new key is stored, and the user is asked about a changed one.
    AcceptNew,
    /// The user is asked about new and changed keys.
    AskForNew,
};

/// Settings of a session.
struct SessionSettings {
    /// Maximum time from the look-up of the server to the end of the login, including the time that the
    /// user's agent takes, but not the time that the user takes to answer us.
    std::chrono::milliseconds connectingLimit = std::chrono::seconds(15);
    /// Maximum time for the server's SFTP subsystem to greet; after that, the server's files are unavailable.
    std::chrono::milliseconds filesLimit = std::chrono::seconds(10);
    /// Silence of the server after which it is sent a keep-alive request.
    std::chrono::milliseconds keepAliveInterval = std::chrono::seconds(15);
    /// Maximum time without an answer to it; then the connection is ended.
    std::chrono::milliseconds unansweredLimit = std::chrono::seconds(60);

    HostKeyPolicy hostKeyPolicy = HostKeyPolicy::AcceptAll;
    /// Used unless the configuration names another file.
    QString knownHostsPath;
    /// Whether the user's agent and configuration are used.
    bool usesSshConfig = false;
    QString configPath;

    friend bool operator==(const SessionSettings&, const SessionSettings&) = default;
};

} // namespace korvane
