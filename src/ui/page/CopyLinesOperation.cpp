#include "ui/page/CopyLinesOperation.h"

#include "core/TailDataSourceProtocol.h"
#include "core/reader/Pages.h"
#include "foundation/work/MainThread.h"

#include <algorithm>

namespace korvane {
CopyLinesOperation::CopyLinesOperation(std::shared_ptr<TailDataSourceProtocol> dataSource,
                                       std::vector<RowSelection::Range> lines,
                                       std::function<void(int)> progress,
                                       std::function<void(const Outcome&)> done)
    : dataSource_(std::move(dataSource)), lines_(std::move(lines)), progress_(std::move(progress)),
      done_(std::move(done)) {}

void CopyLinesOperation::main() {
    qint64 total = 0;
    for (const auto& range : lines_)
        total += range.last - range.first + 1;

    Outcome outcome{End::Read, {}, 0};
    qint64 passed = 0;
    int lastPercent = 0;
    for (const auto& range : lines_) {
        for (qint64 line = range.first, count = 0; line <= range.last; line += count) {
            // No page is read twice.
            count = std::min(pages::firstLine(pages::pageOfLine(line) + 1), range.last + 1) - line;
            const auto lines = dataSource_->readLines(line, count, [this] { return isCancelled(); });
            if (isCancelled()) {
                finish({});
                return;
            }
            for (const QString& read : lines.value_or(QStringList())) {
                outcome.text += read;
                outcome.text += u'\n';
                ++outcome.lines;
            }
            passed += count;
            if (const int percent = static_cast<int>(passed * 100 / total); percent != lastPercent) {
                lastPercent = percent;
                MainThread::shared().post([progress = progress_, percent] { progress(percent); });
            }
        }
    }
    if (outcome.lines == 0)
        outcome.end = End::Unreadable;
    finish(std::move(outcome));
}

void CopyLinesOperation::finish(Outcome outcome) {
    MainThread::shared().post([done = done_, outcome = std::move(outcome)] { done(outcome); });
}

} // namespace korvane
