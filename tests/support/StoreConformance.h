#pragma once

#include "foundation/archive/KeyedArchiver.h"
#include "support/ArchiveEditor.h"
#include "support/StoreDefaults.h"
#include "support/WithoutRootsRights.h"

#include <sys/stat.h>

namespace korvane::test {

/// Tests of a store in one file. A Case has
///   using Store;
///   static QString file();
///   static Result<std::unique_ptr<Store>> load(const QString& directory, UserDefaults&);
///   static void add(Store&, const QString& name);
///   static QStringList contents(const Store&);     // the names added, and the content of a new store
template <typename Case>
class StoreConformance : public StoreDefaultsTest {
protected:
    using Store = typename Case::Store;

    const QString file_ = Case::file();

    Result<std::unique_ptr<Store>> tryLoad() { return Case::load(directory(), defaults()); }
    std::unique_ptr<Store> load() {
        auto store = tryLoad();
        EXPECT_TRUE(store) << (store ? "" : store.error().userText.toStdString());
        return std::move(store).value();
    }
    QStringList saved() { return Case::contents(*load()); }
    bool namesFile(const QString& text) const { return text.contains(path(file_)); }
    /// Writes a valid file with one record; returns the store's content.
    QStringList writeOne() {
        const auto store = load();
        Case::add(*store, QStringLiteral("one"));
        return Case::contents(*store);
    }
};

TYPED_TEST_SUITE_P(StoreConformance);

TYPED_TEST_P(StoreConformance, EveryChangeIsSavedWholeForTheUserAlone) {
    const auto store = this->load();
    EXPECT_EQ(this->names(), QStringList()) << "a first start writes nothing";
    EXPECT_EQ(store->fault(), QString());
    QStringList expected = TypeParam::contents(*store);
    const mode_t before = ::umask(0);
    for (const QString& name : {QStringLiteral("one"), QStringLiteral("größe")}) {
        TypeParam::add(*store, name);
        expected.append(name);
        EXPECT_EQ(this->saved(), expected);
        EXPECT_EQ(this->names(), QStringList(this->file_));
    }
    ::umask(before);
    struct stat status {};
    ASSERT_EQ(::stat(QFile::encodeName(this->path(this->file_)).constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
}

TYPED_TEST_P(StoreConformance, AFailedWriteIsReportedAndTheNextOneForgetsIt) {
    const auto store = this->load();
    this->blockWriting(this->file_);
    const QStringList before = TypeParam::contents(*store);
    TypeParam::add(*store, QStringLiteral("one"));
    EXPECT_TRUE(this->namesFile(store->fault())) << store->fault().toStdString();
    EXPECT_EQ(TypeParam::contents(*store), before + QStringList(QStringLiteral("one")));
    EXPECT_EQ(this->names(), QStringList());
    EXPECT_FALSE(this->tryLoad()) << "a directory is no file of a store";

    QDir(this->path(this->file_)).removeRecursively();
    TypeParam::add(*store, QStringLiteral("two"));
    EXPECT_EQ(store->fault(), QString());
    EXPECT_EQ(this->saved(), TypeParam::contents(*store));
}

TYPED_TEST_P(StoreConformance, AFileThatDoesNotDecodeIsNamedAndLeftAsItIs) {
    this->writeOne();
    const QByteArray sound = this->content(this->file_);
    KeyedArchiver archiver;
    for (const QByteArray& damaged : {QByteArray(), QByteArray("garbage"), sound.chopped(1),
                                      ArchiveEditor(sound).setVersion(100001).archive(),
                                      archiver.archivedData(archiver.add(QStringLiteral("text")))}) {
        this->write(this->file_, damaged);
        const auto store = this->tryLoad();
        ASSERT_FALSE(store);
        EXPECT_TRUE(this->namesFile(store.error().userText)) << store.error().userText.toStdString();
        EXPECT_EQ(this->content(this->file_), damaged);
        EXPECT_EQ(this->names(), QStringList(this->file_));
    }
}

TYPED_TEST_P(StoreConformance, WhatIsLeftOutIsReportedAndKept) {
    const QStringList one = this->writeOne();
    const QByteArray old = ArchiveEditor(this->content(this->file_)).addStrangersToRoot().archive();
    this->write(this->file_, old);
    const auto store = this->load();
    EXPECT_EQ(TypeParam::contents(*store), one);
    EXPECT_TRUE(this->namesFile(store->fault()) && store->fault().contains(QStringLiteral("left out: 2,")))
        << store->fault().toStdString();
    EXPECT_EQ(this->names(), QStringList(this->file_));

    const QString kept = this->file_ + QStringLiteral(".kept");
    {
        // Without the copy the file must not be overwritten.
        const WithoutRootsRights rights;
        ASSERT_TRUE(QFile::setPermissions(this->path(this->file_), {}));
        TypeParam::add(*store, QStringLiteral("two"));
        ASSERT_TRUE(QFile::setPermissions(this->path(this->file_), QFile::ReadOwner | QFile::WriteOwner));
    }
    EXPECT_TRUE(this->namesFile(store->fault())) << store->fault().toStdString();
    EXPECT_EQ(this->content(this->file_), old);

    TypeParam::add(*store, QStringLiteral("three"));
    TypeParam::add(*store, QStringLiteral("four"));
    EXPECT_EQ(this->content(kept), old);
    EXPECT_EQ(this->names(), QStringList({this->file_, kept})) << "once is enough";
    EXPECT_EQ(store->fault(), QString());
    EXPECT_EQ(this->saved(), TypeParam::contents(*store));
    EXPECT_EQ(this->load()->fault(), QString());
}

REGISTER_TYPED_TEST_SUITE_P(StoreConformance, EveryChangeIsSavedWholeForTheUserAlone,
                            AFailedWriteIsReportedAndTheNextOneForgetsIt,
                            AFileThatDoesNotDecodeIsNamedAndLeftAsItIs, WhatIsLeftOutIsReportedAndKept);

} // namespace korvane::test
