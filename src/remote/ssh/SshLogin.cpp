#include "remote/ssh/SshLogin.h"

#include "remote/ssh/HostKeys.h"
#include "remote/ssh/NMSSHSessionDelegate.h"
#include "remote/ssh/SshError.h"

#include <QFile>
#include <QFileInfo>

#include <libssh/callbacks.h>
#include <memory>
#include <unistd.h>
#include <utility>

namespace korvane {
namespace {

constexpr unsigned int standardPort = 22;

QString textOption(ssh_session session, ssh_options_e option) {
    char* value = nullptr;
    if (ssh_options_get(session, option, &value) != SSH_OK)
        return {};
    QString text = QString::fromLocal8Bit(value);
    ssh_string_free_char(value);
    return text;
}

/// The command with what its place-holders stand for.
QString expanded(const QString& command, const QString& host, unsigned int port, const QString& username) {
    QString text;
    for (qsizetype index = 0; index < command.size(); ++index) {
        if (command[index] != u'%' || index + 1 == command.size()) {
            text += command[index];
            continue;
        }
        switch (command[++index].unicode()) {
        case 'h':
            text += host;
            break;
        case 'p':
            text += QString::number(port);
            break;
        case 'r':
            text += username;
            break;
        default:
            text += command[index];
        }
    }
    return text;
}

/// Nothing when there is no such file, or it holds no such key.
Key publicKeyIn(const QString& path) {
    ssh_key key = nullptr;
    ssh_pki_import_pubkey_file(QFile::encodeName(path).constData(), &key);
    return Key(key);
}

bool namesAgent(const QString& configPath) {
    QFile file(configPath);
    return file.open(QIODevice::ReadOnly) && file.readAll().toLower().contains("identityagent");
}

Result<Key> privateKeyIn(const QString& path, const std::optional<QString>& passPhrase) {
    // Without a pass phrase the library would ask for it on the terminal.
    const auto noAnswer = [](const char*, char*, std::size_t, int, int, void*) { return -1; };
    const QByteArray phrase = passPhrase.value_or(QString()).toUtf8();
    ssh_key key = nullptr;
    const int result =
        ssh_pki_import_privkey_file(QFile::encodeName(path).constData(),
                                    phrase.isEmpty() ? nullptr : phrase.constData(), noAnswer, nullptr, &key);
    if (result == SSH_OK)
        return Key(key);
    if (result == SSH_EOF)
        return sshError(SshErrorCode::Denied,
                        QStringLiteral("The private key \"%1\" cannot be read.").arg(path));
    return sshError(SshErrorCode::Denied,
                    QStringLiteral("\"%1\" is no private key, or the pass phrase is wrong.").arg(path));
}

} // namespace

template <typename Question>
auto SshLogin::withoutTimeLimit(const Question& question) {
    const auto asked = std::chrono::steady_clock::now();
    auto answer = question();
    deadline_ += std::chrono::steady_clock::now() - asked;
    return answer;
}

template <typename Call>
Result<int> SshLogin::untilDone(int again, const Call& call) {
    for (;;) {
        const int result = call();
        if (result != again)
            return result;
        if (Status ready = await_(deadline_); !ready)
            return ready.error();
    }
}

template <typename Call>
Status SshLogin::authenticate(const Call& call) {
    const Result<int> result = untilDone(SSH_AUTH_AGAIN, [&]() -> int {
        // The library does not notice itself that the server has ended the connection.
        return ssh_is_connected(session_) ? call() : static_cast<int>(SSH_AUTH_ERROR);
    });
    return result ? outcome(result.value()) : Status(result.error());
}

SshLogin::SshLogin(ssh_session session, ServerSocket& socket, const SessionSettings& settings, Await await)
    : session_(session), socket_(socket), settings_(settings), await_(std::move(await)),
      deadline_(std::chrono::steady_clock::now() + settings.connectingLimit) {}

Status SshLogin::connect(const LoginTarget& target, NMSSHSessionDelegate* delegate) {
    if (Status prepared = prepare(target); !prepared)
        return prepared;
    if (Status opened = openSocket(); !opened)
        return opened;
    const Result<int> connected = untilDone(SSH_AGAIN, [this] { return ssh_connect(session_); });
    if (!connected)
        return connected.error();
    if (connected.value() != SSH_OK)
        return connectionLost(session_);
    return verifyHostKey(delegate);
}

Status SshLogin::prepare(const LoginTarget& target) {
    const bool off = false;
    const int on = 1;
    const unsigned int port = target.port;
    Status prepared = success();
    const auto set = [&](ssh_options_e option, const void* value, const QString& what) {
        if (prepared && ssh_options_set(session_, option, value) != SSH_OK)
            prepared =
                lastSshError(session_, SshErrorCode::Failed, QStringLiteral("%1 cannot be used.").arg(what));
    };
    set(SSH_OPTIONS_PROCESS_CONFIG, &off, QStringLiteral("No configuration"));
    set(SSH_OPTIONS_NODELAY, &on, QStringLiteral("The connection"));
    // Known keys decide which kind of key the library asks the server for.
    const QByteArray known =
        settings_.checksHostKeys ? QFile::encodeName(settings_.knownHostsPath) : QByteArray("/dev/null");
    set(SSH_OPTIONS_KNOWNHOSTS, known.constData(), settings_.knownHostsPath);
    if (!settings_.checksHostKeys)
        set(SSH_OPTIONS_GLOBAL_KNOWNHOSTS, known.constData(), settings_.knownHostsPath);
    // The library takes few names, and needs none: the way to the server is made here.
    hostName_ = target.host;
    const bool takesName =
        ssh_options_set(session_, SSH_OPTIONS_HOST, target.host.toUtf8().constData()) == SSH_OK;
    if (settings_.usesSshConfig) {
        // Keys that nobody has named are looked for beside the configuration.
        set(SSH_OPTIONS_SSH_DIR, QFile::encodeName(QFileInfo(settings_.configPath).path()).constData(),
            settings_.configPath);
        if (prepared && takesName && QFile::exists(settings_.configPath) &&
            ssh_options_parse_config(session_, QFile::encodeName(settings_.configPath).constData()) != SSH_OK)
            return lastSshError(session_, SshErrorCode::Failed,
                                QStringLiteral("\"%1\" cannot be read.").arg(settings_.configPath));
        if (const QString name = textOption(session_, SSH_OPTIONS_HOST); !name.isEmpty())
            hostName_ = name;
    }
    // What the user has entered for this host goes before what the configuration says.
    if (!target.username.isEmpty())
        set(SSH_OPTIONS_USER, target.username.toUtf8().constData(),
            QStringLiteral("The user name \"%1\"").arg(target.username));
    if (!settings_.usesSshConfig || port != standardPort)
        set(SSH_OPTIONS_PORT, &port, QStringLiteral("The port %1").arg(port));
    return prepared;
}

Status SshLogin::openSocket() {
    unsigned int port = standardPort;
    ssh_options_get_port(session_, &port);
    const QString proxy = textOption(session_, SSH_OPTIONS_PROXYCOMMAND);
    const Result<int> descriptor =
        proxy.isEmpty() ? socket_.connect(hostName_, static_cast<std::uint16_t>(port), deadline_)
                        : socket_.connectThrough(
                              expanded(proxy, hostName_, port, textOption(session_, SSH_OPTIONS_USER)));
    if (!descriptor)
        return descriptor.error();
    const socket_t socket = descriptor.value();
    if (ssh_options_set(session_, SSH_OPTIONS_FD, &socket) == SSH_OK)
        return success();
    ::close(socket);
    return lastSshError(session_, SshErrorCode::Failed, QStringLiteral("The connection cannot be used."));
}

Status SshLogin::verifyHostKey(NMSSHSessionDelegate* delegate) {
    HostKeyState state = HostKeyState::Known;
    unsigned int port = standardPort;
    ssh_options_get_port(session_, &port);
    const QByteArray name = knownHostName(hostName_, port);
    if (settings_.checksHostKeys) {
        const Result<HostKeyState> checked = checkHostKey(session_, name, settings_.knownHostsPath);
        if (!checked)
            return checked.error();
        state = checked.value();
    }
    const bool isKnown = state == HostKeyState::Known;
    const bool isAccepted =
        delegate && withoutTimeLimit([&] {
            return delegate->shouldConnectToHostWithFingerprint(serverFingerprint(session_), isKnown);
        });
    if (!isAccepted)
        return sshError(SshErrorCode::NotAnswered, QStringLiteral("The key of the server was not accepted."));
    return isKnown ? success() : storeHostKey(session_, name, settings_.knownHostsPath);
}

Status SshLogin::byPassword(const QString& password) {
    const QByteArray text = password.toUtf8();
    return authenticate([&] { return ssh_userauth_password(session_, nullptr, text.constData()); });
}

Status SshLogin::byKeyboardInteractive(const Answer& answer) {
    int result = SSH_AUTH_ERROR;
    const auto ask = [&] { return result = ssh_userauth_kbdint(session_, nullptr, nullptr); };
    Status proven = authenticate(ask);
    while (!proven && result == SSH_AUTH_INFO) {
        const QString instruction = QString::fromUtf8(ssh_userauth_kbdint_getinstruction(session_)).trimmed();
        const int count = ssh_userauth_kbdint_getnprompts(session_);
        for (int index = 0; index < count; ++index) {
            char isEchoed = 0;
            const QString prompt =
                QString::fromUtf8(ssh_userauth_kbdint_getprompt(session_, index, &isEchoed));
            const QString request = instruction.isEmpty() ? prompt : instruction + u'\n' + prompt;
            const std::optional<QString> text =
                withoutTimeLimit([&] { return answer(request, isEchoed != 0); });
            if (!text)
                return sshError(SshErrorCode::NotAnswered,
                                QStringLiteral("The question of the server was not answered."));
            ssh_userauth_kbdint_setanswer(session_, static_cast<unsigned int>(index),
                                          text->toUtf8().constData());
        }
        result = SSH_AUTH_ERROR;
        proven = authenticate(ask);
    }
    return proven;
}

Status SshLogin::byPublicKey(const QString& publicKeyPath, const QString& privateKeyPath,
                             const std::optional<QString>& passPhrase) {
    // The server is asked first: a refused key needs no pass phrase.
    if (const Key publicKey = publicKeyIn(publicKeyPath)) {
        if (Status accepted =
                authenticate([&] { return ssh_userauth_try_publickey(session_, nullptr, publicKey.get()); });
            !accepted)
            return accepted;
    }
    const Result<Key> privateKey = privateKeyIn(privateKeyPath, passPhrase);
    if (!privateKey)
        return privateKey.error();
    return authenticate([&] { return ssh_userauth_publickey(session_, nullptr, privateKey.value().get()); });
}

Status SshLogin::byAgentAndConfiguration() {
    useAgent();
    Status proven = authenticate([this] { return ssh_userauth_publickey_auto(session_, nullptr, ""); });
    const bool isLate = socket_.cutLateAgent();
    socket_.agentAnswered();
    if (isLate && !proven)
        return sshError(SshErrorCode::TimedOut, QStringLiteral("The SSH agent does not answer."));
    return proven;
}

void SshLogin::useAgent() {
    const QByteArray path = qgetenv("SSH_AUTH_SOCK");
    // Another agent that the configuration names is found by the library alone.
    if (path.isEmpty() || namesAgent(settings_.configPath))
        return;
    if (const Result<int> agent = socket_.connectToAgent(path, deadline_))
        ssh_set_agent_socket(session_, agent.value());
    else // So that the library does not wait for it.
        static_cast<void>(ssh_options_set(session_, SSH_OPTIONS_IDENTITY_AGENT, "/dev/null"));
}

Status SshLogin::outcome(int authentication) {
    switch (authentication) {
    case SSH_AUTH_SUCCESS:
        return success();
    case SSH_AUTH_INFO:
        return sshError(SshErrorCode::NotAnswered,
                        QStringLiteral("The question of the server was not answered."));
    case SSH_AUTH_PARTIAL:
        return sshError(SshErrorCode::Denied,
                        QStringLiteral("The server wants a second proof besides this one."));
    case SSH_AUTH_DENIED:
        return lastSshError(session_, SshErrorCode::Denied, QStringLiteral("The login was refused."));
    default:
        return ssh_is_connected(session_)
                   ? lastSshError(session_, SshErrorCode::Failed, QStringLiteral("The login has failed."))
                   : connectionLost(session_, SshErrorCode::Denied);
    }
}

} // namespace korvane
