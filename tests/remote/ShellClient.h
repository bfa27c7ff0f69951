#pragma once

#include "remote/Client.h"

#include <QByteArray>
#include <QStringList>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

namespace korvane::test {

/// A login whose server is the shell of this computer. Writes down what is asked of it, and fails when told
/// to.
class ShellClient : public Client {
public:
    ShellClient(const std::shared_ptr<RemoteHost>& host, AlertPresenter& alerts) : Client(host, alerts) {}

    enum class Logins { Accepted, Unauthorised, Refused };

    Result<Connection> logIn(LoginAsked) override {
        if (onConnect_)
            std::exchange(onConnect_, nullptr)();
        const Logins logins = logins_.load();
        ++connectCount;
        connection().setRefused(logins == Logins::Refused);
        if (!isConnected_.exchange(logins == Logins::Accepted) && logins == Logins::Accepted) {
            ++loginCount;
            connection().loginBegins();
        }
        if (onConnected_)
            std::exchange(onConnected_, nullptr)();
        if (logins == Logins::Refused)
            return Error{1, QStringLiteral("test"), QStringLiteral("wrong password")};
        return Connection{logins == Logins::Accepted, true};
    }
    void tryAgain() override {
        ++triesOfProgram;
        static_cast<void>(logIn(LoginAsked::ByProgram));
    }
    bool isConnected() const override { return isConnected_.load(); }
    bool read(const QString& command, CommandUse, const OutputSink& sink,
              const IsCancelled& isCancelled) override {
        {
            std::unique_lock guard(mutex_);
            commands_.append(command);
            while (isHeld_ && isConnected() && !(isCancelled && isCancelled()))
                changed_.wait_for(guard, std::chrono::milliseconds(5));
        }
        if (fails_.load())
            isConnected_ = false;
        if (!isConnected() || isUnanswered(command) || (isCancelled && isCancelled()))
            return false;
        const QByteArray output = run(command);
        {
            std::unique_lock guard(mutex_);
            const auto isOnItsWay = [&] {
                return !heldOutput_.isEmpty() && command.startsWith(heldOutput_) && isConnected();
            };
            const bool isHeld = isOnItsWay();
            heldOutputs_ += isHeld ? 1 : 0;
            while (isOnItsWay())
                changed_.wait_for(guard, std::chrono::milliseconds(5));
            heldOutputs_ -= isHeld ? 1 : 0;
        }
        const QByteArray all = printedFirst_.load() ? "Welcome\n" + output : output;
        constexpr qsizetype trickle = 256;
        qsizetype at = 0;
        while (isSlow_.load() && all.size() > 4096 && !(isCancelled && isCancelled())) {
            // The second half does not come at all.
            if (at < all.size() / 2 && !sink(QByteArrayView(all).sliced(at, trickle)))
                return true;
            at += at < all.size() / 2 ? trickle : 0;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        sink(QByteArrayView(all).sliced(at));
        return true;
    }
    void disconnect() override { isConnected_ = false; }
    void endLogin(std::uint64_t login) override {
        if (login == loginNumber())
            disconnect();
    }

    void loseConnection() {
        disconnect();
        connection().ended(Error{1, QStringLiteral("test"), QStringLiteral("gone")});
    }

    /// Called once, by the next connecting. While nothing connects.
    void setOnConnect(std::function<void()> action) { onConnect_ = std::move(action); }
    /// As above, before it returns.
    void setOnConnected(std::function<void()> action) { onConnected_ = std::move(action); }
    void setLogins(Logins logins) { logins_ = logins; }
    /// The next command ends the connection.
    void setFails(bool fails) { fails_ = fails; }
    /// Commands that begin with the text end the connection, which is made anew at once by somebody else.
    void setUnanswered(const QString& start) {
        const std::lock_guard guard(mutex_);
        unanswered_ = start;
    }
    void setPrintsText(bool prints) { printedFirst_ = prints; }
    /// Of what commands write, where it is much, half comes at 12 KB/s from now on, or all as fast as it can.
    void setSlow(bool isSlow) { isSlow_ = isSlow; }
    /// Commands wait from now on, or go on.
    void hold(bool holds) {
        const std::lock_guard guard(mutex_);
        isHeld_ = holds;
        changed_.notify_all();
    }
    /// What commands that begin with the text have found is on its way from now on, until none is named.
    void holdOutput(const QString& start) {
        const std::lock_guard guard(mutex_);
        heldOutput_ = start;
        changed_.notify_all();
    }
    int heldOutputs() const {
        const std::lock_guard guard(mutex_);
        return heldOutputs_;
    }
    /// Those asked for so far that begin with the text.
    QStringList commands(const QString& start = {}) const {
        const std::lock_guard guard(mutex_);
        QStringList found;
        std::copy_if(commands_.begin(), commands_.end(), std::back_inserter(found),
                     [&](const QString& command) { return command.startsWith(start); });
        return found;
    }

    std::atomic<int> loginCount{0};
    std::atomic<int> connectCount{0};
    std::atomic<int> triesOfProgram{0};

private:
    bool isUnanswered(const QString& command) const {
        const std::lock_guard guard(mutex_);
        return !unanswered_.isEmpty() && command.startsWith(unanswered_);
    }
    static QByteArray run(const QString& command) {
        QByteArray output;
        std::FILE* pipe = ::popen(
            (QStringLiteral("{ ") + command + QStringLiteral("\n} 2>/dev/null")).toUtf8().constData(), "r");
        char block[4096];
        while (const std::size_t count = std::fread(block, 1, sizeof block, pipe))
            output.append(block, static_cast<qsizetype>(count));
        ::pclose(pipe);
        return output;
    }

    std::function<void()> onConnect_;
    std::function<void()> onConnected_;
    std::atomic<Logins> logins_{Logins::Accepted};
    std::atomic<bool> isConnected_{false};
    std::atomic<bool> fails_{false};
    std::atomic<bool> printedFirst_{false};
    std::atomic<bool> isSlow_{false};

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    // Guarded by mutex_.
    QStringList commands_;
    QString unanswered_;
    QString heldOutput_;
    int heldOutputs_ = 0;
    bool isHeld_ = false;
};

} // namespace korvane::test
