#pragma once

#include "foundation/Result.h"
#include "remote/ssh/Programs.h"

#include <QByteArray>

#include <memory>
#include <netdb.h>

namespace korvane {

struct FreeAddresses {
    void operator()(addrinfo* addresses) const { ::freeaddrinfo(addresses); }
};
/// A list; the next is behind `ai_next`.
using Addresses = std::unique_ptr<addrinfo, FreeAddresses>;

/// The addresses of a name, which may be an address itself; never none. Blocks until the system has answered,
/// at most until the deadline or the interruption. A look-up under way cannot be stopped: it then ends by
/// itself, on one of a few workers, while later ones wait for their turn. Any thread.
Result<Addresses> lookUpName(const QByteArray& name, const QByteArray& port, int family, int interruptEvent,
                             Deadline deadline);

} // namespace korvane
