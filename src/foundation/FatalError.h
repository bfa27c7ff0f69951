#pragma once

#include <string_view>

namespace korvane {

/// Ends the program after writing the fault to standard error and the log.
///
/// For programming errors only: a broken invariant, an overflow of a line or offset count. Nothing else in
/// the program ends it. Any thread.
[[noreturn]] void fatalError(std::string_view message);

} // namespace korvane
