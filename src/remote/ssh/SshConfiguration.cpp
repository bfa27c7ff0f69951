#include "remote/ssh/SshConfiguration.h"

#include "remote/ssh/SshError.h"

#include <QCryptographicHash>
#include <QFile>
#include <QHash>

#include <array>
#include <pwd.h>
#include <unistd.h>
#include <vector>

namespace korvane {
namespace {

constexpr std::uint16_t standardPort = 22;

/// The user who runs the program, as ssh finds them.
struct LocalUser {
    QString name;
    QString home;

    /// An empty name: the user who runs the program.
    static LocalUser called(const QString& name = {}) {
        std::vector<char> buffer(1 << 14);
        passwd entry{};
        passwd* found = nullptr;
        if (name.isEmpty())
            ::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found);
        else
            ::getpwnam_r(name.toLocal8Bit().constData(), &entry, buffer.data(), buffer.size(), &found);
        return found ? LocalUser{QString::fromLocal8Bit(found->pw_name), QFile::decodeName(found->pw_dir)}
                     : LocalUser{};
    }
};

/// The output of `ssh -G`, one keyword and its value per line.
class PrintedConfiguration {
public:
    explicit PrintedConfiguration(const QByteArray& text) {
        for (const QByteArray& line : text.split('\n')) {
            const qsizetype space = line.indexOf(' ');
            if (space > 0)
                values_[line.left(space).toLower()].append(QFile::decodeName(line.mid(space + 1)));
        }
    }

    QStringList all(const char* keyword) const { return values_.value(keyword); }
    /// Empty for an option that is switched off.
    QString value(const char* keyword) const {
        const QString first = all(keyword).value(0);
        return first == QStringLiteral("none") ? QString() : first;
    }
    /// The paths are separated by spaces, which names may also contain.
    QStringList paths(const char* keyword) const {
        QStringList found;
        for (const QString& word : value(keyword).split(u' ', Qt::SkipEmptyParts)) {
            // A word that does not begin like a path belongs to the previous path.
            if (found.isEmpty() || QStringLiteral("/~%$").contains(word.front()))
                found.append(word);
            else
                found.last() += u' ' + word;
        }
        return found;
    }

private:
    QHash<QByteArray, QStringList> values_;
};

/// Replaces the place-holders of a configuration.
class PlaceHolders {
public:
    PlaceHolders(const PrintedConfiguration& printed, const QString& alias) {
        const LocalUser user = LocalUser::called();
        std::array<char, 256> machine{};
        ::gethostname(machine.data(), machine.size() - 1);
        const QString local = QString::fromLocal8Bit(machine.data());
        const QString host = printed.value("hostname");
        const QString port = printed.value("port");
        const QString remoteUser = printed.value("user");
        const QString hash = QString::fromLatin1(
            QCryptographicHash::hash((local + host + port + remoteUser).toUtf8(), QCryptographicHash::Sha1)
                .toHex());
        const QString known = printed.value("hostkeyalias");
        values_ = {{u'%', QStringLiteral("%")},
                   {u'C', hash},
                   {u'd', user.home},
                   {u'h', host},
                   {u'i', QString::number(::getuid())},
                   {u'k', known.isEmpty() ? alias : known},
                   {u'L', local.section(u'.', 0, 0)},
                   {u'l', local},
                   {u'n', alias},
                   {u'p', port},
                   {u'r', remoteUser},
                   {u'u', user.name}};
    }

    /// Unknown place-holders stay unchanged.
    QString expanded(const QString& text) const {
        QString whole;
        for (qsizetype index = 0; index < text.size(); ++index) {
            const bool isKnown =
                text[index] == u'%' && index + 1 < text.size() && values_.contains(text[index + 1]);
            whole += isKnown ? values_[text[++index]] : QString(text[index]);
        }
        return whole;
    }

