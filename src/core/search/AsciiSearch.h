#pragma once

#include <QString>

namespace korvane {

/// Finds a text of ASCII characters, fast. An immutable value; any thread.
class AsciiSearch {
public:
    enum class Letters { Exact, IgnoreCase };

    /// Precondition: `text` is ASCII and not empty. Ignoring case, letters equal their ASCII counterpart and
    /// nothing else.
    AsciiSearch(QString text, Letters letters);

    /// Where the text begins first, from `from` on; -1 when it is not there.
    qsizetype find(QStringView line, qsizetype from = 0) const;

    const QString& text() const { return text_; }

    static bool isAscii(QStringView text);

private:
    /// A unit of the text as it is compared: (unit | mask) == value.
    struct Unit {
        char16_t mask = 0;
        char16_t value = 0;
        bool equals(QChar unit) const { return (unit.unicode() | mask) == value; }
    };
    Unit unitAt(qsizetype offset) const;
    bool isAt(const QChar* place) const;

    QString text_;
    Letters letters_;
    /// The two units looked for first: those that are rarest in logs.
    qsizetype firstOffset_ = 0;
    qsizetype secondOffset_ = 0;
};

} // namespace korvane
