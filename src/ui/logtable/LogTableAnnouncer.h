#pragma once

#include <QObject>
#include <QTimer>

class QAccessibleEvent;

namespace korvane {

class LogTableAccessible;
class LogTableView;

/// Announces changes of the log table to assistive programs: current row, selection, rows. A fast-growing log
/// is announced only a few times a second; nothing is announced while no such program is active. Main thread;
/// belongs to the table's interface.
class LogTableAnnouncer : public QObject {
public:
    using Listener = void (*)(QAccessibleEvent&);
    /// Redirects announcements from assistive programs to `listener`; null restores them.
    static void setListener(Listener listener);
    static bool hasListener();
    static void announce(QAccessibleEvent&& event);

    /// Both must outlive the announcer.
    LogTableAnnouncer(LogTableView& view, LogTableAccessible& table);

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void rowsMayHaveChanged();
    void announceRows();
    void announceSelection();
    /// Announces the current row once; a row that is not visible is announced when it becomes visible.
    void announceCurrentRow();

    LogTableView& view_;
    LogTableAccessible& table_;
    /// Active while changed rows are still to be announced.
    QTimer rowsTimer_;
    int announcedRowCount_ = 0;
    qint64 announcedRow_ = -1;
    bool hadTextSelection_ = false;
};

} // namespace korvane
