#pragma once

#include <QStyledItemDelegate>

namespace korvane {

/// Draws a rule in a list the way it paints lines, on a ground of its own: the rule's colours are made for
/// the log view, not for the desktop's theme.
class RuleItemDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    /// The item's text colour and the ground it is drawn on, as QColor.
    static constexpr int textColorRole = Qt::UserRole + 1;
    static constexpr int groundColorRole = Qt::UserRole + 2;
    /// The end of the item's text, which is never elided.
    static constexpr int remarkRole = Qt::UserRole + 3;

    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};

} // namespace korvane
