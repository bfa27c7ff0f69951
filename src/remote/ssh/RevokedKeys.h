#pragma once

#include "foundation/Result.h"
#include "remote/ssh/Programs.h"

#include <QString>

#include <libssh/libssh.h>

namespace korvane {

/// Fails if the file revokes the server's key, or if it cannot be checked. The file lists public keys, one
/// per line, or is a list in ssh-keygen's binary format, which that program then reads. Blocks, at most until
/// the deadline or the interruption.
Status checkRevocation(ssh_key shown, const QString& path, int interruptEvent, Deadline deadline);

} // namespace korvane
