#pragma once

#include "foundation/notices/Alerts.h"

#include <cstdint>

namespace korvane {

/// A server was not reached, or did not let the user in. `reason`: on a line of its own; may be empty. Any
/// thread.
Alert connectionFailureAlert(const QString& host, std::uint16_t port, const QString& reason);

} // namespace korvane
