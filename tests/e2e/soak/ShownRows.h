#pragma once

#include <QStringList>

#include <optional>
#include <random>
#include <string>
#include <vector>

namespace korvane {
class MainWindowController;
}

namespace korvane::soak {

/// The lines of a file's content as text, split at every newline, without an incomplete character at the end.
QStringList linesOf(const std::string& content);

/// Compares what a page shows with the lines that its file holds. Main thread.
class ShownRows {
public:
    ShownRows(MainWindowController& page, QStringList lines, std::uint64_t seed);

    /// Describes the first difference; nullopt if window and file agree. Checks what is painted, then the
    /// rows on the screen, then every row there is: in this order the checks load no rows in place of the
    /// window.
    std::optional<std::string> difference();

    qint64 lineCount() const { return lines_.size(); }

private:
    // These throw a Fault.
    void compare();
    void compareText(const char* where, qint64 row, const QString& shown) const;
    void comparePainting() const;
    void compareInTable(qint64 row) const;
    void compareInSource(qint64 row) const;
    std::vector<qint64> sampledRows();

    MainWindowController& page_;
    const QStringList lines_;
    std::mt19937_64 random_;
    /// The row with the last difference: compared first.
    qint64 suspect_ = 0;
};

} // namespace korvane::soak
