#pragma once

namespace korvane {

/// Who requested a login. The program starts none after one that was refused or left unanswered, retries an
/// unreachable server at growing intervals, and never asks the user anything.
enum class LoginAsked { ByProgram, ByUser };

} // namespace korvane
