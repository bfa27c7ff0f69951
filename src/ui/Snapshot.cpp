#include "ui/Snapshot.h"

#include "ui/LogViewController.h"
#include "ui/MainWindowController.h"

#include <QPixmap>

namespace korvane {

Snapshot::Snapshot(MainWindowController& page, QString pngPath, std::function<bool()> isComplete,
                   std::function<void(QString)> done)
    : QObject(&page), page_(page), pngPath_(std::move(pngPath)), isComplete_(std::move(isComplete)),
      done_(std::move(done)) {
    connect(&page_.logView(), &LogViewController::firstRowsShown, this, [this] { hasRows_ = true; });
    connect(&timer_, &QTimer::timeout, this, [this] { tryToRender(); });
    timer_.start(30);
}

void Snapshot::tryToRender() {
    if (!hasRows_ || page_.isLoading() || !isComplete_())
        return;
    timer_.stop();
    // Once more round the event loop, so that the last rows and the footer are in it.
    QTimer::singleShot(200, this, [this] {
        const QPixmap picture = page_.window()->grab();
        done_(picture.save(pngPath_, "PNG") ? QString() : tr("“%1” cannot be written").arg(pngPath_));
    });
}

} // namespace korvane
