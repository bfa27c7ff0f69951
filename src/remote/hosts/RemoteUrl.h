#pragma once

#include <QString>
#include <QUrl>

#include <cstdint>
#include <memory>
#include <optional>

namespace korvane {

class RemoteHost;
class RemoteHostsManager;

/// The URL of a file on a server: "ssh://", user@host:port, "/" and the percent-encoded path. A path that
/// begins with "/" keeps it, so that two slashes follow the port. The user may be empty if the user's SSH
/// configuration names one; the "@" stays. A value; any thread, except for functions with hosts.
class RemoteUrl {
public:
    /// `path`: as on the server. Main thread.
    RemoteUrl(const RemoteHost& host, const QString& path);
    /// Nullopt for an invalid URL: another scheme; no "@", host or path, or no port from 1 to 65535.
    static std::optional<RemoteUrl> fromText(const QString& text);
    static std::optional<RemoteUrl> fromUrl(const QUrl& url);

    /// A URL that leads back to exactly this host. If user, name and port are ambiguous, it has the host's
    /// identifier as a fragment; a name that is not valid in a URL is replaced by a similar one. Main thread.
    static QUrl urlOf(const RemoteHost& host, const QString& path, const RemoteHostsManager& hosts);

    /// The URL as text, without normalisation.
    QString text() const;
    /// The URL by which the rest of the program identifies the file. Its text may differ: the host's name
    /// becomes lower case, for instance.
    QUrl url() const;

    const QString& host() const { return host_; }
    int port() const { return port_; }
    const QString& user() const { return user_; }
    /// Decoded, with one more leading "/" than the path given to the constructor: the shell treats both as
    /// the same file.
    QString path() const { return u'/' + path_; }

    /// The host with the identifier in the URL, otherwise the first one with the same host, port and user;
    /// null if there is none. Main thread.
    std::shared_ptr<RemoteHost> hostIn(const RemoteHostsManager& hosts) const;

private:
    RemoteUrl(QString host, int port, QString user, QString path);

    QString host_;
    int port_;
    QString user_;
    QString path_;           // without the "/" after the port
    QString hostIdentifier_; // may be empty
};

} // namespace korvane
