#include "bookmarks/BookmarkArchive.h"

#include "bookmarks/BookmarkEntry.h"
#include "support/Golden.h"
#include "support/Mutator.h"
#include "support/RawArchive.h"
#include "support/StoreTest.h"

#include <limits>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using test::raw;

std::shared_ptr<BookmarkEntry> namedEntry(const QString& url) {
    return std::make_shared<BookmarkEntry>(u"größe.log"_s, QUrl(url));
}

void mark(const BookmarkEntry& entry, qint64 lineNum, const QString& line) {
    entry.lines()->add(std::make_shared<const LineMarkEntry>(lineNum, line));
}

QStringList marksOf(const BookmarkEntry& entry) {
    QStringList all;
    for (const auto& each : *entry.lines())
        all.append(each->description());
    return all;
}

using BookmarkArchiveTest = test::StoreTest;

TEST_F(BookmarkArchiveTest, EverythingSurvivesAndWhatWasSharedStaysShared) {
    const auto local = namedEntry(u"file:///var/log/gr%C3%B6%C3%9Fe%20x.log"_s);
    const auto remote = namedEntry(u"ssh://u@h:2222//var/log/app.log"_s);
    const auto again = namedEntry(local->urlStr());
    again->setLines(local->lines());
    again->setData(QByteArray("\0made elsewhere", 15));
    mark(*local, 0, u"first"_s);
    mark(*local, (qint64(1) << 40), {});
    const auto read = unarchiveBookmarks(archiveBookmarks({local, remote, again}));
    ASSERT_TRUE(read) << read.error().userText.toStdString();
    EXPECT_EQ(read.value().leftOut, 0);
    const auto& bookmarks = read.value().objects;
    ASSERT_EQ(bookmarks.size(), 3u);
    EXPECT_EQ(bookmarks[0]->name(), u"größe.log"_s);
    EXPECT_EQ(bookmarks[0]->path(), u"/var/log/größe x.log"_s);
    EXPECT_EQ(bookmarks[0]->urlStr(), local->urlStr());
    EXPECT_EQ(bookmarks[0]->data(), std::nullopt);
    EXPECT_EQ(bookmarks[1]->path(), u"//var/log/app.log"_s);
    EXPECT_EQ(bookmarks[2]->data(), again->data());
    EXPECT_EQ(marksOf(*bookmarks[0]), QStringList({u"Line#: 1 - first"_s, u"Line#: 1099511627777 - "_s}));
    EXPECT_EQ(bookmarks[0]->lines(), bookmarks[2]->lines());
    EXPECT_NE(bookmarks[0]->lines(), bookmarks[1]->lines());
}

TEST_F(BookmarkArchiveTest, TheFormatStays) {
    const auto local = namedEntry(u"file:///var/log/gr%C3%B6%C3%9Fe%20x.log"_s);
    mark(*local, 41, u"größe"_s);
    mark(*local, qint64(1) << 40, {});
    const auto again = namedEntry(local->urlStr());
    again->setLines(local->lines());
    again->setData(QByteArray("\0made elsewhere", 15));
    const auto remote = namedEntry(u"ssh://u@h:2222//var/log/app.log"_s);
    test::expectGolden(u"bookmarks"_s, archiveBookmarks({local, again, remote, local}));
}

test::FieldWriter marksField(const std::vector<std::shared_ptr<test::Raw>>& marks) {
    return [marks](KeyedEncoder& encoder, const QString& key) {
        encoder.encodeReference(key, encoder.archiver().addArray(marks, [&](const auto& each) {
            return encoder.archiver().add(each);
        }));
    };
}

std::shared_ptr<test::Raw> markRecord(const test::FieldWriter& lineNum, const test::FieldWriter& line) {
    return raw(u"_TtC7Korvane13LineMarkEntry"_s, [=](KeyedEncoder& encoder) {
        if (lineNum)
            lineNum(encoder, u"linenum"_s);
        if (line)
            line(encoder, u"line"_s);
    });
}

/// An archive of a sound bookmark and of one of which one field is written otherwise, or not at all.
QByteArray archiveWith(const QString& replacedKey, const test::FieldWriter& replacement) {
    const auto record = [](const QString& key, const test::FieldWriter& otherwise) {
        return raw(u"_TtC7Korvane13BookmarkEntry"_s, [=](KeyedEncoder& encoder) {
            for (const auto& [each, text] :
                 {std::pair(u"name"_s, u"n"_s), std::pair(u"path"_s, u"/n"_s),
                  std::pair(u"urlString"_s, u"file:///n"_s), std::pair(u"lines"_s, QString())}) {
                if (each == key && otherwise)
                    otherwise(encoder, key);
                else if (each != key && !text.isNull())
                    encoder.encode(each, text);
            }
        });
    };
    return test::archiveOf({record({}, {}), record(replacedKey, replacement)});
}

