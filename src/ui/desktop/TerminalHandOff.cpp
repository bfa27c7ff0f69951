#include "ui/desktop/TerminalHandOff.h"

#include "core/Preferences.h"
#include "foundation/FatalError.h"
#include "foundation/FilePath.h"
#include "foundation/notices/Alerts.h"
#include "ui/desktop/ExternalProgram.h"

#include <QClipboard>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QProcess>

#include <algorithm>
#include <utility>

namespace korvane {
namespace {

using namespace std::chrono_literals;

/// A terminal that fails within this time has not opened. A later failure may be the exit status of the
/// user's shell.
constexpr auto shortestUse = 2s;

struct TerminalTexts {
    Q_DECLARE_TR_FUNCTIONS(TerminalHandOff)
};

/// The directory of a path: "/" and the components of all but the last, with "/" between them.
QByteArray directoryOf(const QByteArray& path) {
    QList<QByteArray> components = path.split('/');
    components.removeLast();
    components.removeAll(QByteArray());
    return '/' + components.join('/');
}

/// The length in bytes of the UTF-8 character at the beginning; 0 when it is invalid.
qsizetype characterLength(QByteArrayView bytes) {
    for (qsizetype length = 1; length <= std::min<qsizetype>(4, bytes.size()); ++length) {
        const QByteArrayView character = bytes.first(length);
        if (QString::fromUtf8(character).toUtf8() == character)
            return length;
    }
    return 0;
}

/// The path as it stands between double quotes of a shell command.
QString quotedText(const QByteArray& path) {
    QByteArray text;
    for (qsizetype i = 0; i < path.size();) {
        if (const qsizetype length = characterLength(QByteArrayView(path).sliced(i))) {
            text += path.mid(i, length);
            i += length;
            continue;
        }
        text += "$(printf '\\" + QByteArray::number(static_cast<unsigned char>(path[i]), 8) + "')";
        ++i;
    }
    return QString::fromUtf8(text);
}

QList<ProgramCall> terminals(const QByteArray& directory) {
    QList<ProgramCall> calls;
    const QStringList chosen = QProcess::splitCommand(QString::fromLocal8Bit(qgetenv("TERMINAL")));
    if (!chosen.isEmpty()) {
        ProgramCall call{chosen.first().toLocal8Bit(), {}, directory};
        for (const QString& argument : chosen.mid(1))
            call.arguments.append(argument.toLocal8Bit());
        calls.append(call);
    }
    for (const char* name : {"xdg-terminal-exec", "x-terminal-emulator", "gnome-terminal", "kgx", "ptyxis",
                             "konsole", "xfce4-terminal", "mate-terminal", "lxterminal", "qterminal", "tilix",
                             "terminator", "kitty", "alacritty", "foot", "wezterm", "urxvt", "st", "xterm"})
        calls.append({name, {}, directory});
    return calls;
}

/// Starts the first of the terminals that opens.
void startTerminal(QList<ProgramCall> candidates, AlertPresenter& alerts, WindowId window) {
    if (candidates.isEmpty()) {
        alerts.present(
            {Alert::Kind::Warning,
             TerminalTexts::tr("No terminal could be started"),
             TerminalTexts::tr(
                 "The command is on the clipboard: paste it in a terminal of your choice. To have one "
                 "started, set the environment variable TERMINAL to its name."),
             {}},
            window, {});
        return;
    }
    ProgramCall next = candidates.takeFirst();
    startProgram(std::move(next),
                 [candidates = std::move(candidates), &alerts, window](const ProgramEnd& end) {
                     if (end.startError != 0 || (end.status != 0 && end.runTime < shortestUse))
                         startTerminal(candidates, alerts, window);
                 });
}

Alert localAlert() {
    return {Alert::Kind::Information,
            TerminalTexts::tr("'cd' command copied to clipboard"),
            TerminalTexts::tr("Paste in Terminal to switch to directory containing log file"),
            {},
            [] { Preferences::shared().setOpenLocalTerminalAlert(false); }};
}

Alert remoteAlert() {
    return {Alert::Kind::Information,
            TerminalTexts::tr("SSH command copied to clipboard"),
            TerminalTexts::tr("Paste in Terminal to login to SSH server directory containing log file"),
            {},
            [] { Preferences::shared().setShowRemoteTerminalAlert(false); }};
}

} // namespace

QString localTerminalCommand(const QUrl& fileUrl) {
    return QStringLiteral("cd \"") + quotedText(directoryOf(localPath(fileUrl))) + u'"';
}

QString remoteTerminalCommand(const QUrl& remoteUrl) {
    const QString user = remoteUrl.userName(QUrl::FullyDecoded);
    const QString host = remoteUrl.host(QUrl::FullyDecoded);
    const int port = remoteUrl.port();
    // An empty user, as in "ssh://@host:22//path", is that of the user's own configuration.
    const bool hasUser = remoteUrl.authority(QUrl::FullyEncoded).contains(u'@');
    if (!hasUser || host.isEmpty() || port < 0)
        fatalError("the address of a remote file lacks its user, host or port");
    return QStringLiteral("ssh -t ") + (user.isEmpty() ? QString() : user + u'@') + host +
           QStringLiteral(" -p ") + QString::number(port) + QStringLiteral(" \"cd '") +
           quotedText(directoryOf(localPath(remoteUrl))) + QStringLiteral("' ; exec $SHELL -l\"");
}

void handOffToTerminal(const QUrl& url, AlertPresenter& alerts, WindowId window) {
    if (url.isEmpty())
        return;
    const bool isLocal = url.isLocalFile();
    QGuiApplication::clipboard()->setText(isLocal ? localTerminalCommand(url) : remoteTerminalCommand(url));
    const QByteArray directory = isLocal ? directoryOf(localPath(url)) : QByteArray();
    auto start = [directory, &alerts, window] { startTerminal(terminals(directory), alerts, window); };
    const Preferences& preferences = Preferences::shared();
    if (isLocal ? preferences.openLocalTerminalAlert() : preferences.showRemoteTerminalAlert())
        alerts.present(isLocal ? localAlert() : remoteAlert(), window, [start](int) { start(); });
    else
        start();
}

} // namespace korvane
