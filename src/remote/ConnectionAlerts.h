#pragma once

#include "foundation/Result.h"
#include "foundation/notices/Alerts.h"
#include <QString>
#include <QStringList>

#include <cstdint>

namespace korvane {

/// The alert for a server that could not be reached or refused the login. `reason`: shown on a line of its
/// own; may be empty. Any thread.
Alert connectionFailureAlert(const QString& host, std::uint16_t port, const QString& reason);

/// The alert for a connection that was lost while these files were open by it. Any thread.
Alert connectionLossAlert(const QString& host, std::uint16_t port, const QString& reason, QStringList files);

/// The error of a refused or failed login, with advice for the user. An empty `username` is not named. Any
/// thread.
Error withLoginAdvice(Error error, const QString& host, std::uint16_t port, const QString& username);

} // namespace korvane
