#include "foundation/archive/StoreDirectory.h"
#include "support/StandIns.h"
#include "support/StoreDefaults.h"

namespace korvane {
namespace {

using namespace Qt::StringLiterals;

class StoreFileTest : public test::StoreTest {
protected:
    static mode_t mode(const QString& path) {
        struct stat status {};
        EXPECT_EQ(::stat(QFile::encodeName(path).constData(), &status), 0);
        return status.st_mode & 07777;
    }
};

TEST_F(StoreFileTest, OnlyTheUserMayReadWhatIsWritten) {
    const QString file = path(u"new/deeper/s.data"_s);
    EXPECT_FALSE(readStoreFile(file).value());
    ASSERT_TRUE(writeStoreFile(file, "one"));
    EXPECT_EQ(mode(file), 0600u);
    EXPECT_EQ(mode(path(u"new"_s)), 0700u);
    EXPECT_EQ(mode(path(u"new/deeper"_s)), 0700u);

    // A file that others could read becomes private.
    ASSERT_TRUE(QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther));
    ASSERT_TRUE(writeStoreFile(file, "two"));
    EXPECT_EQ(mode(file), 0600u);
    EXPECT_EQ(content(u"new/deeper/s.data"_s), "two");
    EXPECT_EQ(QDir(path(u"new/deeper"_s)).entryList(QDir::Files | QDir::Hidden), QStringList(u"s.data"_s));
}

TEST_F(StoreFileTest, ReplacingLeavesTheOldFileWholeForItsReaders) {
    const QString file = path(u"s.data"_s);
    ASSERT_TRUE(writeStoreFile(file, "old content"));
    QFile reader(file);
    ASSERT_TRUE(reader.open(QFile::ReadOnly));
    ASSERT_TRUE(writeStoreFile(file, "new"));
    EXPECT_EQ(reader.readAll(), "old content");
    EXPECT_EQ(content(u"s.data"_s), "new");
}

TEST_F(StoreFileTest, LinkStaysALink) {
    ASSERT_TRUE(writeStoreFile(path(u"elsewhere/s.data"_s), "old"));
    ASSERT_TRUE(QFile::link(path(u"elsewhere/s.data"_s), path(u"s.data"_s)));
    ASSERT_TRUE(writeStoreFile(path(u"s.data"_s), "new"));
    EXPECT_TRUE(QFileInfo(path(u"s.data"_s)).isSymLink());
    EXPECT_EQ(content(u"elsewhere/s.data"_s), "new");
}

TEST_F(StoreFileTest, WhatCannotBeWrittenOrReadIsAnErrorThatNamesTheFile) {
    ASSERT_TRUE(writeStoreFile(path(u"file"_s), "x"));
    const Status below = writeStoreFile(path(u"file/s.data"_s), "y");
    ASSERT_FALSE(below);
    EXPECT_TRUE(below.error().userText.contains(path(u"file/s.data"_s)));
    EXPECT_EQ(content(u"file"_s), "x");

    blockWriting(u"s.data"_s);
    const auto read = readStoreFile(path(u"s.data"_s));
    ASSERT_FALSE(read);
    EXPECT_TRUE(read.error().userText.contains(path(u"s.data"_s)));
}

TEST_F(StoreFileTest, NoNameIsEverTakenFromAnotherFile) {
    const QString file = path(u"s.data"_s);
    EXPECT_TRUE(keepCopy(file)); // there is nothing to keep
    EXPECT_FALSE(setAside(file));
    EXPECT_EQ(names(), QStringList());
    for (const char* each : {"1", "2", "3"}) {
        ASSERT_TRUE(writeStoreFile(file, each));
        ASSERT_TRUE(keepCopy(file));
        ASSERT_TRUE(setAside(file));
    }
    EXPECT_EQ(names(), QStringList({u"s.data.damaged-1"_s, u"s.data.damaged-2"_s, u"s.data.damaged-3"_s,
                                    u"s.data.kept"_s, u"s.data.kept-1"_s, u"s.data.kept-2"_s}));
    EXPECT_EQ(content(u"s.data.damaged-1"_s), "1");
    EXPECT_EQ(content(u"s.data.damaged-3"_s), "3");
    EXPECT_EQ(content(u"s.data.kept"_s), "1");
    EXPECT_EQ(content(u"s.data.kept-2"_s), "3");
    EXPECT_EQ(mode(path(u"s.data.kept"_s)), 0600u);
}

TEST_F(StoreFileTest, StoresLieInTheUsersDataDirectory) {
    test::ScopedVariable dataHome("XDG_DATA_HOME", "/data/home");
    EXPECT_EQ(storeDirectory(), u"/data/home/korvane"_s);
    for (const char* unset : {"", "relative/data"}) {
        dataHome.set(unset);
        EXPECT_EQ(storeDirectory(), QDir::homePath() + u"/.local/share/korvane"_s);
    }
}

} // namespace
} // namespace korvane
