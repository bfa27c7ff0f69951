#include "tail/FileMonitorOperation.h"

#include "core/Preferences.h"
#include "foundation/FatalError.h"

namespace korvane {
namespace {

constexpr double defaultInterval = 0.5; // seconds
constexpr double microsecondsPerSecond = 1'000'000;
constexpr double tooManyMicroseconds = 4'294'967'296;

} // namespace

std::chrono::microseconds FileMonitorOperation::pollingInterval() const {
    double seconds = Preferences::shared().pollingInterval();
    if (!(seconds > 0))
        seconds = defaultInterval;
    const double microseconds = seconds * microsecondsPerSecond;
    if (microseconds >= tooManyMicroseconds)
        fatalError("polling interval overflow");
    return std::chrono::microseconds(static_cast<std::int64_t>(microseconds));
}

void FileMonitorOperation::main() {
    while (!isCancelled()) {
        const std::optional<std::uint64_t> size = getFileSize();
        if (!size)
            return;
        // Released before the sleep.
        if (const auto delegate = delegate_.lock()) {
            if (*size != lastFileSize_)
                delegate->fileSizeChanged(lastFileSize_, *size);
            delegate->filePolled();
        }
        lastFileSize_ = *size;
        sleepFor(pollingInterval());
    }
}

} // namespace korvane
