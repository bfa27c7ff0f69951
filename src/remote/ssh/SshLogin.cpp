#include "remote/ssh/SshLogin.h"

#include "remote/ssh/HostKeys.h"
#include "remote/ssh/NMSSHSessionDelegate.h"
#include "remote/ssh/SshError.h"

#include <QFile>
#include <QFileInfo>

#include <libssh/callbacks.h>
#include <memory>

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

void setTextOption(ssh_session session, ssh_options_e option, const QString& value) {
    ssh_options_set(session, option, value.toLocal8Bit().constData());
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

SshLogin::SshLogin(ssh_session session, ServerSocket& socket, const SessionSettings& settings)
    : session_(session), socket_(socket), settings_(settings),
      deadline_(std::chrono::steady_clock::now() + settings.connectingLimit) {}

Status SshLogin::connect(const LoginTarget& target, NMSSHSessionDelegate* delegate) {
    if (Status prepared = prepare(target); !prepared)
        return prepared;
    if (Status opened = openSocket(); !opened)
        return opened;
    if (Status time = allowTime(); !time)
        return time;
    ssh_set_blocking(session_, 1);
    if (ssh_connect(session_) != SSH_OK)
        return lastSshError(session_, SshErrorCode::Failed, QStringLiteral("The server does not answer."));
    return verifyHostKey(delegate);
}

Status SshLogin::prepare(const LoginTarget& target) {
    const bool off = false;
    const int on = 1;
    ssh_options_set(session_, SSH_OPTIONS_PROCESS_CONFIG, &off);
    ssh_options_set(session_, SSH_OPTIONS_NODELAY, &on);
    ssh_options_set(session_, SSH_OPTIONS_HOST, target.host.toUtf8().constData());
    const QString known = settings_.checksHostKeys ? settings_.knownHostsPath : QStringLiteral("/dev/null");
    setTextOption(session_, SSH_OPTIONS_KNOWNHOSTS, known);
    if (!settings_.checksHostKeys)
        setTextOption(session_, SSH_OPTIONS_GLOBAL_KNOWNHOSTS, known);
    // Keys that nobody has named are looked for beside the configuration.
    if (settings_.usesSshConfig)
        setTextOption(session_, SSH_OPTIONS_SSH_DIR, QFileInfo(settings_.configPath).path());
    if (settings_.usesSshConfig && QFile::exists(settings_.configPath) &&
        ssh_options_parse_config(session_, QFile::encodeName(settings_.configPath).constData()) != SSH_OK)
        return lastSshError(session_, SshErrorCode::Failed,
                            QStringLiteral("\"%1\" cannot be read.").arg(settings_.configPath));
    // What the user has entered for this host goes before what the configuration says.
    if (!target.username.isEmpty())
        ssh_options_set(session_, SSH_OPTIONS_USER, target.username.toUtf8().constData());
    const unsigned int port = target.port;
    if (!settings_.usesSshConfig || port != standardPort)
        ssh_options_set(session_, SSH_OPTIONS_PORT, &port);
    return success();
}

Status SshLogin::openSocket() {
    const QString host = textOption(session_, SSH_OPTIONS_HOST);
    unsigned int port = standardPort;
    ssh_options_get_port(session_, &port);
    const QString proxy = textOption(session_, SSH_OPTIONS_PROXYCOMMAND);
    const Result<int> descriptor =
        proxy.isEmpty()
            ? socket_.connect(host, static_cast<std::uint16_t>(port), deadline_)
            : socket_.connectThrough(expanded(proxy, host, port, textOption(session_, SSH_OPTIONS_USER)));
    if (!descriptor)
        return descriptor.error();
    const socket_t socket = descriptor.value();
    ssh_options_set(session_, SSH_OPTIONS_FD, &socket);
    return success();
}

Status SshLogin::verifyHostKey(NMSSHSessionDelegate* delegate) {
    HostKeyState state = HostKeyState::Known;
    if (settings_.checksHostKeys) {
        const Result<HostKeyState> checked = checkHostKey(session_, settings_.knownHostsPath);
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
    return isKnown ? success() : storeHostKey(session_);
}

Status SshLogin::byPassword(const QString& password) {
    if (Status time = allowTime(); !time)
        return time;
    return outcome(ssh_userauth_password(session_, nullptr, password.toUtf8().constData()));
}

Status SshLogin::byKeyboardInteractive(const Answer& answer) {
    if (Status time = allowTime(); !time)
        return time;
    int result = ssh_userauth_kbdint(session_, nullptr, nullptr);
    while (result == SSH_AUTH_INFO) {
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
        if (Status time = allowTime(); !time)
            return time;
        result = ssh_userauth_kbdint(session_, nullptr, nullptr);
    }
    return outcome(result);
}

Status SshLogin::byPublicKey(const QString& publicKeyPath, const QString& privateKeyPath,
                             const std::optional<QString>& passPhrase) {
    // The server is asked first: a refused key needs no pass phrase.
    if (const Key publicKey = publicKeyIn(publicKeyPath)) {
        if (Status time = allowTime(); !time)
            return time;
        if (Status accepted = outcome(ssh_userauth_try_publickey(session_, nullptr, publicKey.get()));
            !accepted)
            return accepted;
    }
    const Result<Key> privateKey = privateKeyIn(privateKeyPath, passPhrase);
    if (!privateKey)
        return privateKey.error();
    if (Status time = allowTime(); !time)
        return time;
    return outcome(ssh_userauth_publickey(session_, nullptr, privateKey.value().get()));
}

Status SshLogin::byAgentAndConfiguration() {
    if (Status time = allowTime(); !time)
        return time;
    useAgent();
    Status proven = outcome(ssh_userauth_publickey_auto(session_, nullptr, ""));
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
        setTextOption(session_, SSH_OPTIONS_IDENTITY_AGENT, QStringLiteral("/dev/null"));
}

Status SshLogin::allowTime() {
    const auto left =
        std::chrono::duration_cast<std::chrono::microseconds>(deadline_ - std::chrono::steady_clock::now());
    if (left.count() <= 0)
        return timedOut();
    const long seconds = static_cast<long>(left.count() / 1'000'000);
    const long rest = static_cast<long>(left.count() % 1'000'000);
    ssh_options_set(session_, SSH_OPTIONS_TIMEOUT, &seconds);
    ssh_options_set(session_, SSH_OPTIONS_TIMEOUT_USEC, &rest);
    return success();
}

Status SshLogin::outcome(int authentication) {
    switch (authentication) {
    case SSH_AUTH_SUCCESS:
        return success();
    case SSH_AUTH_AGAIN:
        return timedOut();
    case SSH_AUTH_PARTIAL:
        return sshError(SshErrorCode::Denied,
                        QStringLiteral("The server wants a second proof besides this one."));
    case SSH_AUTH_DENIED:
        return lastSshError(session_, SshErrorCode::Denied, QStringLiteral("The login was refused."));
    default:
        return lastSshError(session_, SshErrorCode::Failed, QStringLiteral("The login has failed."));
    }
}

} // namespace korvane
