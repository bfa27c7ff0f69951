#include "core/reader/ReadFaultLog.h"

#include "core/reader/ReaderLog.h"
#include "foundation/FilePath.h"

#include <cstring>
#include <utility>

namespace korvane {

void ReadFaultLog::report(Task task, std::uint64_t offset, int error) {
    const Fault fault{offset, error};
    {
        const MutexLock guard(mutex_);
        if (std::exchange(reported_[static_cast<std::size_t>(task)], fault) == fault)
            return;
    }
    qCWarning(logCore).noquote() << QStringLiteral(
                                        "Reading %1 failed at byte %2: %3. What lies behind is not shown.")
                                        .arg(displayPath(fileUrlFromPath(path_)), QString::number(offset),
                                             QString::fromLocal8Bit(std::strerror(error)));
}

void ReadFaultLog::forget(Task task) {
    const MutexLock guard(mutex_);
    reported_[static_cast<std::size_t>(task)] = {};
}

} // namespace korvane
