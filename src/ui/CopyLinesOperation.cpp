#include "ui/CopyLinesOperation.h"

#include "foundation/MainThread.h"

#include <algorithm>
#include <optional>

namespace korvane {
namespace {

constexpr qint64 linesAtOnce = 2000;

} // namespace

CopyLinesOperation::CopyLinesOperation(std::shared_ptr<LogFileReaderProtocol> reader,
                                       std::vector<RowSelection::Range> lines,
                                       std::function<void(int)> progress,
                                       std::function<void(std::optional<QString>)> done)
    : reader_(std::move(reader)), lines_(std::move(lines)), progress_(std::move(progress)),
      done_(std::move(done)) {}

void CopyLinesOperation::main() {
    qint64 total = 0;
    for (const auto& range : lines_)
        total += range.last - range.first + 1;

    QString text;
    qint64 copied = 0;
    int lastPercent = 0;
    for (const auto& range : lines_) {
        for (qint64 line = range.first; line <= range.last; line += linesAtOnce) {
            if (isCancelled()) {
                MainThread::shared().post([done = done_] { done(std::nullopt); });
                return;
            }
            const qint64 count = std::min(linesAtOnce, range.last - line + 1);
            for (const QString& read : reader_->readLines(line + 1, count)) {
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
    MainThread::shared().post([done = done_, text = std::move(text)] { done(text); });
}

} // namespace korvane
