#pragma once

#include <QSortFilterProxyModel>

namespace korvane {

class RemoteFileModel;

/// Sorts and filters a server's directories for display: directories first, each kind in the chosen order,
/// with or without names that begin with a dot. Main thread.
class RemoteFileOrder : public QSortFilterProxyModel {
    Q_OBJECT

public:
    /// Values as stored in the settings.
    enum class Sorting {
        Name = 0,
        /// Largest first.
        Size = 1,
        /// Newest first.
        Date = 2,
    };

    /// `files` must outlive the order.
    explicit RemoteFileOrder(RemoteFileModel& files, QObject* parent = nullptr);

    Sorting sorting() const { return sorting_; }
    void setSorting(Sorting sorting);
    bool showsHidden() const { return showsHidden_; }
    void setShowsHidden(bool showsHidden);

protected:
    bool lessThan(const QModelIndex& left, const QModelIndex& right) const override;
    bool filterAcceptsRow(int row, const QModelIndex& parent) const override;

private:
    RemoteFileModel& files_;
    Sorting sorting_ = Sorting::Name;
    bool showsHidden_ = false;
};

} // namespace korvane
