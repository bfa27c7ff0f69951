#pragma once

#include <QFile>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <vector>

namespace korvane::soak {

/// A log file that is appended to, cut and replaced. Knows the text of each of its current and former lines.
class ServedFile {
public:
    ServedFile(const QString& path, std::uint64_t seed) : path_(QFile::encodeName(path)), seed_(seed) {
        open();
    }

    ~ServedFile() {
        ::unlink(path_.constData()); // the next round creates its own file
        ::close(descriptor_);
    }

    ServedFile(const ServedFile&) = delete;
    ServedFile& operator=(const ServedFile&) = delete;

    void append(qint64 lines) {
        QByteArray bytes;
        for (qint64 i = 0; i < lines; ++i) {
            const QByteArray whole = line(lineCount()).toUtf8();
            bytes += std::exchange(isLineBegun_, false) ? whole.mid(whole.size() / 2) : whole;
            bytes += '\n';
            ages_.push_back(all_.size() - 1);
        }
        all_.back().end = lineCount();
        write(bytes);
    }

    /// Writes the beginning of the next line; the next append completes it.
    void beginLine() {
        if (std::exchange(isLineBegun_, true))
            return;
        const QByteArray whole = line(lineCount()).toUtf8();
        write(whole.left(whole.size() / 2));
    }

    /// Keeps the first `lines` lines. Lines appended later differ from those cut off.
    void cut(qint64 lines) {
        qint64 bytes = 0;
        for (qint64 i = 0; i < lines; ++i)
            bytes += line(i).toUtf8().size() + 1;
        EXPECT_EQ(::ftruncate(descriptor_, bytes), 0);
        ages_.resize(static_cast<std::size_t>(lines));
        all_.push_back({lines, lines});
        isLineBegun_ = false;
    }

    /// Replaces the file by another one of this number of lines.
    void replace(qint64 lines) {
        const QByteArray old = path_ + ".old";
        EXPECT_EQ(::rename(path_.constData(), old.constData()), 0);
        ::close(descriptor_);
        open();
        ages_.clear();
        all_.push_back({0, 0});
        isLineBegun_ = false;
        append(lines);
    }

    qint64 lineCount() const { return static_cast<qint64>(ages_.size()); }
    QString line(qint64 index) const {
        return text(index < lineCount() ? ages_[static_cast<std::size_t>(index)] : all_.size() - 1, index);
    }

    /// Whether the file has, or has had, this line at this index.
    bool hasHad(qint64 index, const QString& shown) const {
        bool isNumber = false;
        const auto age = static_cast<std::size_t>(shown.section(u':', 0, 0).toULongLong(&isNumber));
        return isNumber && age < all_.size() && index >= all_[age].first && index < all_[age].end &&
               shown == text(age, index);
    }

    /// Whether a current or former line at this index contains the text.
    bool hasHadPart(qint64 index, const QString& part) const {
        for (std::size_t age = 0; age < all_.size(); ++age) {
            if (index >= all_[age].first && index < all_[age].end && text(age, index).contains(part))
                return true;
        }
        return false;
    }

private:
    /// The lines written between two cuts or replacements.
    struct Age {
        qint64 first = 0;
        qint64 end = 0;
    };

    QString text(std::size_t age, qint64 index) const {
        static const QString letters = QStringLiteral("abcdefghij éß€日");
        const auto length = (seed_ + age * 5 + static_cast<std::uint64_t>(index) * 7) % 16;
        return QStringLiteral("%1:%2 ").arg(age).arg(index) + letters.left(static_cast<qsizetype>(length));
    }

    void open() {
        descriptor_ = ::open(path_.constData(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, 0644);
        EXPECT_GE(descriptor_, 0);
        EXPECT_EQ(::fchmod(descriptor_, 0644), 0); // the server runs as another user
    }

    void write(const QByteArray& bytes) const {
        EXPECT_EQ(::write(descriptor_, bytes.constData(), static_cast<std::size_t>(bytes.size())),
                  bytes.size());
    }

    const QByteArray path_;
    const std::uint64_t seed_;
    int descriptor_ = -1;
    std::vector<std::size_t> ages_; // index into `all_` of each line
    std::vector<Age> all_{{}};
    bool isLineBegun_ = false;
};

} // namespace korvane::soak
