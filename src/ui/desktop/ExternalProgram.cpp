#include "ui/desktop/ExternalProgram.h"

#include "foundation/work/MainThread.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace korvane {
namespace {

std::vector<char*> argumentVector(ProgramCall& call) {
    std::vector<char*> arguments{call.program.data()};
    for (QByteArray& argument : call.arguments)
        arguments.push_back(argument.data());
    arguments.push_back(nullptr);
    return arguments;
}

/// Returns 0, or the errno. The new program has nothing of ours but the environment, standard output and
/// standard error.
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

ProgramEnd run(ProgramCall& call) {
    ProgramEnd end;
    pid_t pid = 0;
    end.startError = spawn(call, pid);
    if (end.startError != 0)
        return end;
    const auto start = std::chrono::steady_clock::now();
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR)
        continue;
    end.runTime =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
    end.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return end;
}

} // namespace

void startProgram(ProgramCall call, std::function<void(const ProgramEnd&)> done) {
    // No queue: a terminal stays open for hours, and the end of this program does not wait for it.
    std::thread([call = std::move(call), done = std::move(done)]() mutable {
        const ProgramEnd end = run(call);
        MainThread::shared().post([end, done = std::move(done)] { done(end); });
    }).detach();
}

} // namespace korvane
