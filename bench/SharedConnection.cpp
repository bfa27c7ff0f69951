#include "SharedConnection.h"

#include "support/SshServer.h"

#include <cstdio>
#include <cstdlib>
#include <vector>

namespace korvane::bench {

SharedConnection::SharedConnection(const test::SshServer& server, const QString& key, std::uint16_t port)
    : arguments_(" -q -F none -i '" + key.toUtf8() +
                 "' -o StrictHostKeyChecking=no -o UserKnownHostsFile=/dev/null -o BatchMode=yes"
                 " -o ControlPath='" +
                 server.path(QStringLiteral("control-%1").arg(port)).toUtf8() + "' -p " +
                 QByteArray::number(port) + ' ' + server.user().toUtf8() + "@127.0.0.1"),
      isThere_(ssh("-M -f -N")) {}

SharedConnection::~SharedConnection() {
    if (!ssh("-O exit"))
        std::fprintf(stderr, "the shared connection has gone by itself\n");
}

QByteArray SharedConnection::output(const QByteArray& remoteCommand) const {
    std::FILE* pipe = ::popen(("exec ssh" + arguments_ + " '" + remoteCommand + '\'').constData(), "r");
    if (!pipe)
        return {};
    std::vector<char> block(1 << 16);
    QByteArray written;
    while (const std::size_t count = std::fread(block.data(), 1, block.size(), pipe))
        written.append(block.data(), static_cast<qsizetype>(count));
    ::pclose(pipe);
    return written;
}

bool SharedConnection::ssh(const QByteArray& options) const {
    return std::system(("exec ssh " + options + arguments_ + " >&2").constData()) == 0;
}

} // namespace korvane::bench
