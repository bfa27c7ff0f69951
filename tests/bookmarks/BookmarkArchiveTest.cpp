#include "bookmarks/BookmarkArchive.h"

#include "bookmarks/BookmarkEntry.h"
#include "support/ArchiveConformance.h"

#include <limits>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using namespace test;

using Bookmarks = std::vector<std::shared_ptr<BookmarkEntry>>;

struct BookmarkFormat {
    using Object = BookmarkEntry;
    static QByteArray archive(const Bookmarks& bookmarks) { return archiveBookmarks(bookmarks); }
    static auto unarchive(const QByteArray& archive) { return unarchiveBookmarks(archive); }
    static QString golden() { return u"bookmarks"_s; }
    static QByteArray stable(const QByteArray& archive) { return archive; }
    static const void* sharedPart(const BookmarkEntry& entry) { return entry.lines().get(); }

    static std::shared_ptr<BookmarkEntry> entry(const QString& url) {
        return std::make_shared<BookmarkEntry>(u"größe.log"_s, QUrl(url));
    }
    static Bookmarks sample() {
        const auto local = entry(u"file:///var/log/gr%C3%B6%C3%9Fe%20x.log"_s);
        local->lines()->add(std::make_shared<const LineMarkEntry>(41, u"größe"_s));
        local->lines()->add(std::make_shared<const LineMarkEntry>(qint64(1) << 40, QString()));
        const auto again = entry(local->urlStr());
        again->setLines(local->lines());
        again->setData(QByteArray("\0made elsewhere", 15));
        return {local, again, entry(u"ssh://u@h:2222//var/log/app.log"_s), local};
    }
    static QString description(const BookmarkEntry& entry) {
        QString text =
            u"%1 %2 %3 %4;"_s.arg(entry.name(), entry.path(), entry.urlStr(),
                                  entry.data() ? QString::fromLatin1(entry.data()->toHex()) : u"none"_s);
        for (const auto& mark : *entry.lines())
            text += u" %1 “%2”"_s.arg(mark->lineNum()).arg(mark->line());
        return text;
    }
    static std::vector<FieldCase> fieldCases() {
        using enum Outcome;
        const QString mark = u" 41 “größe”"_s;
        const QString marks = mark + u" 1099511627776 “”"_s;
        constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
        return {
            {u"BookmarkEntry"_s, {u"name"_s, u"path"_s, u"urlString"_s}, absentOrWrong(), Drops},
            {u"BookmarkEntry"_s, {u"lines"_s}, absent(), Keeps, marks, {}},
            {u"BookmarkEntry"_s, {u"lines"_s}, wrong(), Counts, marks, {}},
            {u"BookmarkEntry"_s, {u"data"_s}, {PropertyList(QByteArray("d"))}, Keeps, u"none"_s, u"64"_s},
            {u"BookmarkEntry"_s, {u"data"_s}, wrong(), Counts, u"none"_s, u"none"_s},
            {u"LineMarkEntry"_s, {u"linenum"_s}, absent(), Keeps, u" 41 "_s, u" 0 "_s},
            {u"LineMarkEntry"_s, {u"linenum"_s}, wrong(), Counts, mark, {}},
            {u"LineMarkEntry"_s, {u"line"_s}, absentOrWrong(), Counts, mark, {}},
            // Negative numbers are invalid, and the maximum has no one-based form.
            {u"LineMarkEntry"_s,
             {u"linenum"_s},
             {ArchiveEditor::number(-1), ArchiveEditor::number(largest)},
             Counts,
             mark,
             {}},
            {u"LineMarkEntry"_s,
             {u"linenum"_s},
             {ArchiveEditor::number(largest - 1)},
             Keeps,
             u" 41 "_s,
             u" 9223372036854775806 "_s},
        };
    }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Bookmarks, ArchiveConformance, BookmarkFormat);

TEST(BookmarkArchiveTest, LineNumberBeyondTheLastIsFatal) {
    const LineMarkEntry last(std::numeric_limits<qint64>::max(), {});
    EXPECT_DEATH(static_cast<void>(last.lineNumForView()), "marked line");
}

} // namespace
} // namespace korvane
