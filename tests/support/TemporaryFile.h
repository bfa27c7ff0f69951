#pragma once

#include "foundation/FilePath.h"

#include <QByteArray>
#include <QDir>
#include <QTemporaryDir>
#include <QUrl>

#include <cstdio>
#include <gtest/gtest.h>
#include <unistd.h>

namespace korvane::test {

/// A file in its own directory, deleted with the object.
class TemporaryFile {
public:
    explicit TemporaryFile(const QByteArray& content, const QByteArray& name = "test.log")
        : path_(directory_.path().toLocal8Bit() + '/' + name) {
        write(content, "wb");
    }

    // QTemporaryDir does not remove names that are not valid text.
    ~TemporaryFile() { ::unlink(path_.constData()); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const QByteArray& path() const { return path_; }
    QUrl url() const { return fileUrlFromPath(path_); }

    void append(const QByteArray& bytes) const { write(bytes, "ab"); }
    /// Same inode, other content. Polling the size never finds an empty file.
    void overwrite(const QByteArray& bytes) const {
        write(bytes, "r+b");
        truncate(bytes.size());
    }
    void truncate(qint64 size) const { ASSERT_EQ(::truncate(path_.constData(), size), 0); }

private:
    void write(const QByteArray& bytes, const char* mode) const {
        std::FILE* file = std::fopen(path_.constData(), mode);
        ASSERT_NE(file, nullptr) << path_.constData();
        ASSERT_EQ(std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), file),
                  static_cast<std::size_t>(bytes.size()));
        std::fclose(file);
    }

    QTemporaryDir directory_;
    QByteArray path_;
};

} // namespace korvane::test
