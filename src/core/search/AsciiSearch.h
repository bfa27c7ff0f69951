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

    /// The first place of the text at `from` or later; -1 when it is absent.
    qsizetype find(QStringView line, qsizetype from = 0) const;

    const QString& text() const { return text_; }

    static bool isAscii(QStringView text);

private:
    /// One unit of the text: it matches every unit with (unit | mask) == value.
    struct Unit {
        char16_t mask = 0;
        char16_t value = 0;
        bool equals(QChar unit) const { return (unit.unicode() | mask) == value; }
    };
    Unit unitAt(qsizetype offset) const;
    bool isAt(const QChar* place) const;

    QString text_;
    Letters letters_;
    /// The two units compared first: the rarest in logs.
    qsizetype firstOffset_ = 0;
    qsizetype secondOffset_ = 0;
};

} // namespace korvane
