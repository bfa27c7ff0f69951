#pragma once

namespace korvane {

/// Who wants a login. The program makes none after one that was refused or left unanswered, waits longer and
/// longer before it tries a server again that was not reached, and has the user asked nothing.
enum class LoginAsked { ByProgram, ByUser };

} // namespace korvane
