#pragma once

#include <QByteArray>
#include <QList>

#include <optional>

namespace korvane {

struct CommandLine;

/// Where starts of the program find the running copy: a socket, and a file whose lock the running copy
/// holds. A plain value; any thread.
struct InstancePlace {
    QByteArray socketPath;
    QByteArray lockPath;

    /// In the user's runtime directory, or else one in /tmp, for this command line. Absent without a
    /// directory that only the user may enter.
    static std::optional<InstancePlace> find(const CommandLine& commandLine);

    /// In the first suitable directory. The fallback is created if missing; an empty runtime directory is
    /// ignored.
    static std::optional<InstancePlace> in(const QByteArray& runtimeDirectory, const QByteArray& fallback,
                                           const QByteArray& key);

    /// Equal exactly for copies that share settings, stores and display.
    static QByteArray key(const CommandLine& commandLine);
};

} // namespace korvane
