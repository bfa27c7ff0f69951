#include "ui/page/FileWatch.h"

#include "documents/Document.h"

#include <QPointer>

#include <chrono>
#include <utility>

using namespace std::chrono_literals;

namespace korvane {
namespace {

constexpr auto checkInterval = 1500ms;

} // namespace

FileWatch::FileWatch(std::shared_ptr<Document> document, std::function<bool()> isShown, QObject* parent)
    : QObject(parent), document_(std::move(document)), isShown_(std::move(isShown)) {
    connect(&timer_, &QTimer::timeout, this, &FileWatch::check);
    timer_.start(checkInterval);
}

void FileWatch::check() {
    if (isShown_())
        document_->stayConnected();
    if (document_->isFollowed())
        return;
    document_->checkFile([self = QPointer(this)](FileFault fault) {
        if (self && !self->document_->isFollowed())
            Q_EMIT self->checked(fault);
    });
}

} // namespace korvane
