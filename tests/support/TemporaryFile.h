#pragma once

#include "foundation/FilePath.h"

#include <QByteArray>
#include <QDir>
#include <QTemporaryDir>
#include <QUrl>

#include <cstdio>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace korvane::test {

/// A file in its own directory, deleted with the object.
class TemporaryFile {
public:
    explicit TemporaryFile(const QByteArray& content, const QByteArray& name = "test.log")
        : path_(directory() + '/' + name) {
        write(path_, content, "wb");
    }

    // QTemporaryDir does not remove names that are not valid text.
    ~TemporaryFile() { ::unlink(path_.constData()); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const QByteArray& path() const { return path_; }
    QUrl url() const { return fileUrlFromPath(path_); }
    QByteArray directory() const { return directory_.path().toLocal8Bit(); }

    void append(const QByteArray& bytes) const { write(path_, bytes, "ab"); }
    /// Same inode, other content. Polling the size never finds an empty file.
    void overwrite(const QByteArray& bytes) const {
        write(path_, bytes, "r+b");
        truncate(bytes.size());
    }
    void truncate(qint64 size) const { ASSERT_EQ(::truncate(path_.constData(), size), 0); }
    void remove() const { ASSERT_EQ(::unlink(path_.constData()), 0); }
    void setMode(mode_t mode) const { ASSERT_EQ(::chmod(path_.constData(), mode), 0); }
    /// Another file takes its place.
    void replace(const QByteArray& content) const { replace(TemporaryFile(content)); }
    void replace(const TemporaryFile& other) const { rename(other.path_, path_); }
    /// To the name that a rotation gives it, and back.
    void moveAway() const { rename(path_, path_ + ".1"); }
    void moveBack() const { rename(path_ + ".1", path_); }
    void appendToMoved(const QByteArray& bytes) const { write(path_ + ".1", bytes, "ab"); }

private:
    static void rename(const QByteArray& from, const QByteArray& to) {
        ASSERT_EQ(::rename(from.constData(), to.constData()), 0);
    }
    static void write(const QByteArray& path, const QByteArray& bytes, const char* mode) {
        std::FILE* file = std::fopen(path.constData(), mode);
        ASSERT_NE(file, nullptr) << path.constData();
        ASSERT_EQ(std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), file),
                  static_cast<std::size_t>(bytes.size()));
        std::fclose(file);
    }

    QTemporaryDir directory_;
    QByteArray path_;
};

} // namespace korvane::test
