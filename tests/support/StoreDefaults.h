#pragma once

#include "foundation/archive/StoreFile.h"
#include "foundation/archive/UserDefaults.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace korvane::test {

/// A separate directory for a store's files.
class StoreTest : public ::testing::Test {
protected:
    QString directory() const { return directory_.path(); }
    QString path(const QString& name) const { return directory_.filePath(name); }
    /// Names of all files, sorted.
    QStringList names() const { return QDir(directory()).entryList(QDir::Files | QDir::Hidden); }
    QByteArray content(const QString& name) const {
        return readStoreFile(path(name)).value().value_or(QByteArray("(none)"));
    }
    void write(const QString& name, const QByteArray& bytes) const {
        ASSERT_TRUE(writeStoreFile(path(name), bytes));
    }
    /// A directory cannot be replaced by a file, so writing fails, even for root.
    void blockWriting(const QString& name) const {
        QFile::remove(path(name));
        ASSERT_TRUE(QDir(directory()).mkpath(name + QStringLiteral("/taken")));
    }

private:
    QTemporaryDir directory_;
};

/// A store that also keeps something in the settings, whose file is elsewhere.
class StoreDefaultsTest : public StoreTest {
protected:
    UserDefaults& defaults() { return defaults_; }
    /// The settings that the next start of the program will read. Settings of one file share their state
    /// within a process, so a copy of the file is read.
    UserDefaults defaultsOnDisk() const {
        const QString copy = settings_.filePath(QStringLiteral("copy-%1.ini").arg(++copies_));
        EXPECT_TRUE(QFile::copy(settings_.filePath(QStringLiteral("s.ini")), copy));
        return UserDefaults(copy);
    }

private:
    QTemporaryDir settings_;
    mutable int copies_ = 0;
    UserDefaults defaults_{settings_.filePath(QStringLiteral("s.ini"))};
};

} // namespace korvane::test
