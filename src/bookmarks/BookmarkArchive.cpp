#include "bookmarks/BookmarkArchive.h"

#include "bookmarks/BookmarkEntry.h"
#include "foundation/archive/ArchiveFormat.h"
#include "foundation/archive/KeyedArchiver.h"
#include "foundation/archive/KeyedUnarchiver.h"

#include <QCoreApplication>

#include <limits>
#include <map>

namespace korvane {

using namespace archiveformat;

namespace {

const QString bookmarkEntryClass = modulePrefix + QStringLiteral("BookmarkEntry");
const QString lineMarkEntryClass = modulePrefix + QStringLiteral("LineMarkEntry");

/// A bookmark whose marks have not been read yet.
struct BookmarkRecord {
    std::shared_ptr<BookmarkEntry> entry;
    std::optional<ArchivedObject> lines;
    int leftOut = 0;
};

Result<std::shared_ptr<BookmarkRecord>> decodeBookmark(const KeyedDecoder& decoder) {
    const Result<QString> name = decoder.decodeText(BookmarkEntry::KEY_NAME);
    if (!name)
        return name.error();
    const Result<QString> path = decoder.decodeText(BookmarkEntry::KEY_PATH);
    if (!path)
        return path.error();
    const Result<QString> urlStr = decoder.decodeText(BookmarkEntry::KEY_URL_STR);
    if (!urlStr)
        return urlStr.error();
    auto record = std::make_shared<BookmarkRecord>();
    record->entry = std::make_shared<BookmarkEntry>(name.value(), path.value(), urlStr.value());
    record->lines = decoder.value(BookmarkEntry::KEY_LINES);
    if (const std::optional<ArchivedObject> object = decoder.value(BookmarkEntry::KEY_DATA)) {
        if (const Result<QByteArray> data = object->data())
            record->entry->setData(data.value());
        else
            ++record->leftOut;
    }
    return record;
}

Result<std::shared_ptr<const LineMarkEntry>> decodeLineMark(const KeyedDecoder& decoder) {
    const Result<QString> line = decoder.decodeText(LineMarkEntry::KEY_LINE);
    if (!line)
        return line.error();
    const std::optional<ArchivedObject> object = decoder.value(LineMarkEntry::KEY_LINE_NUM);
    const Result<qint64> lineNum = object ? object->number() : Result<qint64>(0);
    if (!lineNum)
        return lineNum.error();
    // No file has such a line, and the last number has none that follows it.
    if (lineNum.value() < 0 || lineNum.value() == std::numeric_limits<qint64>::max())
        return Error{static_cast<int>(ArchiveFault::wrongKind), QStringLiteral("KeyedArchive"),
                     QCoreApplication::translate("BookmarkArchive", "%1 is no line").arg(lineNum.value())};
    return std::make_shared<const LineMarkEntry>(lineNum.value(), line.value());
}

const ArchiveClasses& bookmarkClasses() {
    static const ArchiveClasses all = [] {
        ArchiveClasses classes;
        classes.add<BookmarkRecord>(bookmarkEntryClass, &decodeBookmark);
        classes.add<const LineMarkEntry>(lineMarkEntryClass, &decodeLineMark);
        return classes;
    }();
    return all;
}

/// Empty for what is no list.
std::shared_ptr<LineMarkList> decodeLines(const ArchivedObject& object, int& leftOut) {
    auto lines = std::make_shared<LineMarkList>();
    const auto elements = object.elements();
    if (!elements) {
        ++leftOut;
        return lines;
    }
    for (const ArchivedObject& element : elements.value()) {
        if (const auto mark = element.object<const LineMarkEntry>())
            lines->add(mark.value());
        else
            ++leftOut;
    }
    return lines;
}

} // namespace

QStringList archivedClassChain(const BookmarkEntry&) {
    return {bookmarkEntryClass, rootClass};
}

QStringList archivedClassChain(const LineMarkEntry&) {
    return {lineMarkEntryClass, rootClass};
}

void encode(const BookmarkEntry& entry, KeyedEncoder& encoder) {
    encoder.encode(BookmarkEntry::KEY_NAME, entry.name());
    encoder.encode(BookmarkEntry::KEY_PATH, entry.path());
    encoder.encode(BookmarkEntry::KEY_URL_STR, entry.urlStr());
    KeyedArchiver& archiver = encoder.archiver();
    encoder.encodeReference(
        BookmarkEntry::KEY_LINES,
        archiver.addSharedArray(entry.lines(), [&archiver](const auto& mark) { return archiver.add(mark); }));
    if (entry.data())
        encoder.encode(BookmarkEntry::KEY_DATA, *entry.data());
}

void encode(const LineMarkEntry& mark, KeyedEncoder& encoder) {
    encoder.encodeInteger(LineMarkEntry::KEY_LINE_NUM, mark.lineNum());
    encoder.encode(LineMarkEntry::KEY_LINE, mark.line());
}

QByteArray archiveBookmarks(const std::vector<std::shared_ptr<BookmarkEntry>>& bookmarks) {
    KeyedArchiver archiver;
    return archiver.archivedData(
        archiver.addArray(bookmarks, [&archiver](const auto& entry) { return archiver.add(entry); }));
}

Result<UnarchivedBookmarks> unarchiveBookmarks(const QByteArray& archive) {
    const auto unarchiver = KeyedUnarchiver::open(archive, bookmarkClasses());
    if (!unarchiver)
        return unarchiver.error();
    const auto elements = unarchiver.value()->root().elements();
    if (!elements)
        return elements.error();
    UnarchivedBookmarks result;
    std::map<const void*, std::shared_ptr<LineMarkList>> lists;
    for (const ArchivedObject& element : elements.value()) {
        const Result<std::shared_ptr<BookmarkRecord>> record = element.object<BookmarkRecord>();
        if (!record) {
            ++result.leftOut;
            continue;
        }
        const std::shared_ptr<BookmarkEntry>& entry = record.value()->entry;
        result.leftOut += record.value()->leftOut;
        if (const std::optional<ArchivedObject>& lines = record.value()->lines) {
            const auto [list, isNew] = lists.try_emplace(lines->identity());
            if (isNew)
                list->second = decodeLines(*lines, result.leftOut);
            entry->setLines(list->second);
        }
        result.bookmarks.push_back(entry);
    }
    return result;
}

} // namespace korvane
