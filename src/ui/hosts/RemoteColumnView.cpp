#include "ui/hosts/RemoteColumnView.h"

#include "ui/hosts/RemoteFileEntryCell.h"

#include <QListView>
#include <QPainter>
#include <QPointer>
#include <QProxyStyle>
#include <QStyleOption>

namespace korvane {
namespace {

constexpr int columnWidth = 230;
constexpr int columnsThatGetTheWidth = 32;

/// Draws the grips between the columns in the colours of the desktop; the toolkit's own are always white.
class GripStyle : public QProxyStyle {
public:
    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override {
        if (element != CE_ColumnViewGrip) {
            QProxyStyle::drawControl(element, option, painter, widget);
            return;
        }
        painter->fillRect(option->rect, option->palette.window());
        painter->setPen(option->palette.color(QPalette::Mid));
        const int middle = option->rect.center().x();
        for (const int x : {middle - 1, middle + 1})
            painter->drawLine(x, option->rect.top() + 3, x, option->rect.bottom() - 3);
    }
};

} // namespace

RemoteColumnView::RemoteColumnView(QWidget* parent) : QColumnView(parent), gripStyle_(new GripStyle) {
    gripStyle_->setParent(this);
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
    // The grip comes after the column.
    QMetaObject::invokeMethod(
        this,
        [this, made = QPointer(column)] {
            if (made && made->cornerWidget())
                made->cornerWidget()->setStyle(gripStyle_);
        },
        Qt::QueuedConnection);
    return column;
}

} // namespace korvane
