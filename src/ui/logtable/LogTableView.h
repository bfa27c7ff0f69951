#pragma once

#include "foundation/text/AttributedString.h"
#include "ui/logtable/LogTableInput.h"
#include "ui/logtable/LogTableLooks.h"
#include "ui/logtable/LogTableViewDelegate.h"
#include "ui/logtable/RowPlaces.h"
#include "ui/logtable/RowSelection.h"

#include <QAbstractScrollArea>
#include <QBasicTimer>

#include <limits>
#include <optional>
#include <vector>

namespace korvane {

/// The log table: scrolls by rows, stores nothing per row, draws only visible rows and gets them from its
/// delegate. Coordinates of events and drawing are those of the viewport. Main thread.
class LogTableView : public QAbstractScrollArea {
    Q_OBJECT

public:
    using Column = LogTableColumn;
    using Colors = LogTableColors;
    /// A part of one row's text.
    struct TextSelection {
        qint64 row = -1;
        TextRange range;
    };
    /// The caret: the position in one row's text from which keys select.
    struct Caret {
        qint64 row = -1;
        int position = 0;
    };

    explicit LogTableView(QWidget* parent = nullptr);
    ~LogTableView() override;

    LogTableViewDelegate& delegate() { return delegate_; }

    void setColors(const Colors& colors);
    /// Height of a row whose text is empty or not loaded.
    qreal rowHeight() const;

    /// "LineMark", "LineNum" (while line numbers are shown) and "Line", from left to right.
    const std::vector<Column>& columns() const { return columns_; }
    std::vector<Column>::const_iterator column(QLatin1StringView identifier) const;
    Column takeColumn(QLatin1StringView identifier);
    /// Appends a column.
    void addColumn(const Column& column);
    void moveColumn(std::size_t from, std::size_t to);
    void setColumnWidth(QLatin1StringView identifier, qreal width);
    /// The left edge of the line column.
    qreal lineColumnX() const;
    /// Left edge of the text of lines when they are not scrolled sideways.
    qreal lineTextX() const;
    /// Width available to the text of a line.
    qreal lineTextWidth() const;

    qint64 rowCount() const { return rowCount_; }
    void setRowCount(qint64 count);
    /// These rows, both included, were loaded or have another text: they are measured and drawn again.
    void rowsChanged(qint64 firstRow = 0, qint64 lastRow = std::numeric_limits<qint64>::max());
    /// Colours of rows may have changed, but neither text nor height.
    void redecorate();
    /// Font, wrapping or column widths have changed.
    void layoutChanged();

    qint64 firstVisibleRow() const { return top_.row; }
    const RowPlace& topPlace() const { return top_; }
    qint64 lastVisibleRow() const;
    bool isAtEnd() const;
    /// `isAtEnd` at the last change of rows, window or place: stays true when rows loaded since have become
    /// taller.
    bool stoodAtEnd() const { return stoodAtEnd_; }
    /// Rows of one line that fit into the view; at least 1.
    int rowsPerPage() const;
    /// Scrolls so that the row is at the top, as far as the end allows.
    void setTopRow(qint64 row);
    void scrollToEnd();
    /// Positive = towards the end. When scrolling up, rows loaded later do not move the rows that were
    /// visible before, even if they become taller.
    void scrollByPixels(qreal pixels);
    /// Scrolls by the visible height less one line; positive = towards the end. False when already at the end
    /// in that direction.
    bool scrollByPage(int direction);
    void scrollRowToVisible(qint64 row);
    /// Scrolls the least distance that shows `height` pixels of a row, from `offset` below its top edge.
    void scrollRowPartToVisible(qint64 row, qreal offset, qreal height);
    /// Scrolls a text position of a row into view, also sideways, with some context. It stays there while
    /// rows above it are loaded. False when the row itself is not loaded yet.
    bool scrollTextToVisible(qint64 row, TextRange range);

