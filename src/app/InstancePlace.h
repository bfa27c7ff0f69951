#pragma once

#include <QByteArray>
#include <QList>

#include <optional>

namespace korvane {

struct CommandLine;

/// Where the copies of the program that belong together find each other: a socket, and a file whose lock the
/// running copy holds. A plain value; any thread.
struct InstancePlace {
    QByteArray socketPath;
    QByteArray lockPath;

    /// For the user's own runtime directory, or else one in /tmp, and for this command line. Nothing when
    /// there is no directory that only the user may enter.
    static std::optional<InstancePlace> find(const CommandLine& commandLine);

    /// In the first of the directories that serves. The fallback is made where it is missing; an empty
    /// runtime directory is none.
    static std::optional<InstancePlace> in(const QByteArray& runtimeDirectory, const QByteArray& fallback,
                                           const QByteArray& key);

    /// The same for copies that share settings, stores and display, and for no others.
    static QByteArray key(const CommandLine& commandLine);
};

} // namespace korvane
