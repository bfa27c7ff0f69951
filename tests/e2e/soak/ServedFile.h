#pragma once

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <vector>

namespace korvane::soak {

/// A log file that is appended to, cut and replaced, and which knows the text of each of its lines: those
/// that are there now, and all that have ever been.
class ServedFile {
public:
    ServedFile(const QString& path, std::uint64_t seed);
    ~ServedFile();
    ServedFile(const ServedFile&) = delete;
    ServedFile& operator=(const ServedFile&) = delete;

    void append(qint64 lines);
    /// The next line is begun, and ended by what is appended next.
    void beginLine();
    /// Keeps so many lines. Those that follow differ from those that were there.
    void cut(qint64 lines);
    /// Another file of so many lines takes its place.
    void replace(qint64 lines);

    qint64 lineCount() const { return static_cast<qint64>(ages_.size()); }
    std::uint64_t size() const;
    QString line(qint64 index) const;
    /// Whether the file has, or has had, this line at this place.
    bool hasHad(qint64 index, const QString& text) const;
    /// Whether one of its lines at this place has had the text in it.
    bool hasHadPart(qint64 index, const QString& part) const;

private:
    /// The lines that were written between two cuts or replacements.
    struct Age {
        qint64 first = 0;
        qint64 end = 0;
    };

    QString text(std::size_t age, qint64 index) const;
    void open();
    void write(const QByteArray& bytes) const;

    const QByteArray path_;
    const std::uint64_t seed_;
    int descriptor_ = -1;
    std::vector<std::size_t> ages_; // of each line
    std::vector<Age> all_{{}};
    bool isLineBegun_ = false;
};

} // namespace korvane::soak