TEST_F(BookmarkArchiveTest, RecordWithoutNamePathOrUrlIsLeftOut) {
    for (const QString& key : {u"name"_s, u"path"_s, u"urlString"_s}) {
        for (const test::FieldWriter& replacement :
             {test::FieldWriter(), test::nullField(), test::numberField(1)}) {
            const auto read = unarchiveBookmarks(archiveWith(key, replacement));
            ASSERT_TRUE(read) << read.error().userText.toStdString();
            EXPECT_EQ(read.value().objects.size(), 1u) << key.toStdString();
            EXPECT_EQ(read.value().leftOut, 1) << key.toStdString();
        }
    }
    const auto strangers = unarchiveBookmarks(test::archiveOf({raw(u"Korvane.Stranger"_s), nullptr}));
    EXPECT_EQ(strangers.value().leftOut, 2);
    EXPECT_FALSE(unarchiveBookmarks("garbage"));
}

TEST_F(BookmarkArchiveTest, MarksThatCannotBeReadAreLeftOutAndCounted) {
    const test::FieldWriter text = test::textField(u"t"_s);
    struct Case {
        test::FieldWriter lines;
        QStringList marks;
        int leftOut;
    };
    const std::vector<Case> table{
        {{}, {}, 0},
        {test::nullField(), {}, 0},
        {test::textField(u"no list"_s), {}, 1},
        {marksField({}), {}, 0},
        {marksField({markRecord({}, text)}), {u"Line#: 1 - t"_s}, 0},
        {marksField({markRecord(test::numberField(9), text)}), {u"Line#: 10 - t"_s}, 0},
        {marksField({markRecord(test::numberField(9), {}), markRecord(test::numberField(9), text)}),
         {u"Line#: 10 - t"_s},
         1},
        {marksField({markRecord(text, text), markRecord(test::numberField(-1), text)}), {}, 2},
        {marksField({markRecord(test::numberField(std::numeric_limits<qint64>::max()), text), nullptr}),
         {},
         2},
        {marksField({markRecord(test::numberField(std::numeric_limits<qint64>::max() - 1), text)}),
         {u"Line#: 9223372036854775807 - t"_s},
         0}};
    for (std::size_t i = 0; i < table.size(); ++i) {
        SCOPED_TRACE(i);
        const auto read = unarchiveBookmarks(archiveWith(u"lines"_s, table[i].lines));
        ASSERT_TRUE(read) << read.error().userText.toStdString();
        EXPECT_EQ(read.value().leftOut, table[i].leftOut);
        ASSERT_EQ(read.value().objects.size(), 2u);
        EXPECT_EQ(marksOf(*read.value().objects[0]), QStringList());
        EXPECT_EQ(marksOf(*read.value().objects[1]), table[i].marks);
        EXPECT_NE(read.value().objects[0]->lines(), read.value().objects[1]->lines());
    }
}

TEST_F(BookmarkArchiveTest, DamagedArchivesAreRefusedOrReadWhole) {
    const auto local = namedEntry(u"file:///var/log/a.log"_s);
    mark(*local, 41, u"größe"_s);
    mark(*local, 300, u"x"_s);
    const auto again = namedEntry(local->urlStr());
    again->setLines(local->lines());
    again->setData("bytes");
    const QByteArray sound = archiveBookmarks({local, again, namedEntry(u"ssh://u@h:22//app.log"_s)});
    constexpr int rounds = 30'000;
    test::Mutator mutator(20'240'302);
    int refused = 0;
    for (int round = 0; round < rounds; ++round) {
        const QByteArray bytes = mutator.mutated(sound);
        const auto read = unarchiveBookmarks(bytes);
        if (!read) {
            ++refused;
            ASSERT_FALSE(read.error().userText.isEmpty()) << bytes.toHex().constData();
            continue;
        }
        const auto& bookmarks = read.value().objects;
        const auto written = unarchiveBookmarks(archiveBookmarks(bookmarks));
        ASSERT_TRUE(written && written.value().leftOut == 0) << bytes.toHex().constData();
        ASSERT_EQ(written.value().objects.size(), bookmarks.size());
        for (std::size_t i = 0; i < bookmarks.size(); ++i) {
            ASSERT_EQ(written.value().objects[i]->isLocal(), bookmarks[i]->isLocal());
            ASSERT_EQ(marksOf(*written.value().objects[i]), marksOf(*bookmarks[i]));
        }
    }
    EXPECT_GT(refused, rounds / 10);
    EXPECT_LT(refused, rounds - rounds / 10);
}

TEST_F(BookmarkArchiveTest, LineNumberBeyondTheLastIsFatal) {
    const LineMarkEntry last(std::numeric_limits<qint64>::max(), {});
    EXPECT_DEATH(static_cast<void>(last.lineNumForView()), "marked line");
}

} // namespace
} // namespace korvane
