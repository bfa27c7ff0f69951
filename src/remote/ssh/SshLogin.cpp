#include "remote/ssh/SshLogin.h"

#include "remote/ssh/HostKeys.h"
#include "remote/ssh/RemoteLog.h"
#include "remote/ssh/RevokedKeys.h"
#include "remote/ssh/SshError.h"

#include <QFile>

#include <algorithm>
#include <libssh/callbacks.h>
#include <unistd.h>
#include <utility>

namespace korvane {
namespace {

/// Maximum number of times a secret is requested in one login.
constexpr int mostQuestions = 3;

Error unanswered() {
    return sshError(SshErrorCode::NotAnswered, SshTexts::tr("The question was not answered."));
}

Error agentIsLate() {
    return sshError(SshErrorCode::TimedOut, SshTexts::tr("The SSH agent does not answer."));
}

} // namespace

template <typename Question>
auto SshLogin::withoutTimeLimit(const Question& question) {
    const auto asked = std::chrono::steady_clock::now();
    auto answer = question();
    deadline_ += std::chrono::steady_clock::now() - asked;
    return answer;
}

template <typename Call, typename Wait>
Result<int> SshLogin::untilDone(int again, const Call& call, const Wait& wait) {
    for (;;) {
        const int result = call();
        if (result != again)
            return result;
        if (const Status ready = wait(); !ready)
            return ready.error();
    }
}

template <typename Call>
Status SshLogin::authenticate(const Call& call) {
    const auto attempt = [&]() -> int {
        // The library does not notice by itself that the server has ended the connection.
        return ssh_is_connected(session_) ? call() : static_cast<int>(SSH_AUTH_ERROR);
    };
    const Result<int> result = untilDone(SSH_AUTH_AGAIN, attempt, [this] { return await_(deadline_); });
    return result ? outcome(result.value()) : Status(result.error());
}

SshLogin::SshLogin(ssh_session session, ServerSocket& socket, const SessionSettings& settings, Await await)
    : session_(session), socket_(socket), settings_(settings), await_(std::move(await)),
      deadline_(std::chrono::steady_clock::now() + settings.connectingLimit) {}

Status SshLogin::connect(const LoginTarget& target, std::weak_ptr<NMSSHSessionDelegate> delegate) {
    delegate_ = std::move(delegate);
    if (Status configured = configure(target); !configured)
        return configured;
    if (Status prepared = prepare(); !prepared)
        return prepared;
    if (const Status opened = openSocket(); !opened)
        return noted(opened);
    const Result<int> connected = untilDone(
        SSH_AGAIN, [this] { return ssh_connect(session_); }, [this] { return awaitServerOrQuestion(); });
    if (connected && connected.value() == SSH_OK) {
        socket_.endQuestions();
        return verifyHostKey();
    }
    if (!connected && isSshError(connected.error(), SshErrorCode::NotAnswered))
        return connected.error();
    if (const QString fault = socket_.programsFault(); !fault.isEmpty())
        return sshError(SshErrorCode::Failed,
                        SshTexts::tr("The program that leads to the server reports: %1").arg(fault));
    return connected ? connectionLost(session_) : connected.error();
}

Status SshLogin::configure(const LoginTarget& target) {
    configuration_ = SshConfiguration::plain(target, settings_);
    if (!settings_.usesSshConfig)
        return success();
    Result<std::optional<SshConfiguration>> known =
        SshConfiguration::bySsh(target, settings_, socket_.interruptEvent(), deadline_);
    if (!known)
        return known.error();
    if (known.value()) {
        configuration_ = *std::move(known).value();
    } else {
        note_ = SshTexts::tr("~/.ssh/config was not used, as there is no program \"ssh\". Install it, or "
                             "enter all that the host needs.");
        qCWarning(logRemote).noquote() << note_;
    }
    return success();
}

Status SshLogin::prepare() {
    const bool off = false;
    const int on = 1;
    const unsigned int port = configuration_.port;
    Status prepared = success();
    const auto set = [&](ssh_options_e option, const void* value, const QString& what) {
        if (prepared && ssh_options_set(session_, option, value) != SSH_OK)
            prepared =
                lastSshError(session_, SshErrorCode::Failed, SshTexts::tr("%1 cannot be used.").arg(what));
    };
    set(SSH_OPTIONS_PROCESS_CONFIG, &off, SshTexts::tr("No configuration"));
    set(SSH_OPTIONS_NODELAY, &on, SshTexts::tr("The connection"));
    // Known hosts are checked in this class.
    set(SSH_OPTIONS_KNOWNHOSTS, "/dev/null", SshTexts::tr("No file"));
    set(SSH_OPTIONS_GLOBAL_KNOWNHOSTS, "/dev/null", SshTexts::tr("No file"));
    // So is the agent: the library would wait for it without a limit.
    set(SSH_OPTIONS_IDENTITY_AGENT, "/dev/null", SshTexts::tr("No agent"));
    // The library accepts few names and needs none, as the connection is made here.
    static_cast<void>(
        ssh_options_set(session_, SSH_OPTIONS_HOST, configuration_.hostName.toUtf8().constData()));
    if (!configuration_.username.isEmpty())
        set(SSH_OPTIONS_USER, configuration_.username.toUtf8().constData(),
            SshTexts::tr("The user name \"%1\"").arg(configuration_.username));
    set(SSH_OPTIONS_PORT, &port, SshTexts::tr("The port %1").arg(port));
    if (!prepared || settings_.hostKeyPolicy == HostKeyPolicy::AcceptAll)
        return prepared;
    const auto known = KnownHostKeys::read(configuration_.knownName, configuration_.userKnownHosts,
                                           configuration_.machineKnownHosts);
    if (!known)
        return known.error();
    // Of several keys, the server should show one that can be compared.
    if (const QByteArray algorithms = known.value().algorithms(); !algorithms.isEmpty())
        set(SSH_OPTIONS_HOSTKEYS, algorithms.constData(), SshTexts::tr("The kinds of known keys"));
    return prepared;
}

Status SshLogin::openSocket() {
    const Result<int> descriptor = socket_.connect(configuration_, deadline_);
    if (!descriptor)
        return descriptor.error();
    const socket_t socket = descriptor.value();
    if (ssh_options_set(session_, SSH_OPTIONS_FD, &socket) == SSH_OK)
        return success();
    ::close(socket);
    return lastSshError(session_, SshErrorCode::Failed, SshTexts::tr("The connection cannot be used."));
}

Status SshLogin::awaitServerOrQuestion() {
    Askpass* const askpass = socket_.askpass();
    if (!askpass || ssh_get_fd(session_) < 0)
        return await_(deadline_);
    const bool wantsToWrite = (ssh_get_status(session_) & SSH_WRITE_PENDING) != 0;
    pollfd watched[] = {
        {ssh_get_fd(session_), static_cast<short>(wantsToWrite ? POLLIN | POLLOUT : POLLIN), 0},
        {askpass->event(), POLLIN, 0}};
    if (Status ready = awaitDescriptors(watched, socket_.interruptEvent(), deadline_); !ready)
        return ready;
    return watched[1].revents ? answerProgram(*askpass) : success();
}

Status SshLogin::answerProgram(Askpass& askpass) {
    const Result<std::optional<Askpass::Question>> taken =
        askpass.takeQuestion(socket_.interruptEvent(), deadline_);
    if (!taken)
        return taken.error();
    if (!taken.value())
        return success();
    const Askpass::Question& question = *taken.value();
    const std::optional<QString> text = withoutTimeLimit([&] {
        const auto delegate = delegate_.lock();
        return delegate ? delegate->keyboardInteractiveRequest(question.text, question.isEchoed)
                        : std::nullopt;
    });
    askpass.answer(text);
    return text ? success() : unanswered();
}

Status SshLogin::verifyHostKey() {
    if (settings_.hostKeyPolicy == HostKeyPolicy::AcceptAll)
        return success();
    const Key shown = serverKey(session_);
    if (!shown)
        return lastSshError(session_, SshErrorCode::Failed, SshTexts::tr("The server has shown no key."));
    if (const QString& list = configuration_.revokedHostKeys; !list.isEmpty()) {
        if (Status valid = checkRevocation(shown.get(), list, socket_.interruptEvent(), deadline_); !valid)
            return valid;
    }
    const auto known = KnownHostKeys::read(configuration_.knownName, configuration_.userKnownHosts,
                                           configuration_.machineKnownHosts);
    if (!known)
        return known.error();
    const Result<HostKeyState> state = known.value().check(shown.get());
    if (!state)
        return state.error();
    if (state.value() == HostKeyState::Known)
        return success();
    if (state.value() == HostKeyState::New && settings_.hostKeyPolicy == HostKeyPolicy::AcceptNew) {
        if (const Status stored = known.value().store(shown.get()); !stored)
            qCWarning(logRemote).noquote() << stored.error().userText;
        return success();
    }
    const auto delegate = delegate_.lock();
    const bool isAccepted = delegate && withoutTimeLimit([&] {
                                return delegate->shouldConnectToHostWithFingerprint(
                                    fingerprint(shown.get()), known.value().outdated(shown.get()));
                            });
    if (!isAccepted)
        return sshError(SshErrorCode::NotAnswered, SshTexts::tr("The key of the server was not accepted."));
    return known.value().store(shown.get());
}

std::optional<QString> SshLogin::ask(const SecretQuestion& question) {
    const auto delegate = delegate_.lock();
    if (!delegate)
        return std::nullopt;
    return withoutTimeLimit([&] { return delegate->secret(question); });
}

Status SshLogin::byPassword(const QString& password) {
    std::optional<QString> text = password.isEmpty() ? std::nullopt : std::optional(password);
    // Do not request a password before the server is known to accept one.
    if (!text && ssh_userauth_list(session_, nullptr) == SSH_AUTH_METHOD_UNKNOWN) {
        if (Status open = authenticate([this] { return ssh_userauth_none(session_, nullptr); });
            open || !wasRefused(open))
            return open;
    }
    Status proven = sshError(SshErrorCode::Denied, SshTexts::tr("The server takes no password."));
    for (int asked = 0;; ++asked) {
        if (text) {
            const QByteArray bytes = text->toUtf8();
            proven =
                authenticate([&] { return ssh_userauth_password(session_, nullptr, bytes.constData()); });
        }
        if (proven || !wasRefused(proven) || !takesMethod(SSH_AUTH_METHOD_PASSWORD) || asked == mostQuestions)
            return proven;
        text = ask({SecretQuestion::Kind::Password, {}, text.has_value()});
        if (!text)
            return unanswered();
    }
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
                return unanswered();
            ssh_userauth_kbdint_setanswer(session_, static_cast<unsigned int>(index),
                                          text->toUtf8().constData());
        }
        result = SSH_AUTH_ERROR;
        proven = authenticate(ask);
    }
    return proven;
}

