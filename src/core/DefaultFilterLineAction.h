#pragma once

namespace korvane {

/// What happens to lines that no rule claims.
enum class DefaultFilterLineAction : unsigned char { show = 0, hide = 1 };

} // namespace korvane
