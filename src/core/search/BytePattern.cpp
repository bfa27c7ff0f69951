#include "core/search/BytePattern.h"

#include "core/search/PatternTree.h"
#include "core/search/SearchItem.h"

// NOLINTNEXTLINE(cppcoreguidelines-macro-usage): the library's header requires it.
#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <algorithm>
#include <cstdint>

namespace korvane {

namespace {

/// Steps of the engine after which it leaves a line to ICU; some milliseconds.
constexpr std::uint32_t mostSteps = 1'000'000;

PCRE2_SPTR8 bytesOf(std::string_view text) {
    return reinterpret_cast<PCRE2_SPTR8>(text.data());
}

const pcre2_code_8* codeOf(const void* code) {
    return static_cast<const pcre2_code_8*>(code);
}

} // namespace

std::optional<BytePattern> BytePattern::create(const SearchItem& item) {
    if (!item.regex())
        return std::nullopt;
    const auto tree = PatternTree::parse(item.searchStr());
    if (!tree || !tree->isPlainSyntax())
        return std::nullopt;
    const std::string pattern = item.searchStr().toStdString();
    // The optimization of the start makes version 10.42 miss matches: (?:ab|a)b+b in "abb".
    int error = 0;
    PCRE2_SIZE place = 0;
    pcre2_code_8* const code =
        pcre2_compile_8(bytesOf(pattern), pattern.size(),
                        PCRE2_NEVER_UTF | PCRE2_NO_AUTO_CAPTURE | PCRE2_NO_START_OPTIMIZE |
                            (item.ignoreCase() ? PCRE2_CASELESS : 0U),
                        &error, &place, nullptr);
    if (!code)
        return std::nullopt;
    // Where there is no compiler for the machine, the pattern is interpreted.
    pcre2_jit_compile_8(code, PCRE2_JIT_COMPLETE);
    return BytePattern(std::shared_ptr<const void>(code, [code](const void*) { pcre2_code_free_8(code); }));
}

bool BytePattern::isDecidable(std::string_view line) {
    return std::ranges::none_of(line, [](char byte) {
        return static_cast<unsigned char>(byte) >= 0x80 || (byte >= '\n' && byte <= '\r');
    });
}

BytePattern::Matcher::Matcher(const BytePattern& pattern)
    : pattern_(pattern), match_(pcre2_match_data_create_8(1, nullptr), &pcre2_match_data_free_8),
      context_(pcre2_match_context_create_8(nullptr), &pcre2_match_context_free_8) {
    pcre2_set_match_limit_8(static_cast<pcre2_match_context_8*>(context_.get()), mostSteps);
}

std::optional<bool> BytePattern::Matcher::matches(std::string_view line) {
    const int result = pcre2_match_8(codeOf(pattern_.code_.get()), bytesOf(line), line.size(), 0,
                                     PCRE2_NO_UTF_CHECK, static_cast<pcre2_match_data_8*>(match_.get()),
                                     static_cast<pcre2_match_context_8*>(context_.get()));
    if (result == PCRE2_ERROR_NOMATCH)
        return false;
    return result >= 0 ? std::optional(true) : std::nullopt;
}

} // namespace korvane
