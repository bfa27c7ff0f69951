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

    Outcome outcome{End::Read, {}, 0, 0};
    qint64 passed = 0;
    bool wasAnyRead = false;
    int lastPercent = 0;
    for (const auto& range : lines_) {
        for (qint64 line = range.first, count = 0; line <= range.last; line += count) {
            count = shown_ ? shown_->next(line, range.last + 1) - line : 0;
            if (count == 0) {
                // Stop at page borders, so that no page is read twice.
                count = std::min(pages::firstLine(pages::pageOfLine(line) + 1), range.last + 1) - line;
                wasAnyRead = true;
                if (!copyLines(line, count, outcome)) {
                    finish({});
                    return;
                }
            }
            passed += count;
            if (const int percent = static_cast<int>(passed * 100 / std::max<qint64>(total, 1));
                percent != lastPercent) {
                lastPercent = percent;
                MainThread::shared().post([progress = progress_, percent] { progress(percent); });
            }
        }
    }
    if (wasAnyRead && outcome.lines == 0 && outcome.hiddenLines == 0)
        outcome.end = End::Unreadable;
    outcome.text = format_.finish(std::move(outcome.text), copied_);
    finish(std::move(outcome));
}

bool CopyLinesOperation::copyLines(qint64 first, qint64 count, Outcome& to) {
    const auto isCancelled = [this] { return this->isCancelled(); };
    const auto lines = dataSource_->readLines(first, count, isCancelled).value_or(QStringList());
    std::vector<bool> hidden;
    if (!shown_ && hidden_ == Hidden::LeftOut)
        hidden = dataSource_->hiddenLines(first, lines, isCancelled);
    if (isCancelled())
        return false;
    for (qint64 i = 0; i < lines.size(); ++i) {
        if (shown_ && !shown_->contains(first + i))
            continue;
        if (const auto place = static_cast<std::size_t>(i); place < hidden.size() && hidden[place]) {
            ++to.hiddenLines;
            continue;
        }
        copyLine(first + i, lines[i], to);
    }
    return true;
}

void CopyLinesOperation::copyLine(qint64 line, const QString& text, Outcome& to) {
    format_.append(to.text, line, text);
    ++to.lines;
    if (!copied_.empty() && copied_.back().last + 1 == line)
        copied_.back().last = line;
    else
        copied_.push_back({line, line});
}

void CopyLinesOperation::finish(Outcome outcome) {
    MainThread::shared().post([done = done_, outcome = std::move(outcome)] { done(outcome); });
}

} // namespace korvane
