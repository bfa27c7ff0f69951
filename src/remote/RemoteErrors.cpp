#include "remote/RemoteErrors.h"

#include "foundation/FilePath.h"

#include <QCoreApplication>

namespace korvane::remoteerror {
namespace {

constexpr int cannotConnectToHost = -1004;

Error error(const char* description, const char* suggestion) {
    return {cannotConnectToHost, QStringLiteral("NSURLErrorDomain"),
            QCoreApplication::translate("RemoteErrors", description),
            QCoreApplication::translate("RemoteErrors", suggestion)};
}

} // namespace

Error unknownHost(const QUrl& url) {
    Error unknown =
        error(QT_TRANSLATE_NOOP("RemoteErrors", "Could not find remote host information for URL"),
              QT_TRANSLATE_NOOP("RemoteErrors",
                                "Ensure the remote host referenced in the URL is present and configured with "
                                "the same user and server host:port information"));
    unknown.url = absoluteString(url);
    return unknown;
}

Error cannotConnect(const QString& reason) {
    Error told =
        error(QT_TRANSLATE_NOOP("RemoteErrors", "Could not connect to remote host!"),
              QT_TRANSLATE_NOOP("RemoteErrors", "Check if the server is up and re-open the log file"));
    if (!reason.isEmpty())
        told.recoverySuggestion += u'\n' + reason;
    return told;
}

Error connectionLost() {
    return error(QT_TRANSLATE_NOOP("RemoteErrors", "Connection lost to remote host!"),
                 QT_TRANSLATE_NOOP("RemoteErrors", "Check if the server is up and open the log file again"));
}

} // namespace korvane::remoteerror
