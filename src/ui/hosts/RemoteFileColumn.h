#pragma once

#include <QListView>

#include <functional>

namespace korvane {

/// One directory of the remote file browser. Only the user selects: neither is the first entry selected, nor
/// the neighbour of a removed one. Main thread.
class RemoteFileColumn : public QListView {
    Q_OBJECT

public:
    /// The placeholder text of an empty column.
    using EmptyText = std::function<QString(const QModelIndex& directory)>;

    RemoteFileColumn(QAbstractItemModel& model, const QModelIndex& directory, EmptyText emptyText,
                     QWidget* parent = nullptr);

    void deselect();
    /// Selects the first entry if none is selected.
    void selectSomething();
    /// The arrow keys that lead to the next and to the previous column.
    enum class Way { Inwards, Outwards };

Q_SIGNALS:
    void selectionMoved();
    /// A key requests the neighbouring column.
    void left(Way way);
    /// Return or a double click on the entry.
    void entered(const QModelIndex& index);
    void focused();

protected:
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
    void rowsAboutToBeRemoved(const QModelIndex& parent, int first, int last) override;
    QModelIndex moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    const EmptyText emptyText_;
    /// The base class would make an entry current when the focus arrives.
    bool isTakingFocus_ = false;
};

} // namespace korvane
