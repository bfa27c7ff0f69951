#pragma once

#include <QObject>
#include <QTimer>

class QAccessibleEvent;

namespace korvane {

class LogTableAccessible;
class LogTableView;

/// Tells assistive programs what happens in the log table: another current row, other selections, other rows.
/// A log that grows many times a second is announced a few times a second. Nothing is announced while no such
/// program is there. Main thread; belongs to the table's interface.
class LogTableAnnouncer : public QObject {
public:
    using Listener = void (*)(QAccessibleEvent&);
    /// Hears what is announced in place of assistive programs; null to give it to them again.
    static void setListener(Listener listener);
    static bool hasListener();
    static void announce(QAccessibleEvent&& event);

    /// Both outlive it.
    LogTableAnnouncer(LogTableView& view, LogTableAccessible& table);

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void rowsMayHaveChanged();
    void announceRows();
    void announceSelection();
    /// Unless it has been announced; a row that is not in view waits until it is.
    void announceCurrentRow();

    LogTableView& view_;
    LogTableAccessible& table_;
    /// Runs while changed rows are to be announced.
    QTimer rowsTimer_;
    int announcedRowCount_ = 0;
    qint64 announcedRow_ = -1;
    bool hadTextSelection_ = false;
};

} // namespace korvane
