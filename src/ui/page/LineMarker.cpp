#include "ui/page/LineMarker.h"

#include "bookmarks/FileBasedBookmarksManager.h"
#include "core/TailDataSourceProtocol.h"
#include "documents/Document.h"
#include "foundation/FilePath.h"
#include "ui/logtable/LogTableView.h"
#include "ui/logtable/RowSelection.h"

#include <QPointer>
#include <QStringList>

#include <algorithm>
#include <stop_token>

namespace korvane {
namespace {

/// Lines read at once: a line may be very long, and only its beginning is kept.
constexpr qint64 linesAtOnce = 16;

/// The marks of lines that are not in memory; empty when nothing can be read.
LineMarkEntries readMarks(TailDataSourceProtocol& source, const std::vector<RowSelection::Range>& ranges,
                          const std::stop_token& stop) {
    LineMarkEntries marks;
    bool hasRead = false;
    for (const auto& range : ranges) {
        for (qint64 line = range.first; line <= range.last; line += linesAtOnce) {
            const qint64 count = std::min(linesAtOnce, range.last + 1 - line);
            const auto read = source.readLines(line, count, [&stop] { return stop.stop_requested(); });
            if (stop.stop_requested())
                return {};
            hasRead = hasRead || read;
            // When some lines are missing, the texts cannot be matched to line numbers.
            const QStringList texts = read && read->size() == count ? *read : QStringList();
            for (qint64 i = 0; i < count; ++i)
                marks.push_back(std::make_shared<const LineMarkEntry>(line + i, texts.value(i)));
        }
    }
    return hasRead ? marks : LineMarkEntries();
}

} // namespace

LineMarker::LineMarker(std::shared_ptr<Document> document, std::shared_ptr<TailDataSourceProtocol> dataSource,
                       const LogTableView& table, QObject* parent)
    : QObject(parent), document_(std::move(document)), dataSource_(std::move(dataSource)), table_(table) {}

LineMarker::~LineMarker() {
    readQueue_.cancelAllOperations();
}

std::vector<qint64> LineMarker::markedLines() const {
    std::vector<qint64> lines;
    if (!FileBasedBookmarksManager::hasShared())
        return lines;
    const auto marks = FileBasedBookmarksManager::shared().lineMarksFor(absoluteString(document_->fileUrl()));
    if (!marks)
        return lines;
    const qint64 start = dataSource_->rowStart();
    for (const auto& mark : *marks) {
        const qint64 line = mark->lineNumForView();
        if (line > start && line <= start + table_.rowCount())
            lines.push_back(line);
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

qint64 LineMarker::currentLine() const {
    return dataSource_->rowStart() + table_.selection().currentRow() + 1;
}

void LineMarker::goToNext() {
    const std::vector<qint64> lines = markedLines();
    if (lines.empty())
        return;
    const auto next = std::upper_bound(lines.begin(), lines.end(), currentLine());
    Q_EMIT lineChosen(next == lines.end() ? lines.front() : *next);
}

void LineMarker::goToPrevious() {
    const std::vector<qint64> lines = markedLines();
    if (lines.empty())
        return;
    const auto next = std::lower_bound(lines.begin(), lines.end(), currentLine());
    Q_EMIT lineChosen(next == lines.begin() ? lines.back() : *std::prev(next));
}

void LineMarker::setMarks(const std::vector<qint64>& rows, bool marked) {
    if (rows.empty() || !FileBasedBookmarksManager::hasShared() || document_->fileUrl().isEmpty())
        return;
    std::vector<qint64> lines;
    LineMarkEntries known;
    std::vector<RowSelection::Range> unread;
    for (const qint64 row : rows) {
        const qint64 line = dataSource_->rowStart() + row;
        lines.push_back(line);
        if (const auto shown = marked ? dataSource_->cachedRowLine(row) : std::nullopt)
            known.push_back(std::make_shared<const LineMarkEntry>(line, shown->line.string()));
        else if (!unread.empty() && unread.back().last + 1 == line)
            unread.back().last = line;
        else
            unread.push_back({line, line});
    }
    if (!marked) {
        FileBasedBookmarksManager::shared().removeLineMarks(absoluteString(document_->fileUrl()), lines);
        Q_EMIT marksChanged();
        return;
    }
    add(std::move(known));
    if (unread.empty())
        return;
    readQueue_
        .run([source = dataSource_, unread](const std::stop_token& stop) {
            return readMarks(*source, unread, stop);
        })
        .then(QPointer(this), [this](LineMarkEntries marks) { add(std::move(marks)); });
}

void LineMarker::add(LineMarkEntries marks) {
    auto& store = FileBasedBookmarksManager::shared();
    const QString file = absoluteString(document_->fileUrl());
    std::erase_if(marks, [&](const auto& mark) { return store.hasLineMark(file, mark->lineNum()); });
    if (marks.empty())
        return;
    store.addLineMarks(file, marks);
    Q_EMIT marksChanged();
}

} // namespace korvane
