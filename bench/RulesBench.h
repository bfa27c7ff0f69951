#pragma once

namespace korvane::bench {

/// Loads the file's first page with the four default rules and without rules, by turns. Prints "milliseconds
/// milliseconds lines" (medians).
int rulesPage(const char* path);
/// Runs twenty rules over the file's first page, and their patterns one after the other through the search
/// engines, by turns. Prints "milliseconds milliseconds matches matches".
int rulesEngines(const char* path);

} // namespace korvane::bench
