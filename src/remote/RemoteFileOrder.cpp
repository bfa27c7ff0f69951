#include "remote/RemoteFileOrder.h"

#include "remote/RemoteFileModel.h"

#include <utility>

namespace korvane {

RemoteFileOrder::RemoteFileOrder(RemoteFileModel& files, QObject* parent)
    : QSortFilterProxyModel(parent), files_(files) {
    setSourceModel(&files);
    sort(0);
}

void RemoteFileOrder::setSorting(Sorting sorting) {
    if (std::exchange(sorting_, sorting) != sorting)
        invalidate();
}

void RemoteFileOrder::setShowsHidden(bool showsHidden) {
    if (std::exchange(showsHidden_, showsHidden) != showsHidden)
        invalidateFilter();
}

bool RemoteFileOrder::lessThan(const QModelIndex& left, const QModelIndex& right) const {
    const RemoteFileNode& one = files_.node(left);
    const RemoteFileNode& other = files_.node(right);
    if (one.isDirectory() != other.isDirectory())
        return one.isDirectory();
    if (sorting_ == Sorting::Size && one.fileSize != other.fileSize && !one.isDirectory())
        return one.fileSize > other.fileSize;
    if (sorting_ == Sorting::Date && one.modificationDate != other.modificationDate)
        return one.modificationDate > other.modificationDate;
    return one.nameRank < other.nameRank;
}

bool RemoteFileOrder::filterAcceptsRow(int row, const QModelIndex& parent) const {
    return showsHidden_ || !files_.node(files_.index(row, 0, parent)).isHidden();
}

} // namespace korvane
