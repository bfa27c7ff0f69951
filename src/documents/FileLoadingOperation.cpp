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
/// Maximum wait for the first paint; background tabs never paint.
constexpr auto firstScreenLimit = std::chrono::milliseconds(200);
/// Minimum time that a scan runs before it yields to waiting ones.
constexpr auto shortestSlice = std::chrono::milliseconds(20);
/// Check the clock and line count every N reports of a scan.
constexpr unsigned stepsPerLook = 16;

} // namespace

/// Listens to one scan: updates the progress, reports new lines, and stops the scan when its operation is
/// cancelled or must yield. Lives on the scanning thread.
class FileLoadingOperation::ScanListener : public LogReaderDelegate {
public:
    /// `operation` must outlive the scan.
    explicit ScanListener(FileLoadingOperation& operation)
        : operation_(operation), logReader_(*operation.logReader_), progress_(operation.progress_.get()),
          announcer_(std::make_shared<ChangedLinesAnnouncer>(operation.dataSource_)),
          dataSource_(operation.dataSource_), countBefore_(logReader_.lineCount()),
          wasUnread_(logReader_.isUnread()) {}

    /// Opens the file again and forgets the index.
    void startAgain() {
        logReader_.startAgain(*this);
        countBefore_ = logReader_.lineCount();
        wasUnread_ = true;
        announce(countBefore_, 0);
    }

    /// Continues the scan. False when it has yielded before the end.
    bool scanOn(const std::shared_ptr<ScanListener>& self, const std::function<bool()>& mustYield) {
        mustYield_ = &mustYield;
        sliceStart_ = Clock::now();
        wantsToYield_ = hasYielded_ = false;
        const LineRange changed = logReader_.refreshReportingTo(self);
        mustYield_ = nullptr;
        if (changed.length > 0)
            changed_ = {changed_.length > 0 ? std::min(changed_.location, changed.location)
                                            : changed.location,
                        changed.length};
        return !hasYielded_;
    }

    void readerDidStart(std::uint64_t fileSize) override {
        if (progress_ && !std::exchange(hasStarted_, true))
            progress_->readerDidStart(fileSize);
    }

    void readerDidReadBytes(std::uint64_t count) override {
        if (progress_)
            progress_->readerDidReadBytes(count);
        if (operation_.isCancelled())
            logReader_.cancelScan();
        else if (++steps_ % stepsPerLook == 0)
            look();
    }

    void readerDidForgetLines() override {
        isOtherContent_ = true;
        announcedCount_ = countBefore_ = 0;
        if (const auto dataSource = dataSource_.lock())
            dataSource->contentForgotten();
    }

    void readerDidFinish() override {
        if (progress_)
            progress_->readerDidFinish();
    }

    void readerDidCancel() override {
        hasYielded_ = wantsToYield_ && !operation_.isCancelled();
        if (progress_ && !hasYielded_)
            progress_->readerDidCancel();
    }

    /// Reports the lines that the whole scan has changed.
    void announceEnd() {
        const qint64 count = logReader_.lineCount();
        // The line of an empty file may have been requested before the scan, and is known only now.
        if (changed_.length == 0 && count == announcedCount_ && !isOtherContent_ && !wasUnread_)
            return;
        // A change before the last line that was known means a new file generation.
        const bool isRewritten = changed_.length > 0 && changed_.location < countBefore_ - 1;
        announce(count, isRewritten ? changed_.location : announcedCount_ - 1);
    }

private:
    void look() {
        const auto now = Clock::now();
        announceIfDue(now);
        if (wantsToYield_ || now - sliceStart_ < shortestSlice)
            return;
        wantsToYield_ = (*mustYield_)();
        if (wantsToYield_)
            logReader_.cancelScan();
        else
            sliceStart_ = now;
    }

    void announceIfDue(Clock::time_point now) {
        const qint64 count = logReader_.lineCount();
        if (count == announcedCount_)
            return;
        // The first lines are wanted at once.
        if (announcedAt_ && now - *announcedAt_ < announceInterval)
            return;
        const bool isFirst = !std::exchange(announcedAt_, now);
        announce(count, announcedCount_ - 1); // the line that was the last one may have grown
        if (isFirst)
            operation_.showFirstPage();
    }

    void announce(qint64 count, qint64 firstChanged) {
        const qint64 first = std::clamp<qint64>(firstChanged, 0, std::max<qint64>(count - 1, 0));
        announcedCount_ = count;
        if (std::exchange(isOtherContent_, false))
            announcer_->announceOtherContent({0, count});
        else
            announcer_->announce({first, count - first});
    }

    FileLoadingOperation& operation_;
    LogFileReaderProtocol& logReader_;
    LoadProgressController* const progress_;
    const std::shared_ptr<ChangedLinesAnnouncer> announcer_;
    const std::weak_ptr<TailDataSource> dataSource_;
    qint64 countBefore_;
    /// No line had been read when the scan began.
    bool wasUnread_;
    qint64 announcedCount_ = countBefore_;
    bool isOtherContent_ = false; // not announced yet
    std::optional<Clock::time_point> announcedAt_;
    unsigned steps_ = 0;
    /// Lines changed by all steps together.
    LineRange changed_;
    bool hasStarted_ = false;
    /// Of the current step.
    const std::function<bool()>* mustYield_ = nullptr;
    Clock::time_point sliceStart_;
    bool wantsToYield_ = false;
    bool hasYielded_ = false;
};

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

FileLoadingOperation::~FileLoadingOperation() = default;

void FileLoadingOperation::main() {
    while (step([] { return false; }))
        ;
}

bool FileLoadingOperation::step(const std::function<bool()>& mustYield) {
    if (!listener_ && !begin())
        return false;
    if (!isCancelled() && !listener_->scanOn(listener_, mustYield))
        return true;
    listener_->announceEnd();
    const auto dataSource = dataSource_.lock();
    if (dataSource && start_ == Start::AtFirstByte && !isCancelled())
        dataSource->fileReadAnew();
    listener_.reset();
    return false;
}

void FileLoadingOperation::failed(const std::exception& fault) {
    Operation::failed(fault);
    if (progress_)
        progress_->scanDidFail(fault);
    if (listener_)
        listener_->announceEnd();
    listener_.reset();
}

bool FileLoadingOperation::begin() {
    listener_ = std::make_shared<ScanListener>(*this);
    if (start_ == Start::AtLastScan)
        return true;
    // Another file may be at the path.
    listener_->startAgain();
    // Forgetting the index also resets a cancel that came just before.
    if (isCancelled())
        logReader_->cancel();
    return !isCancelled();
}

void FileLoadingOperation::showFirstPage() {
    if (start_ != Start::AtLastScan || !progress_ || !isShown_)
        return;
    // The first rows are loaded before the window has been made; the scan pauses until they are on the
    // screen.
    if (const auto dataSource = dataSource_.lock())
        dataSource->loadPage(pages::pageOfLine(0), true);
    sleepFor(firstScreenLimit);
}

} // namespace korvane
