#pragma once

#include <QProcess>

#include <csignal>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

namespace korvane::test {

/// A program that runs beside the test, with all its descendants; killed with the object. Signals may be sent
/// from any thread.
class ChildProcess {
public:
    ~ChildProcess() { stop(); }

    /// `environment` as NAME=value, added to the test's own. The program's output is discarded.
    bool start(const QList<QByteArray>& command, const QList<QByteArray>& environment = {}) {
        QStringList all = QProcess::systemEnvironment();
        for (const QByteArray& variable : environment)
            all.append(QString::fromLocal8Bit(variable));
        process_.setEnvironment(all);
        process_.setStandardInputFile(QProcess::nullDevice());
        process_.setStandardOutputFile(QProcess::nullDevice());
        process_.setStandardErrorFile(QProcess::nullDevice());
        QStringList arguments;
        for (const QByteArray& argument : command)
            arguments.append(QString::fromLocal8Bit(argument));
        process_.start(arguments.takeFirst(), arguments);
        return process_.waitForStarted();
    }

    bool isRunning() { return process_.state() != QProcess::NotRunning && !process_.waitForFinished(0); }
    /// Nullopt while it runs; -1 when a signal ended it.
    std::optional<int> exitStatus() {
        if (isRunning())
            return std::nullopt;
        return process_.exitStatus() == QProcess::NormalExit ? process_.exitCode() : -1;
    }
    /// Waits at most a minute for the end.
    std::optional<int> wait() {
        process_.waitForFinished(60'000);
        return exitStatus();
    }

    /// All descendants of the process, oldest first; without itself.
    std::vector<pid_t> descendants() const {
        std::vector<pid_t> found;
        if (process_.processId() > 0)
            addChildren(static_cast<pid_t>(process_.processId()), found);
        return found;
    }
    void signalDescendants(int signal) const {
        for (const pid_t process : descendants())
            ::kill(process, signal);
    }

    /// Kills it with all its descendants.
    void stop() {
        if (!isRunning())
            return;
        ::kill(static_cast<pid_t>(process_.processId()), SIGSTOP); // so that it starts no more children
        signalDescendants(SIGKILL);
        process_.kill();
        process_.waitForFinished();
    }

private:
    static void addChildren(pid_t parent, std::vector<pid_t>& found) {
        const std::string number = std::to_string(parent);
        std::ifstream children("/proc/" + number + "/task/" + number + "/children");
        for (pid_t child = 0; children >> child;) {
            found.push_back(child);
            addChildren(child, found);
        }
    }

    QProcess process_;
};

} // namespace korvane::test
