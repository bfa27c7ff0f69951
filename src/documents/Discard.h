#pragma once

#include <memory>

namespace korvane {

/// Releases a big object on a worker, because freeing millions of rows or index entries takes a noticeable
/// time. Any thread; returns at once.
void discardInBackground(std::shared_ptr<const void> garbage);

} // namespace korvane
