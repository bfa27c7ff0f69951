#pragma once

#include <QByteArray>
#include <QList>

#include <chrono>
#include <functional>

namespace korvane {

/// How a program is called. All of it is bytes, which arrive as they are.
struct ProgramCall {
    /// A path, or a name that is looked for on PATH.
    QByteArray program;
    QList<QByteArray> arguments;
    /// Where the program begins, if that can be entered; else, and when empty, where this one is.
    QByteArray workingDirectory = {};
};

/// What became of it.
struct ProgramEnd {
    /// The errno of a start that failed, else 0.
    int startError = 0;
    /// The exit status, or 128 and the number of the signal that ended it.
    int status = 0;
    std::chrono::milliseconds runTime{0};

    bool isGood() const { return startError == 0 && status == 0; }
};

/// Starts another program without a shell, in a session of its own: it runs on when this program ends. Main
/// thread; never waits, not even for a directory on a network drive. `done` is called later on the main
/// thread, once, when the start has failed or the program has ended.
void startProgram(ProgramCall call, std::function<void(const ProgramEnd&)> done);

} // namespace korvane
