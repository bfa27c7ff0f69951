#pragma once

namespace korvane::bench {

/// Loads the file's first page with the four default rules and without rules, by turns. Prints "milliseconds
/// milliseconds lines" (medians).
int rulesPage(const char* path);
/// Runs twenty rules over the file's first page, and their patterns one after the other through the search
/// engines, by turns. Prints "milliseconds milliseconds matches matches".
int rulesEngines(const char* path);
/// Loads the file's first page with `count` rules that are endless on nearly every line, as often as it takes
/// to see the first time and the times after. Prints "milliseconds milliseconds lines given-up": the first
/// and the longest of the others.
int rulesSlow(const char* path, int count);

} // namespace korvane::bench