    QString expandedPath(const QString& text) const {
        QString path = text;
        if (path.startsWith(u'~')) {
            const qsizetype end = path.contains(u'/') ? path.indexOf(u'/') : path.size();
            path.replace(0, end, LocalUser::called(path.mid(1, end - 1)).home);
        }
        for (qsizetype begin = 0; (begin = path.indexOf(QStringLiteral("${"), begin)) >= 0;) {
            const qsizetype end = path.indexOf(u'}', begin);
            if (end < 0)
                break;
            const QString value =
                qEnvironmentVariable(path.mid(begin + 2, end - begin - 2).toLocal8Bit().constData());
            path.replace(begin, end - begin + 1, value);
            begin += value.size();
        }
        return expanded(path);
    }
    QStringList expandedPaths(QStringList texts) const {
        for (QString& text : texts)
            text = expandedPath(text);
        return texts;
    }

private:
    QHash<QChar, QString> values_;
};

QString forShell(const QString& argument) {
    QString quoted = argument;
    return u'\'' + quoted.replace(u'\'', QStringLiteral("'\\''")) + u'\'';
}

/// The arguments that make ssh read the user's configuration. A file at another path must be named.
QStringList configArguments(const QString& path) {
    if (path.isEmpty() || path == LocalUser::called().home + QStringLiteral("/.ssh/config"))
        return {};
    return {QStringLiteral("-F"), QFile::exists(path) ? path : QStringLiteral("none")};
}

/// The command that connects through the last jump host, which is reached through the others;
/// "user@server:port" each.
QString jumpCommand(const QString& jumps, const QString& host, const QString& port,
                    const QString& configPath) {
    QString last = jumps.section(u',', -1);
    const QString before = jumps.section(u',', 0, -2);
    QStringList command{QStringLiteral("ssh")};
    command += configArguments(configPath);
    if (!before.isEmpty())
        command += {QStringLiteral("-J"), before};
    if (const qsizetype at = last.lastIndexOf(u'@'); at >= 0) {
        command += {QStringLiteral("-l"), last.left(at)};
        last = last.mid(at + 1);
    }
    const qsizetype colon = last.lastIndexOf(u':');
    if (colon >= 0 && (last.indexOf(u':') == colon || last[colon - 1] == u']')) {
        command += {QStringLiteral("-p"), last.mid(colon + 1)};
        last.truncate(colon);
    }
    if (last.startsWith(u'[') && last.endsWith(u']'))
        last = last.sliced(1, last.size() - 2);
    command += {QStringLiteral("-W"), u'[' + host + QStringLiteral("]:") + port, QStringLiteral("--"), last};
    for (QString& argument : command)
        argument = forShell(argument);
    return command.join(u' ');
}

QByteArray agentPathIn(const PrintedConfiguration& printed, const PlaceHolders& placeHolders) {
    const QString named = printed.all("identityagent").value(0, QStringLiteral("SSH_AUTH_SOCK"));
    if (named == QStringLiteral("SSH_AUTH_SOCK"))
        return qgetenv("SSH_AUTH_SOCK");
    if (named == QStringLiteral("none"))
        return {};
    if (named.startsWith(u'$') && !named.startsWith(QStringLiteral("${")))
        return qgetenv(named.mid(1).toLocal8Bit().constData());
    return QFile::encodeName(placeHolders.expandedPath(named));
}

/// The server's name in files of known hosts.
QByteArray nameWithPort(const QString& host, std::uint16_t port) {
    const QByteArray name = host.toLower().toUtf8();
    return port == standardPort ? name : '[' + name + "]:" + QByteArray::number(port);
}

SshConfiguration understood(const PrintedConfiguration& printed, const LoginTarget& target,
                            const SessionSettings& settings) {
    const PlaceHolders placeHolders(printed, target.host);
    SshConfiguration configuration;
    configuration.hostName = printed.value("hostname");
    configuration.port = printed.value("port").toUShort();
    configuration.username = printed.value("user");
    const QString family = printed.value("addressfamily");
    configuration.addressFamily = family == QStringLiteral("inet")    ? AF_INET
                                  : family == QStringLiteral("inet6") ? AF_INET6
                                                                      : AF_UNSPEC;
    configuration.bindAddress = printed.value("bindaddress");
    configuration.proxyCommand = placeHolders.expanded(printed.value("proxycommand"));
    if (const QString jumps = placeHolders.expanded(printed.value("proxyjump")); !jumps.isEmpty())
        configuration.proxyCommand =
            jumpCommand(jumps, configuration.hostName, printed.value("port"), settings.configPath);
    if (!printed.value("identityfile").isEmpty())
        configuration.identityFiles = placeHolders.expandedPaths(printed.all("identityfile"));
    configuration.certificateFiles = placeHolders.expandedPaths(printed.all("certificatefile"));
    configuration.identitiesOnly = printed.value("identitiesonly") == QStringLiteral("yes");
    configuration.agentPath = agentPathIn(printed, placeHolders);
    const QString alias = printed.value("hostkeyalias");
    configuration.knownName =
        alias.isEmpty() ? nameWithPort(configuration.hostName, configuration.port) : alias.toLower().toUtf8();
    configuration.userKnownHosts = placeHolders.expandedPaths(printed.paths("userknownhostsfile"));
    configuration.machineKnownHosts = placeHolders.expandedPaths(printed.paths("globalknownhostsfile"));
    configuration.revokedHostKeys = placeHolders.expandedPath(printed.value("revokedhostkeys"));
    return configuration;
}

} // namespace

SshConfiguration SshConfiguration::plain(const LoginTarget& target, const SessionSettings& settings) {
    SshConfiguration configuration;
    configuration.hostName = target.host;
    configuration.port = target.port;
    configuration.username = target.username;
    if (settings.usesSshConfig)
        configuration.agentPath = qgetenv("SSH_AUTH_SOCK");
    configuration.knownName = nameWithPort(target.host, target.port);
    configuration.userKnownHosts = {settings.knownHostsPath};
    configuration.machineKnownHosts = {QStringLiteral("/etc/ssh/ssh_known_hosts")};
    return configuration;
}

Result<std::optional<SshConfiguration>> SshConfiguration::bySsh(const LoginTarget& target,
                                                                const SessionSettings& settings,
                                                                int interruptEvent, Deadline deadline) {
    QStringList command{QStringLiteral("ssh"), QStringLiteral("-G")};
    command += configArguments(settings.configPath);
    if (!target.username.isEmpty())
        command += {QStringLiteral("-l"), target.username};
    if (target.port != standardPort)
        command += {QStringLiteral("-p"), QString::number(target.port)};
    command += {QStringLiteral("--"), target.host};
    QList<QByteArray> arguments;
    for (const QString& argument : std::as_const(command))
        arguments.append(QFile::encodeName(argument));
    const Result<ProgramOutcome> outcome = runProgram(arguments, interruptEvent, deadline);
    if (!outcome) {
        if (isSshError(outcome.error(), SshErrorCode::TimedOut))
            return sshError(
                SshErrorCode::Failed,
                SshTexts::tr("The program ssh takes too long to read the configuration of \"%1\".")
                    .arg(target.host));
        return outcome.error();
    }
    if (!outcome.value().isFound)
        return std::optional<SshConfiguration>();
    if (outcome.value().exitStatus != 0)
        return sshError(
            SshErrorCode::Failed,
            SshTexts::tr("The program ssh reports a fault of its configuration: %1")
                .arg(QString::fromLocal8Bit(outcome.value().errors.split('\n').first().trimmed())));
    return std::optional(understood(PrintedConfiguration(outcome.value().output), target, settings));
}

} // namespace korvane
