#pragma once

#include <QByteArray>
#include <QString>

#include <cstdint>

namespace korvane::test {
class SshServer;
}

namespace korvane::bench {

/// The reference: runs commands by `ssh` over one shared connection that stays open.
class SharedConnection {
public:
    /// `port`: of the server, or of a link to it. Connects; blocks.
    SharedConnection(const test::SshServer& server, const QString& key, std::uint16_t port);
    ~SharedConnection();
    SharedConnection(const SharedConnection&) = delete;
    SharedConnection& operator=(const SharedConnection&) = delete;

    bool isThere() const { return isThere_; }
    /// The command's output. Blocks.
    QByteArray output(const QByteArray& remoteCommand) const;

private:
    bool ssh(const QByteArray& options) const;

    const QByteArray arguments_;
    const bool isThere_;
};

} // namespace korvane::bench
