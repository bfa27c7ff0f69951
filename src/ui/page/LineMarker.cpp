#include "ui/page/LineMarker.h"

#include "bookmarks/FileBasedBookmarksManager.h"
#include "core/TailDataSourceProtocol.h"
#include "documents/Document.h"
#include "foundation/FilePath.h"
#include "ui/page/CopyLinesOperation.h"

#include <QPointer>
#include <QStringList>

#include <algorithm>

namespace korvane {

LineMarker::LineMarker(std::shared_ptr<Document> document, std::shared_ptr<TailDataSourceProtocol> dataSource,
                       QObject* parent)
    : QObject(parent), document_(std::move(document)), dataSource_(std::move(dataSource)) {}

LineMarker::~LineMarker() {
    readQueue_.cancelAllOperations();
}

std::vector<qint64> LineMarker::markedLines(qint64 rowCount) const {
    std::vector<qint64> lines;
    if (!FileBasedBookmarksManager::hasShared())
        return lines;
    const auto marks = FileBasedBookmarksManager::shared().lineMarksFor(absoluteString(document_->fileUrl()));
    if (!marks)
        return lines;
    const qint64 start = dataSource_->rowStart();
    for (const auto& mark : *marks) {
        const qint64 line = mark->lineNumForView();
        if (line > start && line <= start + rowCount)
            lines.push_back(line);
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

void LineMarker::setMarks(const std::vector<qint64>& rows, bool marked) {
    if (rows.empty() || !FileBasedBookmarksManager::hasShared() || document_->fileUrl().isEmpty())
        return;
    std::vector<qint64> lines;
    LineMarkList known;
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
    readQueue_.addOperation(std::make_shared<CopyLinesOperation>(
        dataSource_, unread, [](int) {},
        [self = QPointer(this), unread](const CopyLinesOperation::Outcome& outcome) {
            if (!self || outcome.end != CopyLinesOperation::End::Read)
                return;
            qint64 wanted = 0;
            for (const auto& range : unread)
                wanted += range.last - range.first + 1;
            // With some missing, nobody knows which of the texts is whose.
            const QStringList texts = outcome.lines == wanted ? outcome.text.split(u'\n') : QStringList();
            LineMarkList marks;
            for (const auto& range : unread) {
                for (qint64 line = range.first; line <= range.last; ++line)
                    marks.push_back(std::make_shared<const LineMarkEntry>(
                        line, texts.value(static_cast<qsizetype>(marks.size()))));
            }
            self->add(std::move(marks));
        }));
}

void LineMarker::add(LineMarkList marks) {
    auto& store = FileBasedBookmarksManager::shared();
    const QString file = absoluteString(document_->fileUrl());
    std::erase_if(marks, [&](const auto& mark) { return store.hasLineMark(file, mark->lineNum()); });
    if (marks.empty())
        return;
    store.addLineMarks(file, marks);
    Q_EMIT marksChanged();
}

} // namespace korvane
