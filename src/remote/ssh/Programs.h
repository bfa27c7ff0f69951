#pragma once

#include "foundation/Result.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <chrono>
#include <poll.h>
#include <span>
#include <sys/types.h>

namespace korvane {

using Deadline = std::chrono::steady_clock::time_point;

Error systemError(int code);

/// Waits until the descriptor is ready, at most until the deadline. Fails if `interruptEvent` becomes
/// readable first.
Status awaitDescriptor(int descriptor, short events, int interruptEvent, Deadline deadline);
/// As above until at least one of them is ready, as their `revents` tell.
Status awaitDescriptors(std::span<pollfd> watched, int interruptEvent, Deadline deadline);

/// The standard streams of a program to be started.
struct ProgramEnds {
    int input = -1;
    int output = -1;
    int errors = -1;
};

/// Starts a program, found by PATH, in a session of its own, so that it does not ask for passwords on our
/// terminal. `environment`, as NAME=value, overrides our own. The caller keeps the descriptors. Returns 0 or
/// an errno value.
int startProgram(const QList<QByteArray>& command, const ProgramEnds& ends, pid_t& program,
                 const QList<QByteArray>& environment = {});
/// Ends the program and all its children; waits half a second at most. Must be called only once per program.
void endProgram(pid_t program);

/// A program's output without colours, control characters and marks of text direction; line breaks stay.
QString readableText(const QByteArray& printed);

/// The result of a program.
struct ProgramOutcome {
    /// False if there is no such program; the rest is empty then.
    bool isFound = true;
    /// -1 if it was ended by a signal.
    int exitStatus = 0;
    QByteArray output;
    QByteArray errors;
};

/// Runs a program to its end. Blocks. If interrupted, late, or printing more than 1 MiB, the program is
/// ended.
Result<ProgramOutcome> runProgram(const QList<QByteArray>& command, int interruptEvent, Deadline deadline);

} // namespace korvane
