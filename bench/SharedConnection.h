#pragma once

#include <QByteArray>
#include <QString>

#include <cstdint>

namespace korvane::test {
class SshServer;
}

namespace korvane::bench {

/// The reference: commands by `ssh` over one connection that stays.
class SharedConnection {
public:
    /// `port`: where the server, or a link to it, listens. Connects; blocks.
    SharedConnection(const test::SshServer& server, const QString& key, std::uint16_t port);
    ~SharedConnection();
    SharedConnection(const SharedConnection&) = delete;
    SharedConnection& operator=(const SharedConnection&) = delete;

    bool isThere() const { return isThere_; }
    /// What the command writes. Blocks.
    QByteArray output(const QByteArray& remoteCommand) const;

private:
    bool ssh(const QByteArray& options) const;

    const QByteArray arguments_;
    const bool isThere_;
};

} // namespace korvane::bench
