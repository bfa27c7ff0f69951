#include "remote/ssh/Programs.h"

#include "remote/ssh/SshError.h"

#include <QRegularExpression>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace korvane {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// Maximum time for a program to end.
constexpr auto programEndingLimit = 500ms;
/// Maximum size of a program's output, in bytes.
constexpr qsizetype outputLimit = 1 << 20;

int pollLimit(Deadline deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    // Callers with a later deadline poll again.
    return static_cast<int>(std::clamp<std::chrono::milliseconds>(left, 0ms, 1h).count());
}

/// Closes the descriptor when destroyed.
class OwnDescriptor {
public:
    explicit OwnDescriptor(int descriptor = -1) : descriptor_(descriptor) {}
    ~OwnDescriptor() { reset(); }
    OwnDescriptor(const OwnDescriptor&) = delete;
    OwnDescriptor& operator=(const OwnDescriptor&) = delete;
    int get() const { return descriptor_; }
    void reset(int descriptor = -1) {
        if (descriptor_ >= 0)
            ::close(descriptor_);
        descriptor_ = descriptor;
    }

private:
    int descriptor_;
};

/// Both ends of a pipe; the reading end is non-blocking.
struct Pipe {
    OwnDescriptor reader;
    OwnDescriptor writer;

    int open() {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0)
            return errno;
        ::fcntl(ends[0], F_SETFL, O_NONBLOCK);
        reader.reset(ends[0]);
        writer.reset(ends[1]);
        return 0;
    }
    /// Reads what is available; false once there will be no more.
    bool drainInto(QByteArray& text) const {
        std::array<char, 4096> piece;
        for (;;) {
            const ssize_t size = ::read(reader.get(), piece.data(), piece.size());
            if (size <= 0)
                return size < 0 && errno == EAGAIN;
            text.append(piece.data(), size);
            if (text.size() > outputLimit)
                return false;
        }
    }
};

/// Followed by a null pointer.
std::vector<char*> pointersTo(const QList<QByteArray>& texts) {
    std::vector<char*> pointers;
    for (const QByteArray& text : texts)
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): posix_spawn only reads the texts.
        pointers.push_back(const_cast<char*>(text.constData()));
    pointers.push_back(nullptr);
    return pointers;
}

/// Whether one of the variables in `environment` has the same name; all as NAME=value.
bool setsVariable(const QList<QByteArray>& environment, const QByteArray& variable) {
    const QByteArray name = variable.left(variable.indexOf('=') + 1);
    return std::any_of(environment.begin(), environment.end(),
                       [&name](const QByteArray& other) { return other.startsWith(name); });
}

/// Reads both streams until the program itself has ended; its children may still run.
Status collect(pid_t program, const Pipe& output, const Pipe& errors, ProgramOutcome& outcome,
               int interruptEvent, Deadline deadline) {
    const OwnDescriptor ended(static_cast<int>(::syscall(SYS_pidfd_open, program, 0)));
    if (ended.get() < 0)
        return systemError(errno);
    pollfd watched[] = {{ended.get(), POLLIN, 0},
                        {interruptEvent, POLLIN, 0},
                        {output.reader.get(), POLLIN, 0},
                        {errors.reader.get(), POLLIN, 0}};
    for (;;) {
        const int ready = ::poll(watched, std::size(watched), pollLimit(deadline));
        if (ready < 0 && errno != EINTR)
            return systemError(errno);
        if (watched[1].revents)
            return interrupted();
        if (ready == 0 && Clock::now() >= deadline)
            return timedOut();
        if (!output.drainInto(outcome.output))
            watched[2].fd = -1;
        if (!errors.drainInto(outcome.errors))
            watched[3].fd = -1;
        if (outcome.output.size() > outputLimit || outcome.errors.size() > outputLimit)
            return systemError(EFBIG);
        if (watched[0].revents)
            return success();
    }
}

} // namespace

Error systemError(int code) {
    return sshError(SshErrorCode::Failed, QString::fromLocal8Bit(std::strerror(code)));
}

