#pragma once

#include "remote/Client.h"

#include <QByteArray>
#include <QStringList>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

namespace korvane::test {

/// A login whose server is the local shell. Records its commands, and fails on demand.
class ShellClient : public Client {
public:
    ShellClient(const std::shared_ptr<RemoteHost>& host, AlertPresenter& alerts) : Client(host, alerts) {}

    enum class Logins { Accepted, Unauthorised, Refused };

    Result<Connection> logIn(LoginAsked) override {
        if (onConnect)
            std::exchange(onConnect, nullptr)();
        const Logins answer = logins;
        ++connectCount;
        connection().setRefused(answer == Logins::Refused);
        if (!isConnected_.exchange(answer == Logins::Accepted) && answer == Logins::Accepted) {
            ++loginCount;
            connection().loginBegins();
        }
        if (onConnected)
            std::exchange(onConnected, nullptr)();
        if (answer == Logins::Refused)
            return Error{1, QStringLiteral("test"), QStringLiteral("wrong password")};
        return Connection{answer == Logins::Accepted, true};
    }
    void tryAgain() override { static_cast<void>(logIn(LoginAsked::ByProgram)); }
    bool isConnected() const override { return isConnected_; }
    bool read(const QString& command, CommandUse, const OutputSink& sink,
              const IsCancelled& isCancelled) override {
        const auto isCalledOff = [&isCancelled] { return isCancelled && isCancelled(); };
        {
            const std::lock_guard guard(mutex_);
            commands_.append(command);
        }
        while (isHeld && isConnected_ && !isCalledOff())
            pause();
        if (fails)
            isConnected_ = false;
        if (!isConnected_ || isCalledOff() || begins(command, unanswered))
            return false;
        const QByteArray output = run(command);
        while (begins(command, heldOutput) && isConnected_) {
            isHolding = true;
            pause();
        }
        const QByteArray all = printsText ? "Welcome\n" + output : output;
        constexpr qsizetype trickle = 256;
        qsizetype at = 0;
        while (isSlow && all.size() > 4096 && !isCalledOff()) {
            // The second half is withheld.
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

    /// The commands so far that have this prefix.
    QStringList commands(const QString& start = {}) const {
        const std::lock_guard guard(mutex_);
        QStringList found;
        std::copy_if(commands_.begin(), commands_.end(), std::back_inserter(found),
                     [&](const QString& command) { return command.startsWith(start); });
        return found;
    }

    // Set by the test.
    std::function<void()>
        onConnect; ///< Called once, when the next login begins; set while none is under way.
    std::function<void()> onConnected; ///< As above, before the login returns.
    std::atomic<Logins> logins{Logins::Accepted};
    std::atomic<bool> fails{false}; ///< Whether commands end the connection.
    std::atomic<bool> printsText{false};
    /// Delivers half of a large output at 12 KB/s and withholds the rest.
    std::atomic<bool> isSlow{false};
    std::atomic<bool> isHeld{false}; ///< Holds all commands.
    /// Commands with this prefix get no answer.
    std::atomic<const char*> unanswered{nullptr};
    /// Holds the output of commands with this prefix.
    std::atomic<const char*> heldOutput{nullptr};

    std::atomic<bool> isHolding{false}; ///< Whether such a command has been held.
    std::atomic<int> loginCount{0};
    std::atomic<int> connectCount{0};

private:
    static bool begins(const QString& command, const char* start) {
        return start && command.startsWith(QLatin1StringView(start));
    }
    static void pause() { std::this_thread::sleep_for(std::chrono::milliseconds(5)); }
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

    std::atomic<bool> isConnected_{false};
    mutable std::mutex mutex_;
    QStringList commands_; // guarded by mutex_
};

} // namespace korvane::test