Status SshLogin::byFurtherQuestions() {
    if (takesMethod(SSH_AUTH_METHOD_INTERACTIVE))
        return byKeyboardInteractive([this](const QString& request, bool isEchoed) {
            const auto delegate = delegate_.lock();
            return delegate ? delegate->keyboardInteractiveRequest(request, isEchoed) : std::nullopt;
        });
    if (takesMethod(SSH_AUTH_METHOD_PASSWORD))
        return byPassword({});
    return sshError(SshErrorCode::Denied,
                    SshTexts::tr("The server wants another proof besides this one, and none that can be "
                                 "typed in."));
}

// ---- Keys

Status SshLogin::byPublicKey(const QString& publicKeyPath, const QString& privateKeyPath,
                             const std::optional<QString>& passPhrase) {
    Key publicKey = publicKeyIn(publicKeyPath);
    return byKeyFile(publicKey ? std::move(publicKey) : publicKeyFor(privateKeyPath), privateKeyPath,
                     passPhrase);
}

Status SshLogin::byKeyFile(Key publicKey, const QString& privateKeyPath,
                           const std::optional<QString>& passPhrase) {
    // A refused key needs no pass phrase. With a certificate the server may accept the key although it
    // refuses the bare one.
    const bool hasCertificate = !configuration_.certificateFiles.isEmpty() ||
                                QFile::exists(privateKeyPath + QStringLiteral("-cert.pub"));
    if (publicKey && !hasCertificate) {
        if (Status accepted =
                authenticate([&] { return ssh_userauth_try_publickey(session_, nullptr, publicKey.get()); });
            !accepted)
            return accepted;
    }
    const Result<Key> privateKey = unlocked(privateKeyPath, passPhrase);
    if (!privateKey)
        return privateKey.error();
    const auto prove = [&](ssh_key key) {
        return authenticate([&] { return ssh_userauth_publickey(session_, nullptr, key); });
    };
    if (hasCertificate) {
        const Key certified(ssh_key_dup(privateKey.value().get()));
        if (addCertificate(certified.get(), privateKeyPath, configuration_.certificateFiles)) {
            if (Status proven = prove(certified.get()); proven || !wasRefused(proven))
                return proven;
        }
    }
    return prove(privateKey.value().get());
}

