#pragma once

namespace korvane::bench {

/// Loads the file's first page alternately with the four default rules and without rules. Prints
/// "milliseconds milliseconds lines" (medians).
int rulesPage(const char* path);
/// Evaluates twenty rules over the file's first page, alternating with the search engines alone, which run
/// the same patterns one after another. Prints "milliseconds milliseconds matches matches".
int rulesEngines(const char* path);
/// Loads the file's first page several times with `count` rules that backtrack catastrophically on nearly
/// every line. Prints "milliseconds milliseconds lines given-up": of the first load, of the slowest later
/// load, the lines of the page, and how often a rule gave up on a line.
int rulesSlow(const char* path, int count);

} // namespace korvane::bench
