#include "core/search/PatternFault.h"

#include <QCoreApplication>

#include <unicode/uregex.h>

namespace korvane {
namespace {

struct FaultTexts {
    Q_DECLARE_TR_FUNCTIONS(PatternFault)
};

QString reasonOf(UErrorCode code) {
    switch (code) {
    case U_REGEX_MISMATCHED_PAREN:
        return FaultTexts::tr("a parenthesis has no partner");
    case U_REGEX_MISSING_CLOSE_BRACKET:
        return FaultTexts::tr("a “]” is missing");
    case U_REGEX_BAD_ESCAPE_SEQUENCE:
        return FaultTexts::tr("a backslash sequence is unknown");
    case U_REGEX_BAD_INTERVAL:
    case U_REGEX_MAX_LT_MIN:
    case U_REGEX_NUMBER_TOO_BIG:
        return FaultTexts::tr("a repetition in braces is wrong");
    case U_REGEX_LOOK_BEHIND_LIMIT:
        return FaultTexts::tr("a look-behind has no limited length");
    case U_REGEX_INVALID_BACK_REF:
        return FaultTexts::tr("a back reference names no group");
    case U_REGEX_INVALID_RANGE:
        return FaultTexts::tr("a range in brackets runs backwards");
    case U_REGEX_RULE_SYNTAX:
        return FaultTexts::tr("the syntax is wrong");
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
    return FaultTexts::tr("%1, near character %2").arg(reasonOf(status)).arg(place.offset);
}

} // namespace korvane
