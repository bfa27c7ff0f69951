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
/// Linked list, by `ai_next`.
using Addresses = std::unique_ptr<addrinfo, FreeAddresses>;

/// The addresses of a name, which may also be a numeric address; never empty. Blocks until the system has
/// answered, at most until the deadline or the interruption. A look-up cannot be stopped: it then continues
/// on one of a few workers, while later ones wait for a free worker. Any thread.
Result<Addresses> lookUpName(const QByteArray& name, const QByteArray& port, int family, int interruptEvent,
                             Deadline deadline);

} // namespace korvane
