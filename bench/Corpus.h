#pragma once

#include <cstdint>
#include <string>

namespace korvane::bench {

enum class Corpus {
    Plain, ///< one line each, ended by a line feed
    Mixed, ///< some lines end with CR LF, and some errors have a stack trace
};

/// Writes a file of realistic log lines, about 130 bytes each, until it has at least `bytes` bytes. The same
/// seed gives the same file. Returns whether it could be written.
bool writeCorpus(const std::string& path, std::uint64_t bytes, std::uint64_t seed, Corpus kind);

} // namespace korvane::bench
