#include "bookmarks/BookmarkArchive.h"

#include "bookmarks/BookmarkEntry.h"
#include "foundation/archive/ArchiveFormat.h"
#include "foundation/archive/FieldTable.h"

#include <QCoreApplication>

#include <limits>

namespace korvane {

using namespace archiveformat;

namespace {

const QString bookmarkEntryClass = modulePrefix + QStringLiteral("BookmarkEntry");
const QString lineMarkEntryClass = modulePrefix + QStringLiteral("LineMarkEntry");

/// The parts of a mark, collected first because a mark is immutable.
struct MarkParts {
    qint64 lineNum = 0;
    QString line = {};
};

/// An absent number means the first line.
Status readLineNum(MarkParts& parts, const KeyedDecoder& decoder, const QString& key) {
    const Result<qint64> lineNum =
        decoder.value(key) ? decoder.decode<qint64>(key) : Result<qint64>(parts.lineNum);
    if (!lineNum)
        return lineNum.error();
    // Negative numbers are invalid, and the maximum has no one-based form.
    if (lineNum.value() < 0 || lineNum.value() == std::numeric_limits<qint64>::max())
        return Error{static_cast<int>(ArchiveFault::wrongKind), QStringLiteral("KeyedArchive"),
                     QCoreApplication::translate("BookmarkArchive", "%1 is no line").arg(lineNum.value())};
    parts.lineNum = lineNum.value();
    return success();
}

const auto lineMarkFields = FieldTable<MarkParts>()
                                .field(LineMarkEntry::KEY_LINE_NUM, &MarkParts::lineNum, &readLineNum)
                                .required(LineMarkEntry::KEY_LINE, &MarkParts::line);

Result<std::shared_ptr<const LineMarkEntry>> decodeLineMark(const KeyedDecoder& decoder) {
    const auto parts = lineMarkFields.decoded(decoder, std::make_shared<MarkParts>());
    if (!parts)
        return parts.error();
    return std::make_shared<const LineMarkEntry>(parts.value()->lineNum, parts.value()->line);
}

/// The parts of a bookmark, collected first because its name and address cannot be set later.
struct BookmarkParts {
    QString name = {};
    QString path = {};
    QString urlStr = {};
    std::shared_ptr<LineMarkList> lines = std::make_shared<LineMarkList>();
    std::optional<QByteArray> data = {};
};

void writeLines(const BookmarkParts& parts, KeyedEncoder& encoder, const QString& key) {
    KeyedArchiver& archiver = encoder.archiver();
    encoder.encodeReference(
        key, archiver.addSharedArray(parts.lines, [&](const auto& mark) { return archiver.add(mark); }));
}

/// Empty when the value is not a list.
std::shared_ptr<LineMarkList> lineMarksOf(const ArchivedObject& object) {
    auto lines = std::make_shared<LineMarkList>();
    const auto elements = object.elements();
    if (!elements) {
        object.leaveOut();
        return lines;
    }
    for (const ArchivedObject& element : elements.value()) {
        if (const auto mark = element.object<const LineMarkEntry>())
            lines->add(mark.value());
        else
            element.leaveOut();
    }
    return lines;
}

Status readLines(BookmarkParts& parts, const KeyedDecoder& decoder, const QString& key) {
    if (const std::optional<ArchivedObject> object = decoder.value(key))
        parts.lines = object->sharedList<LineMarkList>([&object] { return lineMarksOf(*object); });
    return success();
}

void writeData(const BookmarkParts& parts, KeyedEncoder& encoder, const QString& key) {
    if (parts.data)
        encoder.encode(key, *parts.data);
}

Status readData(BookmarkParts& parts, const KeyedDecoder& decoder, const QString& key) {
    parts.data = decoder.decodeOptional<QByteArray>(key);
    return success();
}

const auto bookmarkFields = FieldTable<BookmarkParts>()
                                .required(BookmarkEntry::KEY_NAME, &BookmarkParts::name)
                                .required(BookmarkEntry::KEY_PATH, &BookmarkParts::path)
                                .required(BookmarkEntry::KEY_URL_STR, &BookmarkParts::urlStr)
                                .field(BookmarkEntry::KEY_LINES, &writeLines, &readLines)
                                .field(BookmarkEntry::KEY_DATA, &writeData, &readData);

Result<std::shared_ptr<BookmarkEntry>> decodeBookmark(const KeyedDecoder& decoder) {
    const auto read = bookmarkFields.decoded(decoder, std::make_shared<BookmarkParts>());
    if (!read)
        return read.error();
    const BookmarkParts& parts = *read.value();
    auto entry = std::make_shared<BookmarkEntry>(parts.name, parts.path, parts.urlStr);
    entry->setLines(parts.lines);
    if (parts.data)
        entry->setData(*parts.data);
    return entry;
}

const ArchiveClasses& bookmarkClasses() {
    static const ArchiveClasses all = [] {
        ArchiveClasses classes;
        classes.add<BookmarkEntry>(bookmarkEntryClass, &decodeBookmark);
        classes.add<const LineMarkEntry>(lineMarkEntryClass, &decodeLineMark);
        return classes;
    }();
    return all;
}

} // namespace

QStringList archivedClassChain(const BookmarkEntry&) {
    return {bookmarkEntryClass, rootClass};
}

QStringList archivedClassChain(const LineMarkEntry&) {
    return {lineMarkEntryClass, rootClass};
}

void encode(const BookmarkEntry& entry, KeyedEncoder& encoder) {
    bookmarkFields.encode({entry.name(), entry.path(), entry.urlStr(), entry.lines(), entry.data()}, encoder);
}

void encode(const LineMarkEntry& mark, KeyedEncoder& encoder) {
    lineMarkFields.encode({mark.lineNum(), mark.line()}, encoder);
}

QByteArray archiveBookmarks(const std::vector<std::shared_ptr<BookmarkEntry>>& bookmarks) {
    return archiveList(bookmarks);
}

Result<UnarchivedList<BookmarkEntry>> unarchiveBookmarks(const QByteArray& archive) {
    return unarchiveList<BookmarkEntry>(archive, bookmarkClasses());
}

} // namespace korvane
