#pragma once

#include <tuple>
#include <vector>

namespace korvane::test {

/// A table of cases, for a loop that names the columns.
template <typename... Columns>
using Rows = std::vector<std::tuple<Columns...>>;

} // namespace korvane::test
