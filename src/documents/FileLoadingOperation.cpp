#include "documents/FileLoadingOperation.h"

#include "core/reader/Pages.h"
#include "documents/ChangedLinesAnnouncer.h"
#include "documents/LoadProgressController.h"
#include "documents/TailDataSource.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <optional>
#include <utility>

namespace korvane {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto announceInterval = std::chrono::microseconds(1'000'000 / 30);
/// So long the scan waits for the first rows to be shown; a document in a tab behind another shows none.
constexpr auto firstScreenLimit = std::chrono::milliseconds(200);
/// A look at clock and line count is made once in so many steps of a scan.
constexpr unsigned stepsPerLook = 16;

/// Listens to one scan: feeds the progress, makes new lines known as they come, and stops the scan when its
/// operation is cancelled. Lives on the scanning thread.
class ScanListener : public LogReaderDelegate {
public:
    /// All references must outlive the scan.
    ScanListener(LogFileReaderProtocol& logReader, const Operation& operation,
                 LoadProgressController* progress, ChangedLinesAnnouncer& announcer,
                 std::weak_ptr<TailDataSource> dataSource, std::function<void()> showFirstPage)
        : logReader_(logReader), operation_(operation), progress_(progress), announcer_(announcer),
          dataSource_(std::move(dataSource)), showFirstPage_(std::move(showFirstPage)),
          countBefore_(logReader.lineCount()) {}

    void readerDidStart(std::uint64_t fileSize) override {
        if (progress_)
            progress_->readerDidStart(fileSize);
    }

    void readerDidReadBytes(std::uint64_t count) override {
        if (progress_)
            progress_->readerDidReadBytes(count);
        if (operation_.isCancelled())
            logReader_.cancelScan();
        else if (++steps_ % stepsPerLook == 0)
            announceIfDue();
    }

    void readerDidForgetLines() override {
        if (const auto dataSource = dataSource_.lock())
            dataSource->contentForgotten();
    }

    void readerDidFinish() override {
        if (progress_)
            progress_->readerDidFinish();
    }

    void readerDidCancel() override {
        if (progress_)
            progress_->readerDidCancel();
    }

    /// `result`: what the scan as a whole has changed.
    void announceEnd(LineRange result) {
        const qint64 count = logReader_.lineCount();
        if (result.length == 0 && count == announcedCount_)
            return;
        // A scan that starts before the last line known then has found another content.
        const bool isRewritten = result.length > 0 && result.location < countBefore_ - 1;
        announce(count, isRewritten ? result.location : announcedCount_ - 1);
    }

private:
    void announceIfDue() {
        const qint64 count = logReader_.lineCount();
        if (count == announcedCount_)
            return;
        // The first lines are wanted at once.
        const auto now = Clock::now();
        if (announcedAt_ && now - *announcedAt_ < announceInterval)
            return;
        const bool isFirst = !std::exchange(announcedAt_, now);
        announce(count, announcedCount_ - 1); // the line that was the last one may have grown
        if (isFirst)
            showFirstPage_();
    }

    void announce(qint64 count, qint64 firstChanged) {
        const qint64 first = std::clamp<qint64>(firstChanged, 0, std::max<qint64>(count - 1, 0));
        announcedCount_ = count;
        announcer_.announce({first, count - first});
    }

    LogFileReaderProtocol& logReader_;
    const Operation& operation_;
    LoadProgressController* const progress_;
    ChangedLinesAnnouncer& announcer_;
    const std::weak_ptr<TailDataSource> dataSource_;
    const std::function<void()> showFirstPage_;
    const qint64 countBefore_;
    qint64 announcedCount_ = countBefore_;
    std::optional<Clock::time_point> announcedAt_;
    unsigned steps_ = 0;
};

} // namespace

FileLoadingOperation::FileLoadingOperation(std::shared_ptr<LogFileReaderProtocol> logReader,
                                           std::weak_ptr<TailDataSource> dataSource,
                                           std::shared_ptr<LoadProgressController> progress, Start start)
    : logReader_(std::move(logReader)), dataSource_(std::move(dataSource)), progress_(std::move(progress)),
      start_(start) {}

void FileLoadingOperation::cancel() {
    Operation::cancel();
    if (progress_)
        progress_->readerDidCancel();
}

void FileLoadingOperation::main() {
    const auto announcer = std::make_shared<ChangedLinesAnnouncer>(dataSource_);
    if (start_ == Start::AtFirstByte) {
        // Another file may stand at the path by now. Where none can be opened, the old one is read anew.
        [[maybe_unused]] const Status opened = logReader_->reopen();
        logReader_->reset();
        // Forgetting the index also forgot a cancel that came just before.
        if (isCancelled()) {
            logReader_->cancel();
            return;
        }
        announcer->announce({0, logReader_->lineCount()});
    }
    const auto showFirstPage = [this] {
        if (start_ != Start::AtLastScan || !progress_)
            return;
        // By the time that a window has been made for the file, its first rows are there; and until they are
        // on the screen they have the machine for themselves.
        if (const auto dataSource = dataSource_.lock())
            dataSource->loadPage(pages::pageOfLine(0), true);
        sleepFor(firstScreenLimit);
    };
    const auto listener = std::make_shared<ScanListener>(*logReader_, *this, progress_.get(), *announcer,
                                                         dataSource_, showFirstPage);
    listener->announceEnd(logReader_->refreshReportingTo(listener));
    const auto dataSource = dataSource_.lock();
    if (dataSource && start_ == Start::AtFirstByte && !isCancelled())
        dataSource->fileReadAnew();
}

} // namespace korvane
