#include "ui/hosts/RemoteFileEntryCell.h"

#include "remote/RemoteFileModel.h"
#include "ui/widgets/Icons.h"

#include <QApplication>
#include <QPainter>

namespace korvane {
namespace {

constexpr int arrowWidth = 16;
constexpr int verticalMargin = 2;

} // namespace

void RemoteFileEntryCell::initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const {
    QStyledItemDelegate::initStyleOption(option, index);
    option->icon = icon(index.data(RemoteFileModel::ImageNameRole).toString());
    option->features |= QStyleOptionViewItem::HasDecoration;
    const int side = option->fontMetrics.height();
    option->decorationSize = {side, side};
    option->textElideMode = Qt::ElideMiddle;
    const bool cannotBeOpened = !index.data(RemoteFileModel::IsDirectoryRole).toBool() &&
                                !index.data(RemoteFileModel::FaultRole).toString().isEmpty();
    if (cannotBeOpened)
        option->palette.setBrush(QPalette::Text, option->palette.brush(QPalette::Disabled, QPalette::Text));
}

QSize RemoteFileEntryCell::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
    const QSize size = QStyledItemDelegate::sizeHint(option, index);
    return {size.width() + arrowWidth, size.height() + 2 * verticalMargin};
}

void RemoteFileEntryCell::paint(QPainter* painter, const QStyleOptionViewItem& option,
                                const QModelIndex& index) const {
    QStyleOptionViewItem item = option;
    initStyleOption(&item, index);
    const QStyle& style = item.widget ? *item.widget->style() : *QApplication::style();
    // One background behind both name and arrow.
    style.drawPrimitive(QStyle::PE_PanelItemViewItem, &item, painter, item.widget);
    const QRect whole = item.rect;
    item.rect = QStyle::visualRect(item.direction, whole, whole.adjusted(0, 0, -arrowWidth, 0));
    style.drawControl(QStyle::CE_ItemViewItem, &item, painter, item.widget);
    if (!index.data(RemoteFileModel::IsDirectoryRole).toBool())
        return;
    // The arrow of the toolkit is hardly visible on dark themes.
    QStyleOption arrow;
    arrow.palette = item.palette;
    arrow.state = QStyle::State_Enabled;
    const bool isSelected = item.state.testFlag(QStyle::State_Selected);
    const QColor color = item.palette.color(isSelected ? QPalette::HighlightedText : QPalette::Text);
    for (const auto role : {QPalette::ButtonText, QPalette::WindowText, QPalette::Text})
        arrow.palette.setColor(role, color);
    arrow.rect = QStyle::visualRect(item.direction, whole,
                                    {whole.right() - arrowWidth, whole.top(), arrowWidth, whole.height()})
                     .adjusted(4, 0, -4, 0);
    const bool leftwards = item.direction == Qt::RightToLeft;
    style.drawPrimitive(leftwards ? QStyle::PE_IndicatorArrowLeft : QStyle::PE_IndicatorArrowRight, &arrow,
                        painter, item.widget);
}

} // namespace korvane
