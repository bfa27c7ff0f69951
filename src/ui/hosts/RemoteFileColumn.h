#pragma once

#include <QListView>

#include <functional>

namespace korvane {

/// One directory of the remote file browser. Nothing is selected until the user does so, and nothing takes
/// the place of an entry that has been removed. Main thread.
class RemoteFileColumn : public QListView {
    Q_OBJECT

public:
    /// What stands in place of the entries where there are none.
    using EmptyText = std::function<QString(const QModelIndex& directory)>;

    RemoteFileColumn(QAbstractItemModel& model, const QModelIndex& directory, EmptyText emptyText,
                     QWidget* parent = nullptr);

    void deselect();
    /// Selects the first entry where none is selected.
    void selectSomething();
    /// The way to the next and to the previous column, as the keys go.
    enum class Way { Inwards, Outwards };

Q_SIGNALS:
    void selectionMoved();
    /// A key asks for the neighbouring column.
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
    /// The toolkit would make an entry the current one when the focus comes.
    bool isTakingFocus_ = false;
};

} // namespace korvane
