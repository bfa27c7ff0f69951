#pragma once

#include "support/Listener.h"

#include <QList>
#include <QString>

#include <atomic>
#include <cstdio>
#include <fcntl.h>
#include <libssh/libssh.h>
#include <libssh/server.h>
#include <mutex>
#include <thread>
#include <vector>

namespace korvane::test {

/// An SSH server inside the test that asks questions at the login, and runs commands.
class KeyboardServer {
public:
    struct Prompt {
        QByteArray text;
        bool isEchoed = false;
        /// The right answer.
        QByteArray answer;
    };
    struct Round {
        QByteArray instruction;
        QList<Prompt> prompts;
    };

    /// Whether the password alone is enough.
    enum class Password { Enough, First };

    /// Also accepts a password without questions, if one is given.
    explicit KeyboardServer(QList<Round> rounds, QByteArray password = {}, Password kind = Password::Enough)
        : rounds_(std::move(rounds)), password_(std::move(password)), passwordKind_(kind),
          bind_(ssh_bind_new()) {
        ssh_key key = nullptr;
        EXPECT_EQ(ssh_pki_generate(SSH_KEYTYPE_ED25519, 0, &key), SSH_OK);
        EXPECT_EQ(ssh_bind_options_set(bind_, SSH_BIND_OPTIONS_IMPORT_KEY, key), SSH_OK);
        const bool off = false;
        ssh_bind_options_set(bind_, SSH_BIND_OPTIONS_PROCESS_CONFIG, &off);
        acceptor_ = std::jthread([this] { accept(); });
    }

    ~KeyboardServer() {
        ::shutdown(listener_.socket(), SHUT_RDWR);
        acceptor_.join();
        cutConnections();
        connections_.clear(); // joins
        for (const int socket : sockets_)
            ::close(socket);
        ssh_bind_free(bind_);
    }

    KeyboardServer(const KeyboardServer&) = delete;
    KeyboardServer& operator=(const KeyboardServer&) = delete;

    std::uint16_t port() const { return listener_.port(); }
    /// Number of successful logins.
    int logins() const { return logins_; }
    /// Number of wrong proofs.
    int refusals() const { return refusals_; }
    /// Closes all connections.
    void cutConnections() {
        const std::lock_guard guard(mutex_);
        for (const int socket : sockets_)
            ::shutdown(socket, SHUT_RDWR);
    }

private:
    struct Login {
        qsizetype round = 0;
        bool isDone = false;
    };
    /// Deprecated in favour of callbacks, but libssh passes questions and answers only through messages.
    static QByteArray passwordIn(ssh_message message) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
        return ssh_message_auth_password(message);
#pragma GCC diagnostic pop
    }

    void accept() {
        for (;;) {
            const int socket = ::accept4(listener_.socket(), nullptr, nullptr, SOCK_CLOEXEC);
            if (socket < 0)
                return;
            const std::lock_guard guard(mutex_);
            sockets_.push_back(::fcntl(socket, F_DUPFD_CLOEXEC, 0)); // libssh closes the original
            connections_.emplace_back([this, socket] { serve(socket); });
        }
    }

    void serve(int socket) {
        const ssh_session session = ssh_new();
        ssh_set_auth_methods(session, password_.isEmpty()
                                          ? SSH_AUTH_METHOD_INTERACTIVE
                                          : SSH_AUTH_METHOD_INTERACTIVE | SSH_AUTH_METHOD_PASSWORD);
        const bool isAccepted = [&] {
            const std::lock_guard guard(mutex_);
            return ssh_bind_accept_fd(bind_, session, socket) == SSH_OK;
        }();
        Login login;
        if (isAccepted && ssh_handle_key_exchange(session) == SSH_OK) {
            while (const ssh_message message = ssh_message_get(session)) {
                answer(session, message, login);
                ssh_message_free(message);
            }
        }
        ssh_disconnect(session);
        ssh_free(session);
    }

    void answer(ssh_session session, ssh_message message, Login& login) {
        const int type = ssh_message_type(message);
        const int subtype = ssh_message_subtype(message);
        if (type == SSH_REQUEST_AUTH && subtype == SSH_AUTH_METHOD_INTERACTIVE) {
            if (!ssh_message_auth_kbdint_is_response(message)) {
                login.round = 0;
                ask(message, rounds_[0]);
            } else if (!areRight(session, rounds_[login.round])) {
                ++refusals_;
                ssh_message_reply_default(message);
            } else if (++login.round < rounds_.size()) {
                ask(message, rounds_[login.round]);
            } else {
                login.isDone = true;
                ++logins_;
                ssh_message_auth_reply_success(message, 0);
            }
        } else if (type == SSH_REQUEST_AUTH && subtype == SSH_AUTH_METHOD_PASSWORD && !password_.isEmpty()) {
            if (passwordIn(message) != password_) {
                ++refusals_;
                ssh_message_reply_default(message);
                return;
            }
            login.isDone = passwordKind_ == Password::Enough;
            logins_ += login.isDone ? 1 : 0;
            if (!login.isDone)
                ssh_set_auth_methods(session, SSH_AUTH_METHOD_INTERACTIVE);
            ssh_message_auth_reply_success(message, login.isDone ? 0 : 1);
        } else if (type == SSH_REQUEST_CHANNEL_OPEN && login.isDone) {
            ssh_message_channel_request_open_reply_accept(message);
        } else if (type == SSH_REQUEST_CHANNEL && subtype == SSH_CHANNEL_REQUEST_EXEC) {
            run(message);
        } else {
            ssh_message_reply_default(message);
        }
    }

    void ask(ssh_message message, const Round& round) {
        std::vector<const char*> texts;
        std::vector<char> echoes;
        for (const Prompt& prompt : round.prompts) {
            texts.push_back(prompt.text.constData());
            echoes.push_back(prompt.isEchoed ? 1 : 0);
        }
        ssh_message_auth_interactive_request(message, "", round.instruction.constData(),
                                             static_cast<unsigned int>(texts.size()), texts.data(),
                                             echoes.data());
    }

    bool areRight(ssh_session session, const Round& round) {
        bool areRight = ssh_userauth_kbdint_getnanswers(session) == round.prompts.size();
        for (unsigned int index = 0; areRight && index < round.prompts.size(); ++index)
            areRight = ssh_userauth_kbdint_getanswer(session, index) == round.prompts[index].answer;
        return areRight;
    }

    void run(ssh_message message) {
        const ssh_channel channel = ssh_message_channel_request_channel(message);
        std::FILE* output = ::popen(ssh_message_channel_request_command(message), "re");
        ssh_message_channel_request_reply_success(message);
        std::array<char, 4096> buffer;
        while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), output))
            ssh_channel_write(channel, buffer.data(), static_cast<std::uint32_t>(count));
        const int status = ::pclose(output);
        ssh_channel_request_send_exit_status(channel, WEXITSTATUS(status));
        ssh_channel_send_eof(channel);
        ssh_channel_close(channel);
    }

    const QList<Round> rounds_;
    const QByteArray password_;
    const Password passwordKind_;
    const Listener listener_;
    const ssh_bind bind_;
    std::atomic<int> logins_{0};
    std::atomic<int> refusals_{0};
    std::jthread acceptor_;

    std::mutex mutex_;
    // Guarded by mutex_.
    std::vector<int> sockets_;
    std::vector<std::jthread> connections_;
};

} // namespace korvane::test
