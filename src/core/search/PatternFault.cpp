#include "core/search/PatternFault.h"

#include <QCoreApplication>

#include <unicode/uregex.h>

namespace korvane {
namespace {

QString translated(const char* text) {
    return QCoreApplication::translate("PatternFault", text);
}

QString reasonOf(UErrorCode code) {
    switch (code) {
    case U_REGEX_MISMATCHED_PAREN:
        return translated("a parenthesis has no partner");
    case U_REGEX_MISSING_CLOSE_BRACKET:
        return translated("a “]” is missing");
    case U_REGEX_BAD_ESCAPE_SEQUENCE:
        return translated("a backslash sequence is unknown");
    case U_REGEX_BAD_INTERVAL:
    case U_REGEX_MAX_LT_MIN:
    case U_REGEX_NUMBER_TOO_BIG:
        return translated("a repetition in braces is wrong");
    case U_REGEX_LOOK_BEHIND_LIMIT:
        return translated("a look-behind has no limited length");
    case U_REGEX_INVALID_BACK_REF:
        return translated("a back reference names no group");
    case U_REGEX_INVALID_RANGE:
        return translated("a range in brackets runs backwards");
    case U_REGEX_RULE_SYNTAX:
        return translated("the syntax is wrong");
    default:
        return QString::fromLatin1(u_errorName(code));
    }
}

} // namespace

std::optional<QString> patternFault(const QString& pattern) {
    if (pattern.isEmpty())
        return std::nullopt;
    UErrorCode status = U_ZERO_ERROR;
    UParseError place{};
    URegularExpression* expression = uregex_open(reinterpret_cast<const UChar*>(pattern.utf16()),
                                                 static_cast<int32_t>(pattern.size()), 0, &place, &status);
    uregex_close(expression);
    if (U_SUCCESS(status))
        return std::nullopt;
    if (place.offset <= 0)
        return reasonOf(status);
    return translated("%1, near character %2").arg(reasonOf(status)).arg(place.offset);
}

} // namespace korvane
