#pragma once

#include <QColumnView>

namespace korvane {

/// The columns of the remote file browser: one for each directory on the way. Main thread.
class RemoteColumnView : public QColumnView {
    Q_OBJECT

public:
    explicit RemoteColumnView(QWidget* parent = nullptr);

protected:
    QAbstractItemView* createColumn(const QModelIndex& rootIndex) override;

private:
    QStyle* const gripStyle_;
};

} // namespace korvane
