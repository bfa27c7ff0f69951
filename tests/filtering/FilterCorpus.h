#pragma once

#include "core/search/SearchCorpus.h"
#include "filtering/ShownLines.h"

#include <QByteArray>

#include <vector>

namespace korvane::test {

/// Random files and rules that match some of their lines.
class FilterCorpus {
public:
    std::size_t below(std::size_t count) { return random_.below(count); }

    /// Lines with ends of every kind, some of them long. The last one may be unfinished.
    QByteArray lines(std::size_t count) {
        constexpr const char16_t* words[] = {u"INFO ",    u"error ", u"Grüße ", u"took=12ms ",
                                             u"id 4711 ", u"\t",     u"ſ",      u"a"};
        QByteArray lines;
        for (; count > 0; --count) {
            QString line;
            for (std::size_t i = below(8); i > 0; --i)
                line += random_.oneOf(words);
            if (below(400) == 0)
                line += QString(static_cast<qsizetype>(below(600'000)), u'x') + QStringLiteral(" error");
            lines += line.toUtf8() + (below(5) == 0 ? "\r\n" : "\n");
        }
        lines.chop(static_cast<qsizetype>(below(3)));
        return lines;
    }

    SearchItem item() {
        constexpr const char16_t* texts[] = {u"error", u"ERROR", u"grüße", u"s", u"id 4711 \t", u"absent"};
        constexpr const char16_t* patterns[] = {u"größe|GRÜSSE",   u"took=\\d+ms$", u"^\\s*$",
                                                u"[0-9]{4} error", u"error.*info",  u"(?<=a)error"};
        const bool isRegex = below(2) == 0;
        return searchItem(isRegex ? random_.oneOf(patterns) : random_.oneOf(texts), isRegex, below(3) > 0);
    }

    ShownLines::Rules rules() {
        ShownLines::Rules made{{}, below(2) == 0};
        for (std::size_t i = below(4); i > 0; --i)
            made.rules.push_back({item(), below(3) == 0});
        return made;
    }

private:
    SearchCorpus random_;
};

} // namespace korvane::test
