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

/// Waits until the descriptor is ready, at most until the deadline. Readiness of `interruptEvent` ends the
/// wait with an error.
Status awaitDescriptor(int descriptor, short events, int interruptEvent, Deadline deadline);
/// As above until one of them is ready, or several, as their `revents` say.
Status awaitDescriptors(std::span<pollfd> watched, int interruptEvent, Deadline deadline);

/// The descriptors of a program that is started.
struct ProgramEnds {
    int input = -1;
    int output = -1;
    int errors = -1;
};

/// Starts a program, which is looked for in PATH, in a session of its own: away from our terminal, where it
/// would ask for passwords. `environment`, as NAME=value, goes before our own. The descriptors stay the
/// caller's. Returns 0, or what errno says.
int startProgram(const QList<QByteArray>& command, const ProgramEnds& ends, pid_t& program,
                 const QList<QByteArray>& environment = {});
/// Ends the program and all that it has started; waits half a second at most. Not called twice for one.
void endProgram(pid_t program);

/// What a program has printed, without colours and control characters, and without what may turn the
/// direction of the text; lines stay lines.
QString readableText(const QByteArray& printed);

/// What a program has left behind.
struct ProgramOutcome {
    /// False when there is no such program; all else is empty then.
    bool isFound = true;
    /// -1 when a signal has ended it.
    int exitStatus = 0;
    QByteArray output;
    QByteArray errors;
};

/// Runs a program to its end. Blocks; when it is interrupted, late, or prints more than 1 MiB, the program is
/// ended, too.
Result<ProgramOutcome> runProgram(const QList<QByteArray>& command, int interruptEvent, Deadline deadline);

} // namespace korvane