    const RowSelection& selection() const { return selection_; }
    qint64 currentRow() const { return currentRow_; }
    void selectRow(qint64 row);
    /// Restores an earlier selection, as far as its rows exist.
    void restoreSelection(const RowSelection& selection, qint64 currentRow);
    /// Selects from the last row selected by itself to this one, which becomes the current row.
    void selectRowsTo(qint64 row);
    /// Adds the row to the selection or removes it; it becomes the current row.
    void toggleRow(qint64 row);
    void selectAll();
    void clearSelection();
    /// Selected text takes precedence over selected rows.
    bool showsAsSelected(qint64 row) const { return selection_.contains(row) && !textSelection_; }
    const std::optional<TextSelection>& textSelection() const { return textSelection_; }
    const std::optional<Caret>& caret() const { return caret_; }
    QString selectedText() const;
    /// An empty range deselects the text.
    void selectText(qint64 row, TextRange range);
    /// Selects between the two positions of a row's text and shows the caret at the second one, scrolled into
    /// view. Any other selection hides the caret.
    void selectTextToCaret(qint64 row, int anchor, int position);

    /// The row at a y coordinate of the viewport; -1 outside the rows.
    qint64 rowAt(qreal y) const;
    /// A row's area in the viewport; nullopt when it is not visible.
    std::optional<QRectF> rowRect(qint64 row) const;
    QLatin1StringView columnAt(qreal x) const;
    /// The top left corner of a row's text, including horizontal scrolling; nullopt when the row is not
    /// visible.
    std::optional<QPointF> textOrigin(qint64 row) const;

    QSize sizeHint() const override { return {960, 600}; }

Q_SIGNALS:
    /// Rows or text selection have changed.
    void selectionChanged();
    /// The mouse button was released after selecting rows by a drag, or text by a drag or several clicks.
    void selectedByMouse();
    void lineMarkClicked(qint64 row);
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
    /// For the present rows and viewport.
    RowPlaces places() const;
    std::vector<RowPlaces::VisibleRow> visibleRows() const;
    void setTop(RowPlace top);
    void moveTop(RowPlace top, bool isEnd);
    /// Scrolls so that the place is `y` pixels below the upper edge, and keeps it there while rows above it
    /// change their heights.
    void holdAt(RowPlace place, qreal y);
    void scrollCaretToVisible();
    /// Whether visible rows may still become taller.
    bool hasUnmeasuredRows(RowPlace top) const;
    bool isRowPartInView(qint64 row, qreal offset, qreal height) const;
    bool isAtEnd(RowPlace top) const;
    /// Selects text of the row and makes it the current row.
    void takeText(qint64 row, TextRange range);
    /// Call after the height of rows or window has changed: a view at the end stays there.
    void keepPlaceInChangedRows();
    void updateScrollBars();
    void updateHorizontalBar();
    qreal horizontalOffset() const;

    void groundsChanged();
    void dropText();
    void selectionHasChanged();
    void noteLoadingRows(bool anyLoading);

    /// Caches what it measures and lays out.
    mutable LogTableViewDelegate delegate_;
    LogTableInput input_;
    Colors colors_;
    std::vector<Column> columns_;
    qint64 rowCount_ = 0;
    RowPlace top_;
    /// The end of the last row was at the lower edge when the top was last set: it stays there when the
    /// window is resized or rows change their heights.
    bool stoodAtEnd_ = false;
    /// A place further down than the top that keeps its position in the view.
    struct HeldPlace {
        RowPlace place;
        qreal y = 0;
    };
    std::optional<HeldPlace> held_;
    /// A scroll bar value stands for 2^scrollShift_ rows, as bars use int.
    int scrollShift_ = 0;
    bool isUpdatingBars_ = false;
    /// The widest line seen, for sideways scrolling.
    qreal widestLine_ = 0;

    RowSelection selection_;
    qint64 currentRow_ = -1;
    qint64 anchorRow_ = -1;
    std::optional<TextSelection> textSelection_;
    std::optional<Caret> caret_;

    /// Delays drawing "Loading", so that quick loads do not flicker.
    QBasicTimer loadingTimer_;
    bool showsLoading_ = false;
    bool hasShownRows_ = false;
};

} // namespace korvane
