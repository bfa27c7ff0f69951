#pragma once

#include "foundation/Alerts.h"

namespace korvane {

class RemoteHost;

/// A server was not reached, or did not let the user in.
Alert connectionFailureAlert(const RemoteHost& host);

} // namespace korvane
