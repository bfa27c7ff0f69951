#include "ui/window/Snapshot.h"

#include "core/TailDataSourceProtocol.h"
#include "documents/Document.h"
#include "ui/logtable/LogTableView.h"
#include "ui/page/LogViewController.h"
#include "ui/page/MainWindowController.h"

#include <QPixmap>
#include <algorithm>

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
    const auto rows = table.scroller().visibleRows();
    if (!hasRows_ || static_cast<qint64>(rows.size()) == table.scroller().map().count())
        return false;
    return std::ranges::all_of(rows, [&](const RowPlaces::VisibleRow& row) {
        return row.hiddenRows > 0 || table.delegate().isLoaded(row.row);
    });
}

bool Snapshot::isWithoutRows() const {
    const auto source = page_.document()->dataSource();
    return page_.canConnect() || !source || source->numberOfRows() == 0;
}

} // namespace korvane
