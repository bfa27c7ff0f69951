#include "ui/desktop/ExternalProgram.h"

#include "foundation/Descriptor.h"
#include "foundation/work/OperationQueue.h"
#include "ui/desktop/UiLog.h"

#include <QCoreApplication>
#include <QPointer>
#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <memory>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace korvane {
namespace {

/// Maximum number of programs that are being started at once; those beyond wait.
constexpr int mostStarts = 16;

std::vector<char*> argumentVector(ProgramCall& call) {
    std::vector<char*> arguments{call.program.data()};
    for (QByteArray& argument : call.arguments)
        arguments.push_back(argument.data());
    arguments.push_back(nullptr);
    return arguments;
}

/// Returns 0, or the errno. The new program inherits only the environment, standard output and standard
/// error.
int spawn(ProgramCall& call, pid_t& pid) {
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    if (!call.workingDirectory.isEmpty() && ::access(call.workingDirectory.constData(), X_OK) == 0)
        ::posix_spawn_file_actions_addchdir_np(&actions, call.workingDirectory.constData());

    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    ::posix_spawnattr_setflags(&attributes,
                               POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    sigset_t signals;
    ::sigemptyset(&signals);
    ::posix_spawnattr_setsigmask(&attributes, &signals);
    ::sigaddset(&signals, SIGPIPE);
    ::posix_spawnattr_setsigdefault(&attributes, &signals);

    const std::vector<char*> arguments = argumentVector(call);
    const int error =
        ::posix_spawnp(&pid, call.program.constData(), &actions, &attributes, arguments.data(), environ);
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&actions);
    return error;
}

struct StartedProgram {
    int error = 0;
    /// Of the process; becomes readable when that has ended. Not open when the start failed, or when the
    /// system cannot give one.
    Descriptor process = Descriptor();
    std::chrono::steady_clock::time_point start = {};
};

StartedProgram start(ProgramCall& call) {
    StartedProgram program;
    pid_t pid = 0;
    program.error = spawn(call, pid);
    program.start = std::chrono::steady_clock::now();
    if (program.error == 0)
        program.process = Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
    return program;
}

/// Reaps the process, which has ended.
ProgramEnd endOf(const StartedProgram& program) {
    ProgramEnd end;
    // What stays when the system has reaped it already, because the signal of ended children was ignored.
    siginfo_t info{};
    info.si_code = CLD_EXITED;
    while (::waitid(P_PIDFD, static_cast<id_t>(program.process.number()), &info, WEXITED) < 0 &&
           errno == EINTR)
        continue;
    end.status = info.si_code == CLD_EXITED ? info.si_status : 128 + info.si_status;
    end.runTime = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                        program.start);
    return end;
}

using Done = std::function<void(const ProgramEnd&)>;

/// Calls `done` when the process ends, unless this program ends before.
void watch(StartedProgram&& program, Done done) {
    auto* notifier = new QSocketNotifier(program.process.number(), QSocketNotifier::Read, qApp);
    auto watched = std::make_shared<StartedProgram>(std::move(program));
    QObject::connect(notifier, &QSocketNotifier::activated, notifier,
                     [notifier, watched, done = std::move(done)] {
                         notifier->setEnabled(false);
                         notifier->deleteLater();
                         done(endOf(*watched));
                     });
}

/// Looking for a program and entering its directory may block, one on a dead network drive for ever: each
/// start has a thread of its own until the program runs.
OperationQueue& starts() {
    static OperationQueue queue("External programs", mostStarts);
    return queue;
}

} // namespace

void startProgram(ProgramCall call, std::function<void(const ProgramEnd&)> done) {
    starts()
        .run([call = std::move(call)]() mutable { return std::make_shared<StartedProgram>(start(call)); })
        .then(QPointer(qApp),
              [done = std::move(done)](const std::shared_ptr<StartedProgram>& program) mutable {
                  if (program->process.isOpen()) {
                      watch(std::move(*program), std::move(done));
                      return;
                  }
                  if (program->error == 0)
                      qCWarning(logUi, "the end of an external program cannot be observed");
                  done({program->error});
              });
}

} // namespace korvane
