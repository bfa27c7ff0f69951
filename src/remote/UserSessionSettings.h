#pragma once

#include "remote/ssh/SessionSettings.h"

namespace korvane {

class RemoteHost;

/// How sessions with the host go about their connection, by what the user has chosen in the preferences and
/// for the host. Main thread.
SessionSettings userSessionSettings(const RemoteHost& host);

} // namespace korvane
