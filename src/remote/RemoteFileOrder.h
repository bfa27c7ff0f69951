#pragma once

#include <QSortFilterProxyModel>

namespace korvane {

class RemoteFileModel;

/// The entries of a server's directories as they are shown: directories first, each kind in the order chosen,
/// with or without those whose names begin with a dot. Main thread.
class RemoteFileOrder : public QSortFilterProxyModel {
    Q_OBJECT

public:
    /// As the settings store it.
    enum class Sorting {
        Name = 0,
        /// The largest first.
        Size = 1,
        /// The newest first.
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
