#include "ui/logtable/LogTableAnnouncer.h"

#include "ui/logtable/LogTableAccessible.h"
#include "ui/logtable/LogTableView.h"

#include <QAccessible>
#include <QEvent>

#include <algorithm>
#include <chrono>

namespace korvane {
namespace {

constexpr std::chrono::milliseconds rowsInterval(250);

LogTableAnnouncer::Listener otherListener = nullptr;

} // namespace

void LogTableAnnouncer::setListener(Listener listener) {
    otherListener = listener;
}

bool LogTableAnnouncer::hasListener() {
    return otherListener || QAccessible::isActive();
}

void LogTableAnnouncer::announce(QAccessibleEvent&& event) {
    if (otherListener)
        otherListener(event);
    else
        QAccessible::updateAccessibility(&event);
}

LogTableAnnouncer::LogTableAnnouncer(LogTableView& view, LogTableAccessible& table)
    : view_(view), table_(table), announcedRowCount_(table.rowCount()) {
    rowsTimer_.setSingleShot(true);
    rowsTimer_.setInterval(rowsInterval);
    connect(&rowsTimer_, &QTimer::timeout, this, [this] { announceRows(); });
    connect(&view_, &LogTableView::contentChanged, this, [this] { rowsMayHaveChanged(); });
    connect(&view_, &LogTableView::visibleRowsChanged, this, [this] {
        table_.dropHiddenCells();
        announceCurrentRow();
    });
    connect(&view_, &LogTableView::selectionChanged, this, [this] {
        announceCurrentRow();
        announceSelection();
    });
    view_.installEventFilter(this);
}

bool LogTableAnnouncer::eventFilter(QObject* watched, QEvent* event) {
    if (watched == &view_ && event->type() == QEvent::FocusIn) {
        announcedRow_ = -1;
        // Queued, because the table itself is announced right after this event.
        QMetaObject::invokeMethod(
            this, [this] { announceCurrentRow(); }, Qt::QueuedConnection);
    }
    return QObject::eventFilter(watched, event);
}

void LogTableAnnouncer::rowsMayHaveChanged() {
    table_.dropHiddenCells();
    announceCurrentRow();
    if (hasListener() && !rowsTimer_.isActive())
        rowsTimer_.start();
}

void LogTableAnnouncer::announceRows() {
    const int before = announcedRowCount_;
    announcedRowCount_ = table_.rowCount();
    if (!hasListener() || !view_.isVisible())
        return;
    using Change = QAccessibleTableModelChangeEvent;
    if (announcedRowCount_ < before || announcedRowCount_ == 0) {
        announce(Change(&view_, Change::ModelReset));
        return;
    }
    const bool hasGrown = announcedRowCount_ > before;
    Change change(&view_, hasGrown ? Change::RowsInserted : Change::DataChanged);
    change.setFirstRow(
        hasGrown ? before : static_cast<int>(std::min<qint64>(view_.scroller().firstVisibleRow(), before)));
    change.setLastRow(announcedRowCount_ - 1);
    change.setFirstColumn(0);
    change.setLastColumn(table_.columnCount() - 1);
    announce(std::move(change));
}

void LogTableAnnouncer::announceCurrentRow() {
    const qint64 row = view_.selection().currentRow();
    if (row == announcedRow_ || !hasListener() || !view_.hasFocus())
        return;
    if (QAccessibleInterface* line = table_.cell(row, cell::line)) {
        announcedRow_ = row;
        announce(QAccessibleEvent(line, QAccessible::Focus));
    }
}

void LogTableAnnouncer::announceSelection() {
    if (!hasListener())
        return;
    const auto& text = view_.selection().text();
    QAccessibleInterface* line = table_.cell(text ? text->row : view_.selection().currentRow(), cell::line);
    if ((text || hadTextSelection_) && line) {
        const TextRange range = text ? text->range : TextRange{};
        announce(QAccessibleTextSelectionEvent(line, range.location, range.end()));
    }
    hadTextSelection_ = text.has_value();
    if (const auto& caret = view_.selection().caret()) {
        if (line)
            announce(QAccessibleTextCursorEvent(line, caret->position));
    } else if (!text)
        announce(QAccessibleEvent(&view_, QAccessible::SelectionWithin));
}

} // namespace korvane
