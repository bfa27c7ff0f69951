#pragma once

#include "foundation/text/AttributedString.h"
#include "ui/logtable/LogTableColumns.h"
#include "ui/logtable/LogTableInput.h"
#include "ui/logtable/LogTableLooks.h"
#include "ui/logtable/LogTableScroller.h"
#include "ui/logtable/LogTableSelection.h"
#include "ui/logtable/LogTableViewDelegate.h"

#include <QAbstractScrollArea>
#include <QBasicTimer>

#include <limits>
#include <optional>

namespace korvane {

/// The log table: stores nothing per row, draws only visible rows and gets them from its delegate.
/// Coordinates of events and drawing are those of the viewport. Main thread.
class LogTableView : public QAbstractScrollArea {
    Q_OBJECT

public:
    using Colors = LogTableColors;

    explicit LogTableView(QWidget* parent = nullptr);
    ~LogTableView() override;

    LogTableViewDelegate& delegate() { return delegate_; }

    void setColors(const Colors& colors);
    /// Height of a row whose text is empty or not loaded.
    qreal rowHeight() const;

    const LogTableColumns& columns() const { return columns_; }
    void setColumns(const LogTableColumns& columns);
    /// Lines are wrapped to another width by `layoutChanged` only.
    void setColumnWidth(QLatin1StringView identifier, qreal width);
    /// Left edge of the text of lines when they are not scrolled sideways.
    qreal lineTextX() const;

    qint64 rowCount() const { return scroller_.rowCount(); }
    /// Which rows are shown is kept; of further rows none, unless all are.
    void setRowCount(qint64 count);
    /// Shows other rows. If the current row is none of them, the nearest one becomes current.
    void setRowMap(const RowMap& map);
    /// These rows, both included, were loaded or have another text: they are measured and drawn again.
    void rowsChanged(qint64 firstRow = 0, qint64 lastRow = std::numeric_limits<qint64>::max());
    /// Colours of rows may have changed, but neither text nor height.
    void redecorate();
    /// Font, wrapping or column widths have changed.
    void layoutChanged();

    LogTableScroller& scroller() { return scroller_; }
    const LogTableScroller& scroller() const { return scroller_; }
    /// Scrolls a text position of a row into view, also sideways, with some context. It stays there while
    /// rows above it are loaded. False when the row itself is not loaded yet.
    bool scrollTextToVisible(qint64 row, TextRange range);
    /// The same for the caret, by the least distance.
    void scrollCaretToVisible();

    LogTableSelection& selection() { return selection_; }
    const LogTableSelection& selection() const { return selection_; }
    QString selectedText() const;

    /// A row's area in the viewport; nullopt when it is not visible.
    std::optional<QRectF> rowRect(qint64 row) const;
    /// The top left corner of a row's text, including horizontal scrolling; nullopt when the row is not
    /// visible.
    std::optional<QPointF> textOrigin(qint64 row) const;

    QSize sizeHint() const override { return {960, 600}; }

Q_SIGNALS:
    /// The selection has changed, and the view with it.
    void selectionChanged();
    /// The mouse button was released after selecting rows by a drag, or text by a drag or several clicks.
    void selectedByMouse();
    void lineMarkClicked(qint64 row);
    /// A click on the gap that this row lies in; `count`: of clicks on it.
    void gapClicked(qint64 row, int count);
    /// Rows were added, removed or replaced, or texts, heights or columns of rows have changed.
    void contentChanged();
    /// The visible rows have changed, by scrolling or resizing.
    void visibleRowsChanged();
    /// The wheel was turned with the control key down.
    void zoomRequested(int steps);
    void contextMenuRequested(QPoint globalPosition);
    /// All visible rows show their text for the first time since the row count last became known.
    void visibleRowsShown();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    void changeEvent(QEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    bool viewportEvent(QEvent* event) override;

private:
    /// Width available to the text of a line.
    qreal lineTextWidth() const;
    void updateScrollBars();
    void updateHorizontalBar();
    /// Scrolls sideways also as far as this line is wide.
    void noteLineWidth(qreal width);
    qreal horizontalOffset() const;

    void groundsChanged();
    void noteLoadingRows(bool anyLoading);

    /// Caches what it measures and lays out.
    mutable LogTableViewDelegate delegate_;
    LogTableScroller scroller_;
    LogTableSelection selection_;
    LogTableInput input_;
    Colors colors_;
    LogTableColumns columns_;
    /// A scroll bar value stands for 2^scrollShift_ rows, as bars use int.
    int scrollShift_ = 0;
    bool isUpdatingBars_ = false;
    /// The widest line seen, for sideways scrolling.
    qreal widestLine_ = 0;

    /// Delays drawing "Loading", so that quick loads do not flicker.
    QBasicTimer loadingTimer_;
    bool showsLoading_ = false;
    bool hasShownRows_ = false;
};

} // namespace korvane
