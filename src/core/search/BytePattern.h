#pragma once

#include <memory>
#include <optional>
#include <string_view>

namespace korvane {

class SearchItem;

/// A regular expression over the bytes of lines, much faster than `SearchItem` and with the same verdict
/// where it gives one. Made with PCRE2 and its compiler to machine code. An immutable value; any thread.
class BytePattern {
public:
    /// Nullopt unless the pattern is of the syntax that both engines understand alike.
    static std::optional<BytePattern> create(const SearchItem& item);

    /// The bytes that a line must consist of: ASCII, but no line terminators of other kinds.
    static bool isDecidable(std::string_view line);

    /// The state of one thread.
    class Matcher {
    public:
        /// The pattern must outlive the matcher.
        explicit Matcher(const BytePattern& pattern);
        /// Whether the line has a match; nullopt when that takes too many steps. Precondition: the line is
        /// decidable.
        std::optional<bool> matches(std::string_view line);

    private:
        const BytePattern& pattern_;
        std::shared_ptr<void> match_;
        std::shared_ptr<void> context_;
    };

private:
    explicit BytePattern(std::shared_ptr<const void> code) : code_(std::move(code)) {}
    std::shared_ptr<const void> code_;
};

} // namespace korvane
