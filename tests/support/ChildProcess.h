#pragma once

#include <QByteArray>
#include <QList>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <optional>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace korvane::test {

/// A program that runs beside the test, with all its descendants; killed with the object. Signals may be sent
/// from any thread. Not a QProcess: the way in which that starts programs hides the locks of this thread from
/// the thread sanitizer afterwards.
class ChildProcess {
public:
    ChildProcess() = default;
    ~ChildProcess() { stop(); }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// `environment` as NAME=value, added to the test's own. The program's output is discarded.
    bool start(const QList<QByteArray>& command, const QList<QByteArray>& environment = {}) {
        std::vector<char*> arguments = pointers(command);
        QList<QByteArray> all = environment;
        for (char** variable = environ; *variable; ++variable)
            all.append(*variable);
        std::vector<char*> variables = pointers(all);
        exitStatus_.reset();
        posix_spawn_file_actions_t files;
        ::posix_spawn_file_actions_init(&files);
        for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            ::posix_spawn_file_actions_addopen(&files, descriptor, "/dev/null", O_RDWR, 0);
        const int failed =
            ::posix_spawnp(&process_, arguments[0], &files, nullptr, arguments.data(), variables.data());
        ::posix_spawn_file_actions_destroy(&files);
        if (failed)
            process_ = -1;
        return process_ > 0;
    }

    bool isRunning() { return process_ > 0 && !exitStatus(); }
    /// Nullopt while it runs; -1 when a signal ended it.
    std::optional<int> exitStatus() {
        int status = 0;
        if (process_ > 0 && ::waitpid(process_, &status, WNOHANG) == process_) {
            process_ = -1;
            exitStatus_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        }
        return exitStatus_;
    }

    /// Waits at most a minute for the end.
    std::optional<int> wait() {
        const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
        while (isRunning() && std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        return exitStatus();
    }

    /// All descendants of the process, oldest first; without itself.
    std::vector<pid_t> descendants() const {
        std::vector<pid_t> found;
        if (process_ > 0)
            addChildren(process_, found);
        return found;
    }
    void signalDescendants(int signal) const {
        for (const pid_t process : descendants())
            ::kill(process, signal);
    }

    /// Kills it with all its descendants.
    void stop() {
        if (process_ <= 0)
            return;
        ::kill(process_, SIGSTOP); // so that it starts no more children
        const std::vector<pid_t> children = descendants();
        ::kill(process_, SIGKILL);
        for (const pid_t process : children)
            ::kill(process, SIGKILL);
        while (::waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
        }
        process_ = -1;
        exitStatus_ = -1;
    }

private:
    static std::vector<char*> pointers(const QList<QByteArray>& texts) {
        std::vector<char*> all;
        for (const QByteArray& text : texts)
            all.push_back(const_cast<char*>(text.constData()));
        all.push_back(nullptr);
        return all;
    }
    static void addChildren(pid_t parent, std::vector<pid_t>& found) {
        const std::string number = std::to_string(parent);
        std::ifstream children("/proc/" + number + "/task/" + number + "/children");
        for (pid_t child = 0; children >> child;) {
            found.push_back(child);
            addChildren(child, found);
        }
    }

    pid_t process_ = -1;
    std::optional<int> exitStatus_;
};

} // namespace korvane::test
