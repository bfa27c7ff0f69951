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
    void tryAgain() override { static_cast<void>(logIn(LoginAsked::ByProgram)); }
    bool isConnected() const override { return isConnected_; }
    bool read(const QString& command, CommandUse, const OutputSink& sink,
              const IsCancelled& isCancelled) override {
        const auto isCalledOff = [&isCancelled] { return isCancelled && isCancelled(); };
        {
            const std::lock_guard guard(mutex_);
            commands_.append(command);
        }
        while (isHeld_ && isConnected_ && !isCalledOff())
            pause();
        if (fails_)
            isConnected_ = false;
        if (!isConnected_ || isCalledOff() || begins(command, unanswered_))
            return false;
        const QByteArray output = run(command);
        while (begins(command, heldOutput_) && isConnected_) {
            isHolding_ = true;
            pause();
        }
        const QByteArray all = printsText_ ? "Welcome\n" + output : output;
        constexpr qsizetype trickle = 256;
        qsizetype at = 0;
        while (isSlow_ && all.size() > 4096 && !isCalledOff()) {
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

    /// Called once, when the next login begins. Set it only while no login is under way.
    void setOnConnect(std::function<void()> action) { onConnect_ = std::move(action); }
    /// As above, before the login returns.
    void setOnConnected(std::function<void()> action) { onConnected_ = std::move(action); }
    void setLogins(Logins logins) { logins_ = logins; }
    /// Whether commands end the connection.
    void setFails(bool fails) { fails_ = fails; }
    /// Commands with this prefix get no answer; null: all are answered.
    void setUnanswered(const char* start) { unanswered_ = start; }
    void setPrintsText(bool prints) { printsText_ = prints; }
    /// Delivers half of a large output at 12 KB/s and withholds the rest; false: delivers all at full speed.
    void setSlow(bool isSlow) { isSlow_ = isSlow; }
    /// Holds all commands, or releases them.
    void hold(bool holds) { isHeld_ = holds; }
    /// Holds the output of commands with this prefix; null: releases it.
    void holdOutput(const char* start) { heldOutput_ = start; }
    /// Whether such a command has been held.
    bool isHoldingOutput() const { return isHolding_; }
    /// The commands so far that have this prefix.
    QStringList commands(const QString& start = {}) const {
        const std::lock_guard guard(mutex_);
        QStringList found;
        std::copy_if(commands_.begin(), commands_.end(), std::back_inserter(found),
                     [&](const QString& command) { return command.startsWith(start); });
        return found;
    }

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

    std::function<void()> onConnect_;
    std::function<void()> onConnected_;
    std::atomic<Logins> logins_{Logins::Accepted};
    std::atomic<bool> isConnected_{false};
    std::atomic<bool> fails_{false};
    std::atomic<bool> printsText_{false};
    std::atomic<bool> isSlow_{false};
    std::atomic<bool> isHeld_{false};
    std::atomic<bool> isHolding_{false};
    std::atomic<const char*> unanswered_{nullptr};
    std::atomic<const char*> heldOutput_{nullptr};

    mutable std::mutex mutex_;
    QStringList commands_; // guarded by mutex_
};

} // namespace korvane::test
