#include "ui/logtable/LineWords.h"

#include <algorithm>

namespace korvane {
namespace {

constexpr QStringView joinsCompounds = u"-.:/@";
constexpr QStringView endsSentences = u".:";

bool isWordUnit(QChar unit, WordKind kind) {
    return unit.isLetterOrNumber() || unit == u'_' || unit.isMark() || unit.isSurrogate() ||
           (kind == WordKind::Compound && joinsCompounds.contains(unit));
}

} // namespace

TextRange wordAround(const QString& text, int position, WordKind kind) {
    const auto length = static_cast<int>(text.size());
    if (length == 0)
        return {};
    const int at = std::clamp(position, 0, length - 1);
    const bool isWord = isWordUnit(text[at], kind);
    const auto isSame = [&](QChar unit) { return isWord ? isWordUnit(unit, kind) : unit == text[at]; };
    int start = at;
    while (start > 0 && isSame(text[start - 1]))
        --start;
    int end = at + 1;
    while (end < length && isSame(text[end]))
        ++end;
    if (kind == WordKind::Compound && isWord) {
        while (end > at + 1 && endsSentences.contains(text[end - 1]))
            --end;
    }
    return {start, end - start};
}

bool isCharacterBorder(const QString& text, int position) {
    if (position <= 0 || position >= text.size())
        return true;
    const QChar unit = text[position];
    return !unit.isLowSurrogate() && !unit.isMark() && unit.unicode() != 0x200D &&
           text[position - 1].unicode() != 0x200D;
}

int nextCharacter(const QString& text, int position, int direction) {
    const auto length = static_cast<int>(text.size());
    int next = std::clamp(position + direction, 0, length);
    while (!isCharacterBorder(text, next))
        next += direction;
    return next;
}

int nextWord(const QString& text, int position, int direction) {
    const auto length = static_cast<int>(text.size());
    const auto isInWord = [&](int unit) { return isWordUnit(text[unit], WordKind::Word); };
    int next = std::clamp(position, 0, length);
    if (direction > 0) {
        while (next < length && isInWord(next))
            ++next;
        while (next < length && !isInWord(next))
            ++next;
        return next;
    }
    while (next > 0 && !isInWord(next - 1))
        --next;
    while (next > 0 && isInWord(next - 1))
        --next;
    return next;
}

} // namespace korvane
