#include "core/search/AsciiFolding.h"

#include <algorithm>
#include <array>

namespace korvane {

namespace {

/// Of the full case folding of Unicode, ascending.
constexpr std::array<AsciiFolding, 19> foldings{{{u'\u00DF', u"ss"},
                                                 {u'\u0130', u"i\u0307"},
                                                 {u'\u0149', u"\u02BCn"},
                                                 {u'\u017F', u"s"},
                                                 {u'\u01F0', u"j\u030C"},
                                                 {u'\u1E96', u"h\u0331"},
                                                 {u'\u1E97', u"t\u0308"},
                                                 {u'\u1E98', u"w\u030A"},
                                                 {u'\u1E99', u"y\u030A"},
                                                 {u'\u1E9A', u"a\u02BE"},
                                                 {u'\u1E9E', u"ss"},
                                                 {u'\u212A', u"k"},
                                                 {u'\uFB00', u"ff"},
                                                 {u'\uFB01', u"fi"},
                                                 {u'\uFB02', u"fl"},
                                                 {u'\uFB03', u"ffi"},
                                                 {u'\uFB04', u"ffl"},
                                                 {u'\uFB05', u"st"},
                                                 {u'\uFB06', u"st"}}};

} // namespace

std::span<const AsciiFolding> AsciiFolding::all() {
    return foldings;
}

bool AsciiFolding::contains(char16_t character) {
    return std::ranges::binary_search(foldings, character, {}, &AsciiFolding::character);
}

} // namespace korvane
