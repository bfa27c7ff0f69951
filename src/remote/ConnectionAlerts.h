#pragma once

#include "foundation/notices/Alerts.h"

#include <cstdint>

namespace korvane {

/// The alert for a server that could not be reached or refused the login. `reason`: shown on a line of its
/// own; may be empty. Any thread.
Alert connectionFailureAlert(const QString& host, std::uint16_t port, const QString& reason);

} // namespace korvane
