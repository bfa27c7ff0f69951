#pragma once

#include "BenchHost.h"

#include "core/TailDataSourceProtocol.h"
#include "support/Session.h"
#include "support/SshServer.h"

#include <QTemporaryDir>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace korvane::bench {

/// Runs the event loop until the condition holds; false if it does not within the limit.
bool until(const std::function<bool()>& condition, std::chrono::milliseconds limit);

/// The program's windows with their own settings, one host, and a small file of it that stays open so that
/// the host is connected before another file is opened.
class RemoteWindow {
public:
    /// Durations in milliseconds since the file was opened, and the first row on the screen.
    struct Opening {
        double untilConnected = 0;
        double untilRows = 0;
        qint64 firstRow = 0;
    };

    RemoteWindow(const test::SshServer& server, std::shared_ptr<RemoteHost> host);
    ~RemoteWindow();
    RemoteWindow(const RemoteWindow&) = delete;
    RemoteWindow& operator=(const RemoteWindow&) = delete;

    /// Whether the small file is open.
    bool isReady() const { return isReady_; }
    /// Opens the file, as when the user chooses it, and waits until its first rows are painted. Nullopt if
    /// that takes too long or the rows differ from the file.
    std::optional<Opening> open(const QString& path);
    /// Whether the lines of the last opened file have been counted.
    bool isLoaded() const { return session_.page && !session_.page->isLoading(); }
    /// The text of a row; empty if the row is not on the screen or not loaded.
    QString textOnScreen(qint64 row);
    LogTableView& table() { return session_.table(); }
    MainWindowController& page() { return *session_.page; }
    const Document& document() const { return *session_.document; }
    /// Closes the last opened file. False if the server's processes for it have not ended in time.
    bool close();

private:
    const QTemporaryDir home_;
    const bool isHome_;
    PrintedAlerts alerts_;
    test::Session session_;
    const test::SshServer& server_;
    const std::shared_ptr<RemoteHost> host_;
    std::size_t processesBefore_ = 0;
    bool isReady_ = false;
};

} // namespace korvane::bench
