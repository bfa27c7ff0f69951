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

/// Offers the text selected with the mouse in a log table as the primary selection (middle button), where the
/// system has one. Rows are gathered from memory in batches; the text is joined only on request by another
/// program. Hidden rows are left out. Main thread.
class PrimarySelection : public QObject {
public:
    /// `table` must outlive the selection.
    PrimarySelection(LogTableView& table, std::shared_ptr<TailDataSourceProtocol> dataSource,
                     QObject* parent = nullptr);

    /// Replaces the offered text by the present selection as soon as that is gathered. Rows of more than
    /// `mostBytes`, and rows cut for display, are not offered.
    void offer(std::uint64_t mostBytes);
    /// Missing rows may have been loaded.
    void rowsArrived();
    /// The rows now hold other lines: gathering stops.
    void forget();

private:
    void gather();

    LogTableView& table_;
    const std::shared_ptr<TailDataSourceProtocol> dataSource_;
    QTimer timer_;
    /// Rows still to be gathered, in order, and the texts of the rows before them.
    std::vector<RowSelection::Range> missing_;
    QStringList lines_;
    qint64 rowStart_ = 0;
};

} // namespace korvane
