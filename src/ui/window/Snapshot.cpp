#include "ui/window/Snapshot.h"

#include "core/TailDataSourceProtocol.h"
#include "documents/Document.h"
#include "ui/logtable/LogTableView.h"
#include "ui/page/LogViewController.h"
#include "ui/page/MainWindowController.h"

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
    const bool isWhole = !page_.isLoading() && isComplete_();
    if (isWhole ? !hasRows_ && !isWithoutRows() : !showsFullView())
        return;
    timer_.stop();
    // Let the event loop run once more, so that the last rows and the footer are painted.
    QTimer::singleShot(200, this, [this] {
        const QPixmap picture = page_.window()->grab();
        if (picture.save(pngPath_, "PNG"))
            done_(hasRows_ ? QString() : page_.document()->openFault());
        else
            done_(tr("“%1” cannot be written").arg(pngPath_));
    });
}

bool Snapshot::showsFullView() const {
    // Rows above or below the view would not be in the picture.
    LogTableView& table = page_.logView().tableView();
    const qint64 first = table.scroller().firstVisibleRow();
    const qint64 last = table.scroller().lastVisibleRow();
    if (!hasRows_ || (first == 0 && last + 1 == table.rowCount()))
        return false;
    for (qint64 row = first; row <= last; ++row)
        if (!table.delegate().isLoaded(row))
            return false;
    return true;
}

bool Snapshot::isWithoutRows() const {
    const auto source = page_.document()->dataSource();
    return page_.canConnect() || !source || source->numberOfRows() == 0;
}

} // namespace korvane