Result<Key> SshLogin::unlocked(const QString& privateKeyPath, const std::optional<QString>& passPhrase) {
    Result<Key> key = privateKeyIn(privateKeyPath, passPhrase);
    bool isAgain = passPhrase && !passPhrase->isEmpty();
    for (int asked = 0; !key && asked < mostQuestions && wantsPassPhrase(privateKeyPath); ++asked) {
        const std::optional<QString> answer =
            ask({SecretQuestion::Kind::PassPhrase, privateKeyPath, std::exchange(isAgain, true)});
        if (!answer)
            return unanswered();
        key = privateKeyIn(privateKeyPath, answer);
    }
    return key;
}

Status SshLogin::byAgentAndConfiguration() {
    const Status proven = byIdentities();
    agent_.reset();
    return noted(proven);
}

Status SshLogin::byIdentities() {
    struct Identity {
        QString path;
        Key publicKey;
        QByteArray blob;
    };
    std::vector<Identity> identities;
    QList<QByteArray> named;
    for (const QString& path : configuration_.identityFiles) {
        Key key = publicKeyFor(path);
        if (!key && !QFile::exists(path))
            continue;
        const QByteArray blob = publicBlob(key.get());
        identities.push_back({path, std::move(key), blob});
        named.append(blob);
    }
    const Result<QList<QByteArray>> inAgent = agentKeys(named);
    if (!inAgent)
        return inAgent.error();
    Status proven = sshError(SshErrorCode::Denied, SshTexts::tr("The login was refused."));
    QList<QByteArray> refused;
    for (QList<QByteArray> left = inAgent.value(); !left.isEmpty();) {
        proven = byAgentKeys(left);
        if (proven || !wasRefused(proven))
            return proven;
        if (isSshError(proven.error(), SshErrorCode::Denied)) {
            refused += left;
            break;
        }
        // A key that only the agent refuses is tried from its file. The keys after it are still to be
        // offered.
        const qsizetype place = left.indexOf(agent_->lastSigned());
        if (place < 0)
            break;
        refused += left.first(place);
        left = left.sliced(place + 1);
    }
    for (Identity& identity : identities) {
        if (refused.contains(identity.blob) || !QFile::exists(identity.path))
            continue;
        proven = byKeyFile(std::move(identity.publicKey), identity.path, std::nullopt);
        if (proven || !wasRefused(proven))
            return proven;
    }
    return proven;
}

