#pragma once

#include <QByteArray>
#include <QList>

#include <chrono>
#include <functional>

namespace korvane {

/// How a program is called: bytes, which are passed on unchanged.
struct ProgramCall {
    /// A path, or a name that is searched for on PATH.
    QByteArray program;
    QList<QByteArray> arguments;
    /// Ignored when empty, or when the directory cannot be entered.
    QByteArray workingDirectory = {};
};

/// How a program ended.
struct ProgramEnd {
    /// The errno of a failed start, or 0.
    int startError = 0;
    /// The exit status, or 128 plus the number of the signal that ended it.
    int status = 0;
    std::chrono::milliseconds runTime{0};

    bool isGood() const { return startError == 0 && status == 0; }
};

/// Starts another program without a shell, in a session of its own: it runs on when this program ends. Main
/// thread; never blocks, not even for a directory on a network drive. `done` is called later on the main
/// thread, once, when the start has failed or the program has ended; never after the end of this program's
/// event loop.
void startProgram(ProgramCall call, std::function<void(const ProgramEnd&)> done);

} // namespace korvane
