#include "ui/widgets/FileListDelegate.h"

#include <QApplication>
#include <QPainter>

namespace korvane {
namespace {

constexpr int margin = 8;
constexpr int padding = 5;
constexpr qreal smaller = 0.88;

QFont placeFont(const QFont& font) {
    QFont small = font;
    small.setPointSizeF(font.pointSizeF() * smaller);
    return small;
}

} // namespace

void FileListDelegate::paint(QPainter* painter, const QStyleOptionViewItem& given,
                             const QModelIndex& index) const {
    QStyleOptionViewItem option = given;
    initStyleOption(&option, index);
    const QString name = std::exchange(option.text, QString());
    QApplication::style()->drawControl(QStyle::CE_ItemViewItem, &option, painter, option.widget);

    const bool isSelected = option.state & QStyle::State_Selected;
    const bool isMissing = index.data(isMissingRole).toBool();
    const QPalette::ColorGroup group = isMissing ? QPalette::Disabled : QPalette::Active;
    const QColor nameColor =
        option.palette.color(group, isSelected ? QPalette::HighlightedText : QPalette::Text);
    QColor placeColor = nameColor;
    if (!isMissing)
        placeColor.setAlphaF(0.65F);

    painter->save();
    const QRect area = option.rect.adjusted(margin, padding, -margin, -padding);
    const QFontMetrics nameMetrics(option.font);
    painter->setFont(option.font);
    painter->setPen(nameColor);
    painter->drawText(area, Qt::AlignTop | Qt::AlignLeft,
                      nameMetrics.elidedText(name, Qt::ElideMiddle, area.width()));
    const QFont small = placeFont(option.font);
    painter->setFont(small);
    painter->setPen(placeColor);
    QString place = index.data(placeRole).toString();
    if (isMissing)
        place = tr("Missing: %1").arg(place);
    painter->drawText(area, Qt::AlignBottom | Qt::AlignLeft,
                      QFontMetrics(small).elidedText(place, Qt::ElideMiddle, area.width()));
    painter->restore();
}

QSize FileListDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& /*index*/) const {
    return {120, QFontMetrics(option.font).height() + QFontMetrics(placeFont(option.font)).height() +
                     2 * padding + 2};
}

} // namespace korvane