Status awaitDescriptor(int descriptor, short events, int interruptEvent, Deadline deadline) {
    pollfd watched{descriptor, events, 0};
    return awaitDescriptors({&watched, 1}, interruptEvent, deadline);
}

Status awaitDescriptors(std::span<pollfd> watched, int interruptEvent, Deadline deadline) {
    std::vector<pollfd> all(watched.begin(), watched.end());
    all.push_back({interruptEvent, POLLIN, 0});
    for (;;) {
        const int ready = ::poll(all.data(), all.size(), pollLimit(deadline));
        std::copy(all.begin(), all.end() - 1, watched.begin());
        if (ready > 0 && all.back().revents)
            return interrupted();
        if (ready > 0)
            return success();
        if (ready == 0 && Clock::now() >= deadline)
            return timedOut();
        if (ready < 0 && errno != EINTR)
            return systemError(errno);
    }
}

int startProgram(const QList<QByteArray>& command, const ProgramEnds& ends, pid_t& program,
                 const QList<QByteArray>& environment) {
    posix_spawn_file_actions_t files;
    ::posix_spawn_file_actions_init(&files);
    if (ends.input >= 0)
        ::posix_spawn_file_actions_adddup2(&files, ends.input, STDIN_FILENO);
    else
        ::posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_adddup2(&files, ends.output, STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&files, ends.errors, STDERR_FILENO);
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF);
    sigset_t brokenPipe;
    ::sigemptyset(&brokenPipe);
    ::sigaddset(&brokenPipe, SIGPIPE);
    ::posix_spawnattr_setsigdefault(&attributes, &brokenPipe);
    std::vector<char*> arguments = pointersTo(command);
    std::vector<char*> variables = pointersTo(environment);
    variables.pop_back();
    for (char** variable = environ; *variable; ++variable) {
        if (!setsVariable(environment, *variable))
            variables.push_back(*variable);
    }
    variables.push_back(nullptr);
    const int fault =
        ::posix_spawnp(&program, arguments.front(), &files, &attributes, arguments.data(), variables.data());
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&files);
    if (fault)
        program = -1;
    return fault;
}

void endProgram(pid_t program) {
    // The program leads its own session and process group.
    ::kill(-program, SIGTERM);
    const auto limit = Clock::now() + programEndingLimit;
    while (::waitpid(program, nullptr, WNOHANG) == 0) {
        if (Clock::now() >= limit) {
            ::kill(-program, SIGKILL);
            ::waitpid(program, nullptr, 0);
            return;
        }
        std::this_thread::sleep_for(10ms);
    }
}

QString readableText(const QByteArray& printed) {
    // Escape sequences of terminals, including their letters.
    static const QRegularExpression sequences(QStringLiteral("\x1b\\[[0-?]*[ -/]*[@-~]"));
    QString text = QString::fromLocal8Bit(printed).remove(sequences);
    text.removeIf([](QChar character) {
        return character != u'\n' &&
               (character.category() == QChar::Other_Control || character.category() == QChar::Other_Format);
    });
    return text.trimmed();
}

Result<ProgramOutcome> runProgram(const QList<QByteArray>& command, int interruptEvent, Deadline deadline) {
    Pipe output;
    Pipe errors;
    if (const int fault = output.open())
        return systemError(fault);
    if (const int fault = errors.open())
        return systemError(fault);
    ProgramOutcome outcome;
    pid_t program = -1;
    if (const int fault = startProgram(command, {-1, output.writer.get(), errors.writer.get()}, program)) {
        if (fault != ENOENT)
            return systemError(fault);
        outcome.isFound = false;
        return outcome;
    }
    output.writer.reset();
    errors.writer.reset();
    if (const Status collected = collect(program, output, errors, outcome, interruptEvent, deadline);
        !collected) {
        endProgram(program);
        return collected.error();
    }
    int status = 0;
    ::waitpid(program, &status, 0);
    outcome.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return outcome;
}

} // namespace korvane
