#pragma once

#include <QStyledItemDelegate>

namespace korvane {

/// Draws a file in a list: its name, and below it in small letters its place.
class FileListDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    /// The role of the place, a text; the name is the item's text.
    static constexpr int placeRole = Qt::UserRole + 1;
    /// The role of a bool: the file is missing.
    static constexpr int isMissingRole = Qt::UserRole + 2;

    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& given, const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};

} // namespace korvane
