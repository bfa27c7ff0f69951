#include "ui/RemoteColumnView.h"

#include "ui/RemoteFileEntryCell.h"

#include <QListView>

namespace korvane {
namespace {

constexpr int columnWidth = 230;
constexpr int columnsThatGetTheWidth = 32;

} // namespace

RemoteColumnView::RemoteColumnView(QWidget* parent) : QColumnView(parent) {
    setItemDelegate(new RemoteFileEntryCell(this));
    setSelectionMode(QAbstractItemView::SingleSelection);
    setResizeGripsVisible(true);
    setColumnWidths(QList<int>(columnsThatGetTheWidth, columnWidth));
    // A file has no column of its own.
    setPreviewWidget(new QWidget(this));
}

QAbstractItemView* RemoteColumnView::createColumn(const QModelIndex& rootIndex) {
    auto* column = new QListView(viewport());
    initializeColumn(column);
    column->setItemDelegate(itemDelegate());
    // A directory may hold ten thousands of entries.
    column->setUniformItemSizes(true);
    column->setRootIndex(rootIndex);
    if (model()->canFetchMore(rootIndex))
        model()->fetchMore(rootIndex);
    return column;
}

} // namespace korvane
