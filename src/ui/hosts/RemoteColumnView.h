#pragma once

#include "ui/hosts/RemoteFileColumn.h"

#include <QScrollArea>

#include <vector>

class QAbstractItemModel;
class QHBoxLayout;

namespace korvane {

/// The columns of the remote file browser: one for the root of the model, and one for each directory selected
/// on the path. The browser's selection is that of the last column with one. Main thread.
class RemoteColumnView : public QScrollArea {
    Q_OBJECT

public:
    explicit RemoteColumnView(RemoteFileColumn::EmptyText emptyText, QWidget* parent = nullptr);

    /// Shows the root of the model, which must outlive the view. Once.
    void setModel(QAbstractItemModel& model);
    /// Null before the model is set.
    QAbstractItemModel* model() const { return model_; }

    /// The selected entry; invalid without one.
    QModelIndex currentIndex() const;
    /// Selects the entry and its parent directories.
    void setCurrentIndex(const QModelIndex& index);
    /// The directories that have a column, the root, which is invalid, first.
    QModelIndexList directories() const;
    /// Moves the keyboard focus to the column of the selection.
    void focusColumn();
    /// Moves the keyboard focus to the previous column, where the directory of this one is selected; false
    /// in the first.
    bool goOutwards();
    /// Scrolls to the selection, after the order has changed.
    void showSelection();
    /// The placeholder texts may have changed.
    void updateEmptyTexts();

Q_SIGNALS:
    void currentChanged();
    void directoryShown(const QModelIndex& directory);
    /// Return or a double click on an entry that is not a directory.
    void fileEntered(const QModelIndex& file);

private:
    void addColumn(const QModelIndex& directory);
    void removeColumns(std::size_t from);
    void moveFrom(std::size_t column, RemoteFileColumn::Way way);
    void enter(std::size_t column, const QModelIndex& index);
    void setActive(std::size_t column);
    /// Adds and removes columns to match the selection.
    void follow();

    const RemoteFileColumn::EmptyText emptyText_;
    QAbstractItemModel* model_ = nullptr;
    QWidget* content_;
    QHBoxLayout* layout_;
    std::vector<RemoteFileColumn*> columns_;
    /// Has the keyboard focus, or gets it with that of the view.
    std::size_t active_ = 0;
};

} // namespace korvane
