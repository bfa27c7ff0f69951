#include "ui/rules/RuleItemDelegate.h"

#include <QApplication>
#include <QPainter>

#include <algorithm>

namespace korvane {
namespace {

constexpr int margin = 2;
constexpr int textMargin = 6;

} // namespace

void RuleItemDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                             const QModelIndex& index) const {
    QStyleOptionViewItem item = option;
    initStyleOption(&item, index);
    const QStyle* style = item.widget ? item.widget->style() : QApplication::style();
    const QRect place = style->subElementRect(QStyle::SE_ItemViewItemText, &item, item.widget);
    const QString text = std::exchange(item.text, QString());
    style->drawControl(QStyle::CE_ItemViewItem, &item, painter, item.widget);

    const QRect ground(place.left(), item.rect.top() + margin, item.rect.right() - margin - place.left(),
                       item.rect.height() - 2 * margin);
    painter->save();
    painter->fillRect(ground, index.data(groundColorRole).value<QColor>());
    painter->setPen(index.data(textColorRole).value<QColor>());
    painter->setFont(item.font);
    const QRect inside = ground.adjusted(textMargin, 0, -textMargin, 0);
    const QFontMetrics metrics(item.font);
    const QString remark = index.data(remarkRole).toString();
    const int room = std::max(0, inside.width() - metrics.horizontalAdvance(remark));
    painter->drawText(inside, Qt::AlignVCenter | Qt::TextSingleLine,
                      metrics.elidedText(text.chopped(remark.size()), Qt::ElideRight, room) + remark);
    painter->restore();
}

QSize RuleItemDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
    return QStyledItemDelegate::sizeHint(option, index) + QSize(2 * textMargin, 4 * margin);
}

} // namespace korvane
