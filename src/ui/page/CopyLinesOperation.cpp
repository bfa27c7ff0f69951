#include "ui/page/CopyLinesOperation.h"

#include "core/DataSourceRoles.h"
#include "core/reader/Pages.h"
#include "foundation/work/MainThread.h"

#include <algorithm>

namespace korvane {
CopyLinesOperation::CopyLinesOperation(std::shared_ptr<LineTexts> dataSource,
                                       std::vector<RowSelection::Range> lines, Hidden hidden,
                                       std::function<void(int)> progress,
                                       std::function<void(const Outcome&)> done)
    : dataSource_(std::move(dataSource)), lines_(std::move(lines)), hidden_(hidden),
      progress_(std::move(progress)), done_(std::move(done)) {}

qint64 CopyLinesOperation::Shown::next(qint64 line, qint64 end) const {
    const auto row = contains(line) ? line - rowStart : map.nextShown(line - rowStart);
    return row ? std::min(*row + rowStart, end) : end;
}

void CopyLinesOperation::main() {
    qint64 total = 0;
    for (const auto& range : lines_)
        total += range.last - range.first + 1;

    const auto isCancelled = [this] { return this->isCancelled(); };
    Outcome outcome{End::Read, {}, 0, 0};
    qint64 passed = 0;
    int lastPercent = 0;
    for (const auto& range : lines_) {
        for (qint64 line = range.first, count = 0; line <= range.last; line += count) {
            if (shown_) {
                count = shown_->next(line, range.last + 1) - line;
                passed += count;
                if (count > 0)
                    continue;
            }
            // Stop at page borders, so that no page is read twice.
            count = std::min(pages::firstLine(pages::pageOfLine(line) + 1), range.last + 1) - line;
            const auto lines = dataSource_->readLines(line, count, isCancelled).value_or(QStringList());
            std::vector<bool> hidden;
            if (shown_) {
                for (qint64 i = 0; i < lines.size(); ++i)
                    hidden.push_back(!shown_->contains(line + i));
            } else if (hidden_ == Hidden::LeftOut)
                hidden = dataSource_->hiddenLines(line, lines, isCancelled);
            if (isCancelled()) {
                finish({});
                return;
            }
            for (std::size_t i = 0; i < static_cast<std::size_t>(lines.size()); ++i) {
                if (i < hidden.size() && hidden[i]) {
                    outcome.hiddenLines += shown_ ? 0 : 1;
                    continue;
                }
                outcome.text += lines[static_cast<qsizetype>(i)];
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
    if (outcome.lines == 0 && outcome.hiddenLines == 0)
        outcome.end = End::Unreadable;
    finish(std::move(outcome));
}

void CopyLinesOperation::finish(Outcome outcome) {
    MainThread::shared().post([done = done_, outcome = std::move(outcome)] { done(outcome); });
}

} // namespace korvane
