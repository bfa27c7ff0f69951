#pragma once

#include <QStyledItemDelegate>

namespace korvane {

/// Draws a file in a list: its name, and in small letters below where it lies.
class FileListDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    /// The role of where it lies; the name is the item's text.
    static constexpr int placeRole = Qt::UserRole + 1;
    /// The role of a bool: it is not there any more.
    static constexpr int isMissingRole = Qt::UserRole + 2;

    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};

} // namespace korvane
