#include "core/search/RequiredText.h"

#include <QStringView>

namespace korvane {
namespace {

/// Walks over a pattern once. Knows the common part of the syntax and gives up on the rest.
class PatternReader {
public:
    explicit PatternReader(QStringView pattern) : rest_(pattern) {}

    std::optional<QStringList> read() {
        while (!rest_.isEmpty()) {
            if (!readPiece())
                return std::nullopt;
        }
        if (!endAlternative())
            return std::nullopt;
        return texts_;
    }

private:
    bool readPiece() {
        const QChar next = take();
        switch (next.unicode()) {
        case u'\\':
            return readEscape();
        case u'[':
            endRun();
            return skipSet();
        case u'(':
            endRun();
            return skipGroup();
        case u'|':
            return endAlternative();
        case u'.':
        case u'^':
        case u'$':
            endRun();
            return true;
        case u'?':
        case u'*':
            dropLast();
            return true;
        case u'+':
            endRun();
            return true;
        case u'{':
            dropLast();
            return skipUntil(u'}');
        case u')':
        case u']':
        case u'}':
            return false;
        default:
            add(next);
            return true;
        }
    }

    bool readEscape() {
        if (rest_.isEmpty())
            return false;
        const QChar escaped = take();
        if (QStringView(u"dDwWsSbBAzZhHvVtnrfae").contains(escaped)) {
            endRun();
            return true;
        }
        if (escaped.unicode() >= 0x80 || escaped.isLetterOrNumber())
            return false;
        add(escaped);
        return true;
    }

    /// Precondition: the set's opening bracket has been read.
    bool skipSet() {
        if (rest_.startsWith(u'^'))
            take();
        if (rest_.startsWith(u']'))
            return false;
        while (!rest_.isEmpty()) {
            const QChar next = take();
            if (next == u']')
                return true;
            if (next == u'[' || (next == u'\\' && !skipEscaped()))
                return false;
        }
        return false;
    }

    /// Precondition: the group's opening bracket has been read. Its content is ignored.
    bool skipGroup() {
        for (int depth = 1; depth > 0;) {
            if (rest_.startsWith(u'?') && !startsHarmlessGroup())
                return false;
            for (bool opened = false; !opened && depth > 0;) {
                if (rest_.isEmpty())
                    return false;
                const QChar next = take();
                opened = next == u'(';
                depth += opened ? 1 : next == u')' ? -1 : 0;
                if ((next == u'[' && !skipSet()) || (next == u'\\' && !skipEscaped()))
                    return false;
            }
        }
        return true;
    }

    /// Groups that change how the rest is read, and comments, are not harmless.
    bool startsHarmlessGroup() const {
        return rest_.size() > 1 && QStringView(u":=!>").contains(rest_.at(1))
                   ? true
                   : rest_.startsWith(u"?<=") || rest_.startsWith(u"?<!");
    }

    bool skipEscaped() { return !rest_.isEmpty() && take() != u'Q'; }

    bool skipUntil(QChar end) {
        while (!rest_.isEmpty())
            if (take() == end)
                return true;
        return false;
    }

    void add(QChar literal) {
        // Letters beyond ASCII have case variants of other lengths.
        if (literal.unicode() < 0x80)
            run_ += literal;
        else
            endRun();
    }

    /// The last literal is optional.
    void dropLast() {
        run_.chop(1);
        endRun();
    }

    void endRun() {
        if (run_.size() > best_.size())
            best_ = run_;
        run_.clear();
    }

    bool endAlternative() {
        endRun();
        if (best_.isEmpty())
            return false;
        texts_ += best_;
        best_.clear();
        return true;
    }

    QChar take() {
        const QChar first = rest_.front();
        rest_ = rest_.sliced(1);
        return first;
    }

    QStringView rest_;
    QString run_;
    /// The longest run of the alternative.
    QString best_;
    QStringList texts_;
};

} // namespace

std::optional<QStringList> requiredTexts(const QString& pattern) {
    return PatternReader(pattern).read();
}

} // namespace korvane
