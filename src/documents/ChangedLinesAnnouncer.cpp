#include "documents/ChangedLinesAnnouncer.h"

#include "core/DocumentProtocol.h"
#include "documents/TailDataSource.h"
#include "foundation/work/MainThread.h"

#include <algorithm>
#include <utility>

namespace korvane {
namespace {

LineRange unionOf(LineRange one, LineRange other) {
    const qint64 first = std::min(one.location, other.location);
    return {first, std::max(one.location + one.length, other.location + other.length) - first};
}

} // namespace

ChangedLinesAnnouncer::ChangedLinesAnnouncer(std::weak_ptr<TailDataSource> dataSource)
    : dataSource_(std::move(dataSource)) {}

void ChangedLinesAnnouncer::announce(LineRange changed) {
    announce(changed, Content::Same);
}

void ChangedLinesAnnouncer::announceLoadedRows(LineRange rows) {
    announce(rows, Content::Loaded);
}

void ChangedLinesAnnouncer::announceOtherContent(LineRange changed) {
    announce(changed, Content::Other);
}

void ChangedLinesAnnouncer::announce(LineRange changed, Content content) {
    const auto dataSource = dataSource_.lock();
    if (!dataSource)
        return;
    if (content != Content::Loaded)
        dataSource->linesChanged(changed.location);
    {
        const MutexLock guard(mutex_);
        const bool isWaiting = pending_.has_value();
        if (content == Content::Other)
            pendingContent_ = content;
        pending_ = isWaiting ? unionOf(*pending_, changed) : changed;
        if (isWaiting)
            return;
    }
    MainThread::shared().post([self = shared_from_this()] { self->postNotification(); });
}

void ChangedLinesAnnouncer::postNotification() {
    LineRange changed;
    Content content = Content::Same;
    {
        const MutexLock guard(mutex_);
        changed = *std::exchange(pending_, std::nullopt);
        content = std::exchange(pendingContent_, Content::Same);
    }
    const auto dataSource = dataSource_.lock();
    const auto document = dataSource ? dataSource->getDocument() : nullptr;
    if (!document)
        return; // closed meanwhile
    if (content == Content::Other)
        dataSource->clearCache();
    document->notices().rowsUpdated.post({document, changed, content == Content::Other});
}

} // namespace korvane
