#pragma once

#include "remote/ssh/SessionSettings.h"

namespace korvane {

class RemoteHost;

/// The settings for sessions with the host, from the preferences and the host. Main thread.
SessionSettings userSessionSettings(const RemoteHost& host);

} // namespace korvane
