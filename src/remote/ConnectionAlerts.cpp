#include "remote/ConnectionAlerts.h"

#include "remote/ssh/SshError.h"

#include <QCoreApplication>

#include <algorithm>

namespace korvane {
namespace {

/// Maximum number of file names in an alert.
constexpr qsizetype mostFilesTold = 5;

struct AlertTexts {
    Q_DECLARE_TR_FUNCTIONS(ConnectionAlerts)
};

} // namespace

Alert connectionFailureAlert(const QString& host, std::uint16_t port, const QString& reason) {
    return {Alert::Kind::Error,
            AlertTexts::tr("Could not connect to host: %1 on port %2").arg(host, QString::number(port)),
            AlertTexts::tr("Please check the configuration and ensure the SSH server is running!") +
                (reason.isEmpty() ? QString() : u'\n' + reason),
            {AlertTexts::tr("OK")}};
}

Alert connectionLossAlert(const QString& host, std::uint16_t port, const QString& reason, QStringList files) {
    files.sort(Qt::CaseInsensitive); // the order of the logins means nothing to the user
    QString text = AlertTexts::tr("SSH session failure (Host: Optional(\"%1\"), Port: Optional(%2))")
                       .arg(host, QString::number(port));
    if (!reason.isEmpty())
        text += u'\n' + reason;
    if (!files.isEmpty()) {
        QString names = QStringList(files.first(std::min(files.size(), mostFilesTold))).join(u", ");
        if (files.size() > mostFilesTold)
            names = AlertTexts::tr("%1 and %2 more").arg(names).arg(files.size() - mostFilesTold);
        text += u'\n' + AlertTexts::tr("Open from there: %1").arg(names);
    }
    return {Alert::Kind::Error,
            AlertTexts::tr("Disconnected from remote server host!"),
            text,
            {AlertTexts::tr("OK")}};
}

Error withLoginAdvice(Error error, const QString& host, std::uint16_t port, const QString& username) {
    const QString place = (host.contains(u':') ? u'[' + host + u']' : host) + u':' + QString::number(port);
    if (isSshError(error, SshErrorCode::HostKeyChanged))
        error.recoverySuggestion =
            AlertTexts::tr("This is about %1. Ask its administrator whether its key has been replaced.")
                .arg(place);
    else if (!isSshError(error, SshErrorCode::Denied))
        error.recoverySuggestion =
            AlertTexts::tr("The login on %1 has failed. Check if the server is up and try again.").arg(place);
    else if (username.isEmpty())
        error.recoverySuggestion = AlertTexts::tr("Logging in on %1 was refused. Check the user name and the "
                                                  "authentication of this host in Remote Hosts.")
                                       .arg(place);
    else
        error.recoverySuggestion =
            AlertTexts::tr("Logging in as %1 on %2 was refused. Check the user name and "
                           "the authentication of this host in Remote Hosts.")
                .arg(username, place);
    return error;
}

} // namespace korvane
