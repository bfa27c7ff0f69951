#pragma once

#include "foundation/notices/Alerts.h"

#include <cstdint>

namespace korvane {

/// A server was not reached, or did not let the user in. Any thread.
Alert connectionFailureAlert(const QString& host, std::uint16_t port);

} // namespace korvane
