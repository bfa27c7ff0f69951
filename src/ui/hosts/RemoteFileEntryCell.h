#pragma once

#include <QStyledItemDelegate>

namespace korvane {

/// Draws an entry of the remote file browser: its image, its name, and the arrow of a directory. Main thread.
class RemoteFileEntryCell : public QStyledItemDelegate {
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;
};

} // namespace korvane
