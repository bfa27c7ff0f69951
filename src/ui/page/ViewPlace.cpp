#include "ui/page/ViewPlace.h"

#include "core/TailDataSourceProtocol.h"
#include "documents/Document.h"
#include "ui/logtable/LogTableView.h"
#include "ui/page/EndFollower.h"

#include <utility>

namespace korvane {

ViewPlace::ViewPlace(std::shared_ptr<Document> document, std::shared_ptr<TailDataSourceProtocol> dataSource,
                     LogTableView& table, EndFollower& endFollower, QObject* parent)
    : QObject(parent), document_(std::move(document)), dataSource_(std::move(dataSource)), table_(table),
      endFollower_(endFollower) {
    connectionSubscription_ = document_->notices().connectionStateChanged.subscribe([this] {
        if (emptiedView_ && isCutOff())
            emptiedView_->isCutOff = true;
    });
}

ViewPlace::~ViewPlace() = default;

ViewPlace::Place ViewPlace::place() const {
    if (pendingPlace_)
        return *pendingPlace_;
    if (emptiedView_)
        return emptiedView_->place;
    return {dataSource_->rowStart() + table_.scroller().firstVisibleRow() + 1,
            table_.scroller().isAtEnd() && table_.scroller().firstVisibleRow() > 0};
}

qint64 ViewPlace::lineCount() const {
    return dataSource_->rowStart() + table_.rowCount();
}

void ViewPlace::keepWhileReading() {
    pendingPlace_ = place();
    hasOldRows_ = true;
}

void ViewPlace::restore(const Place& place) {
    pendingPlace_ = place;
    hasOldRows_ = false;
    followPendingPlace();
}

void ViewPlace::goToLineWhenKnown(qint64 lineNumber) {
    pendingLine_ = lineNumber;
    followPendingLine();
}

// ---- While the rows change

void ViewPlace::rowsWillChange(bool isOtherContent) {
    if (isOtherContent)
        hasOldRows_ = false;
    if (dataSource_->numberOfRows() == 0)
        keepEmptiedView();
}

void ViewPlace::rowsHaveChanged() {
    followPendingLine();
    followPendingPlace();
    restoreEmptiedView();
}

void ViewPlace::loadEnded() {
    restoreEmptiedView();
    followPendingLine();
    followPendingPlace();
}

void ViewPlace::followPendingLine() {
    if (!pendingLine_)
        return;
    const bool isLast = !document_->isLoading();
    // The notice of the last lines may still be pending.
    if (isLast)
        table_.setRowCount(dataSource_->numberOfRows());
    if (*pendingLine_ <= lineCount())
        Q_EMIT lineKnown(*std::exchange(pendingLine_, std::nullopt));
    else if (isLast)
        Q_EMIT lineMissing(*std::exchange(pendingLine_, std::nullopt));
}

void ViewPlace::followPendingPlace() {
    const bool isLast = !document_->isLoading();
    const bool isThere =
        pendingPlace_ && !hasOldRows_ && !pendingPlace_->isAtEnd && pendingPlace_->topLine <= lineCount();
    if (!pendingPlace_ || !(isThere || isLast))
        return;
    hasOldRows_ = false;
    // The notice of the last lines may still be pending.
    if (isLast)
        table_.setRowCount(dataSource_->numberOfRows());
    const Place place = *std::exchange(pendingPlace_, std::nullopt);
    if (place.isAtEnd)
        endFollower_.goToEnd();
    else
        table_.scroller().setTopRow(place.topLine - 1 - dataSource_->rowStart());
}

bool ViewPlace::isCutOff() const {
    return document_->connectionState() == ConnectionState::Lost;
}

void ViewPlace::keepEmptiedView() {
    if (document_->connectionState() != ConnectionState::Local && table_.rowCount() > 0)
        emptiedView_ = {place(), table_.selection().rows(), table_.selection().currentRow(),
                        table_.rowCount(), isCutOff()};
}

void ViewPlace::restoreEmptiedView() {
    if (!emptiedView_ || dataSource_->numberOfRows() == 0)
        return;
    const EmptiedView view = *std::exchange(emptiedView_, std::nullopt);
    // A page request may have reconnected to the server before the loss was noticed.
    if (!view.isCutOff && dataSource_->numberOfRows() < view.rowCount)
        return;
    restore(view.place);
    table_.selection().restore(view.selection, view.currentRow);
}

} // namespace korvane
