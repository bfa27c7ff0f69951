#pragma once

#include "foundation/Result.h"
#include "remote/ssh/Programs.h"

#include <QString>

#include <libssh/libssh.h>

namespace korvane {

/// Whether a server's key may still be used: the error says that the file revokes it, or why that cannot be
/// told. The file lists public keys, one to a line, or is a list of ssh-keygen's own form, which that program
/// then reads. Blocks, at most until the deadline or the interruption.
Status checkRevocation(ssh_key shown, const QString& path, int interruptEvent, Deadline deadline);

} // namespace korvane
