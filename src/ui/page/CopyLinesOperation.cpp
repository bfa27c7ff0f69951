#include "ui/page/CopyLinesOperation.h"

#include "core/TailDataSourceProtocol.h"
#include "core/reader/Pages.h"
#include "foundation/work/MainThread.h"

#include <algorithm>

namespace korvane {
CopyLinesOperation::CopyLinesOperation(std::shared_ptr<TailDataSourceProtocol> dataSource,
                                       std::vector<RowSelection::Range> lines,
                                       std::function<void(int)> progress,
                                       std::function<void(End, const QString&)> done)
    : dataSource_(std::move(dataSource)), lines_(std::move(lines)), progress_(std::move(progress)),
      done_(std::move(done)) {}

void CopyLinesOperation::main() {
    qint64 total = 0;
    for (const auto& range : lines_)
        total += range.last - range.first + 1;

    QString text;
    qint64 copied = 0;
    int lastPercent = 0;
    for (const auto& range : lines_) {
        for (qint64 line = range.first, count = 0; line <= range.last; line += count) {
            // No page is read twice.
            count = std::min(pages::firstLine(pages::pageOfLine(line) + 1), range.last + 1) - line;
            const auto lines = dataSource_->readLines(line, count, [this] { return isCancelled(); });
            if (!lines) {
                MainThread::shared().post([done = done_, end = isCancelled()
                                                                   ? End::Cancelled
                                                                   : End::Unreadable] { done(end, {}); });
                return;
            }
            for (const QString& read : *lines) {
                text += read;
                text += u'\n';
            }
            copied += count;
            if (const int percent = static_cast<int>(copied * 100 / total); percent != lastPercent) {
                lastPercent = percent;
                MainThread::shared().post([progress = progress_, percent] { progress(percent); });
            }
        }
    }
    MainThread::shared().post([done = done_, text = std::move(text)] { done(End::Read, text); });
}

} // namespace korvane
