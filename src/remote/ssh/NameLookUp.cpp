#include "remote/ssh/NameLookUp.h"

#include "foundation/Descriptor.h"
#include "foundation/work/OperationQueue.h"
#include "foundation/work/Reply.h"
#include "remote/ssh/SshError.h"

#include <cerrno>
#include <cstdint>
#include <sys/eventfd.h>
#include <sys/socket.h>

namespace korvane {
namespace {

/// Maximum number of concurrent look-ups.
constexpr int mostLookUps = 8;

struct NameAnswer {
    /// Becomes readable once the reply is set.
    Descriptor event{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
    Reply<Result<Addresses>> reply;
};

Result<Addresses> addressesOf(const QByteArray& name, const QByteArray& port, int family, int flags) {
    addrinfo wanted{};
    wanted.ai_family = family;
    wanted.ai_socktype = SOCK_STREAM;
    wanted.ai_flags = flags;
    addrinfo* found = nullptr;
    const int fault = ::getaddrinfo(name.constData(), port.constData(), &wanted, &found);
    if (fault)
        return sshError(SshErrorCode::Failed, QString::fromLocal8Bit(::gai_strerror(fault)));
    return Addresses(found);
}

OperationQueue& lookUps() {
    // Never destroyed: a look-up may outlast main().
    static auto* const queue = new OperationQueue("name look-up", mostLookUps);
    return *queue;
}

} // namespace

Result<Addresses> lookUpName(const QByteArray& name, const QByteArray& port, int family, int interruptEvent,
                             Deadline deadline) {
    // A numeric address needs no look-up.
    if (Result<Addresses> itself = addressesOf(name, port, family, AI_NUMERICHOST))
        return itself;
    const auto answer = std::make_shared<NameAnswer>();
    if (!answer->event.isOpen())
        return systemError(errno);
    auto lookUp = lookUps().run([answer, name, port, family] {
        answer->reply.set(addressesOf(name, port, family, 0));
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto written = ::write(answer->event.number(), &one, sizeof one);
    });
    if (const Status ready = awaitDescriptor(answer->event.number(), POLLIN, interruptEvent, deadline);
        !ready) {
        lookUp.cancel();
        if (isSshError(ready.error(), SshErrorCode::TimedOut))
            return sshError(
                SshErrorCode::TimedOut,
                SshTexts::tr("The look-up of the name \"%1\" is not answered.").arg(QString::fromUtf8(name)));
        return ready.error();
    }
    return answer->reply.wait();
}

} // namespace korvane
