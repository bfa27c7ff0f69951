#pragma once

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <vector>

namespace korvane::soak {

/// A log file that is appended to, cut and replaced. Knows the text of each of its current and former lines.
class ServedFile {
public:
    ServedFile(const QString& path, std::uint64_t seed);
    ~ServedFile();
    ServedFile(const ServedFile&) = delete;
    ServedFile& operator=(const ServedFile&) = delete;

    void append(qint64 lines);
    /// Writes the beginning of the next line; the next append completes it.
    void beginLine();
    /// Keeps the first `lines` lines. Lines appended later differ from those cut off.
    void cut(qint64 lines);
    /// Replaces the file by another one of this number of lines.
    void replace(qint64 lines);

    qint64 lineCount() const { return static_cast<qint64>(ages_.size()); }
    std::uint64_t size() const;
    QString line(qint64 index) const;
    /// Whether the file has, or has had, this line at this index.
    bool hasHad(qint64 index, const QString& text) const;
    /// Whether a current or former line at this index contains the text.
    bool hasHadPart(qint64 index, const QString& part) const;

private:
    /// The lines written between two cuts or replacements.
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
    std::vector<std::size_t> ages_; // index into `all_` of each line
    std::vector<Age> all_{{}};
    bool isLineBegun_ = false;
};

} // namespace korvane::soak
