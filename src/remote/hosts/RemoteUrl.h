#pragma once

#include <QString>
#include <QUrl>

#include <cstdint>
#include <memory>
#include <optional>

namespace korvane {

class RemoteHost;
class RemoteHostsManager;

/// The address of a file on a server: "ssh://", user@host:port, "/" and the percent-encoded path. A path that
/// begins with "/" keeps it, so that two slashes stand behind the port. The user may be empty where the
/// user's configuration names one, and the "@" stays. A value; any thread, save where hosts come in.
class RemoteUrl {
public:
    /// `path`: as the server knows it. Main thread.
    RemoteUrl(const RemoteHost& host, const QString& path);
    /// Nothing for what is no such address: another scheme; no "@", host or path, or no port from 1 to 65535.
    static std::optional<RemoteUrl> fromText(const QString& text);
    static std::optional<RemoteUrl> fromUrl(const QUrl& url);

    /// The address by which the host itself is found again, and no other one: where user, name and port do
    /// not tell, it holds the host's identifier as a fragment, and in place of a name that no address takes a
    /// similar one. Main thread.
    static QUrl urlOf(const RemoteHost& host, const QString& path, const RemoteHostsManager& hosts);

    /// The address, letter by letter.
    QString text() const;
    /// What the rest of the program knows the file by. Not always the same text: the host's letters become
    /// small, for instance.
    QUrl url() const;

    const QString& host() const { return host_; }
    int port() const { return port_; }
    const QString& user() const { return user_; }
    /// Decoded. Begins with a "/" more than the path that the address was made of: the shell takes both for
    /// the same file.
    QString path() const { return u'/' + path_; }

    /// The host whose identifier the address holds, otherwise the first one with this host, port and user,
    /// all three; null if there is none. Main thread.
    std::shared_ptr<RemoteHost> hostIn(const RemoteHostsManager& hosts) const;

private:
    RemoteUrl(QString host, int port, QString user, QString path);

    QString host_;
    int port_;
    QString user_;
    QString path_;           // without the "/" behind the port
    QString hostIdentifier_; // may be empty
};

} // namespace korvane
