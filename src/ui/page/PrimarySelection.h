#pragma once

#include "ui/logtable/RowSelection.h"

#include <QObject>
#include <QStringList>
#include <QTimer>

#include <cstdint>
#include <memory>
#include <vector>

namespace korvane {

class LogTableView;
class TailDataSourceProtocol;

/// Offers what the mouse has selected in a log table to the middle button in other programs, where the system
/// has a selection beside the clipboard. Rows are gathered from those in memory, some at a time; the text is
/// put together only when another program wants it. Hidden rows are left out. Main thread.
class PrimarySelection : public QObject {
public:
    /// `table` must outlive the selection.
    PrimarySelection(LogTableView& table, std::shared_ptr<TailDataSourceProtocol> dataSource,
                     QObject* parent = nullptr);

    /// What is selected now takes the place of what was offered before, as soon as all of it is there. Rows
    /// of more than `mostBytes`, and rows cut for display, are not offered.
    void offer(std::uint64_t mostBytes);
    /// Rows that were missing may be there.
    void rowsArrived();
    /// The rows hold other lines now: what has not been gathered yet will not be.
    void forget();

private:
    void gather();

    LogTableView& table_;
    const std::shared_ptr<TailDataSourceProtocol> dataSource_;
    QTimer timer_;
    /// Rows that are still to be gathered, in order, and the texts of those before them.
    std::vector<RowSelection::Range> missing_;
    QStringList lines_;
    qint64 rowStart_ = 0;
};

} // namespace korvane
