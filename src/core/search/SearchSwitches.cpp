#include "core/search/SearchSwitches.h"

namespace korvane {

namespace {

bool isOfWord(QChar character) {
    return character.isLetterOrNumber() || character == u'_';
}

QString escaped(const QString& text) {
    QString pattern;
    for (const QChar character : text) {
        if (QStringLiteral("\\^$.|?*+()[]{}-&#").contains(character))
            pattern += u'\\';
        pattern += character;
    }
    return pattern;
}

} // namespace

int SearchSwitches::toNumber() const {
    return (matchesCase ? 1 : 0) + (wholeWords ? 2 : 0) + (isPattern ? 4 : 0);
}

SearchSwitches SearchSwitches::fromNumber(int number) {
    return {
        .matchesCase = (number & 1) != 0, .wholeWords = (number & 2) != 0, .isPattern = (number & 4) != 0};
}

SearchItem SearchSwitches::itemFor(const QString& text) const {
    const QString words = isPattern ? text : text.trimmed();
    SearchItem item(words);
    item.setIgnoreCase(!matchesCase);
    item.setRegex(isPattern);
    if (!wholeWords || words.isEmpty())
        return item;
    const QString boundary = QStringLiteral("\\b");
    if (isPattern) {
        item.setSearchStr(boundary + QStringLiteral("(?:") + text + QStringLiteral(")") + boundary);
        return item;
    }
    // At an end that is no part of a word there is no boundary to be found.
    item.setRegex(true);
    item.setSearchStr((isOfWord(words.front()) ? boundary : QString()) + escaped(words) +
                      (isOfWord(words.back()) ? boundary : QString()));
    return item;
}

} // namespace korvane
