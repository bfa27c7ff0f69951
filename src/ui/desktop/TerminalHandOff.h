#pragma once

#include "foundation/notices/WindowId.h"

#include <QByteArray>
#include <QString>
#include <QUrl>

namespace korvane {

class AlertPresenter;

/// The command that takes a shell to the directory of a local file. The path stands between double quotes and
/// is not escaped; only invalid UTF-8, which the clipboard cannot hold, is written as calls of `printf`.
QString localTerminalCommand(const QUrl& fileUrl);

/// The command that logs in where a remote file is, and takes a shell to its directory. Precondition: the
/// address names user, host and port.
QString remoteTerminalCommand(const QUrl& remoteUrl);

/// Puts the command for the file on the clipboard, says so unless the user has switched that off, then starts
/// the user's terminal, in the directory of a local file. Does nothing for an empty address. Never
/// blocks; `alerts` must outlive the terminal. `window`: as for AlertPresenter::present. Main thread.
void handOffToTerminal(const QUrl& url, AlertPresenter& alerts, WindowId window);

} // namespace korvane