Result<QList<QByteArray>> SshLogin::agentKeys(const QList<QByteArray>& named) {
    const QList<QByteArray> noKeys;
    if (configuration_.agentPath.isEmpty())
        return noKeys;
    auto agent = AgentRelay::connect(configuration_.agentPath, socket_.interruptEvent(), deadline_);
    if (!agent)
        return noKeys;
    agent_ = std::move(agent).value();
    const Result<QList<QByteArray>> keys = agent_->keys();
    if (!keys && isSshError(keys.error(), SshErrorCode::Failed))
        return noKeys;
    if (!keys)
        return agent_->isLate() ? agentIsLate() : keys.error();
    QList<QByteArray> ordered;
    for (const QByteArray& key : named) {
        if (!key.isEmpty() && keys.value().contains(key) && !ordered.contains(key))
            ordered.append(key);
    }
    for (const QByteArray& key : keys.value()) {
        if (!configuration_.identitiesOnly && !ordered.contains(key))
            ordered.append(key);
    }
    // The library stops at a key that it cannot read.
    ordered.removeIf([](const QByteArray& key) { return !isKnownKind(key); });
    const int libraryEnd = ordered.isEmpty() ? -1 : agent_->takeLibraryEnd();
    if (libraryEnd < 0)
        return noKeys;
    ssh_set_agent_socket(session_, libraryEnd);
    return ordered;
}

Status SshLogin::byAgentKeys(const QList<QByteArray>& keys) {
    agent_->setDeadline(deadline_);
    agent_->offer(keys);
    if (agent_->hasEnded())
        return sshError(SshErrorCode::Failed, SshTexts::tr("The SSH agent has ended the connection."));
    // All keys in one call: the library leaks some memory for each further call.
    const Status proven = authenticate([this] { return ssh_userauth_agent(session_, nullptr); });
    return !proven && agent_->isLate() ? agentIsLate() : proven;
}

// ---- Outcomes

bool SshLogin::takesMethod(int method) const {
    return (ssh_userauth_list(session_, nullptr) & method) != 0;
}

bool SshLogin::wasRefused(const Status& proven) const {
    return !proven && ssh_is_connected(session_) &&
           (isSshError(proven.error(), SshErrorCode::Denied) ||
            isSshError(proven.error(), SshErrorCode::Failed));
}

Status SshLogin::outcome(int authentication) {
    switch (authentication) {
    case SSH_AUTH_SUCCESS:
        return success();
    case SSH_AUTH_INFO:
        return unanswered();
    case SSH_AUTH_PARTIAL:
        return sshError(SshErrorCode::Incomplete,
                        SshTexts::tr("The server wants another proof besides this one."));
    case SSH_AUTH_DENIED:
        return lastSshError(session_, SshErrorCode::Denied, SshTexts::tr("The login was refused."));
    default:
        return ssh_is_connected(session_)
                   ? lastSshError(session_, SshErrorCode::Failed, SshTexts::tr("The login has failed."))
                   : connectionLost(session_, SshErrorCode::Denied);
    }
}

Status SshLogin::noted(Status status) const {
    if (status || note_.isEmpty())
        return status;
    Error error = status.error();
    error.userText += u'\n' + note_;
    return error;
}

} // namespace korvane
