#pragma once

#include "foundation/text/AttributedString.h"
#include "ui/logtable/LogTableLooks.h"
#include "ui/logtable/LogTableViewDelegate.h"
#include "ui/logtable/RowPlaces.h"
#include "ui/logtable/TableGrounds.h"

#include <QFont>
#include <QSize>

#include <optional>
#include <vector>

class QPainter;

namespace korvane {

/// Draws the rows of the log table in one painting of its viewport. Coordinates are the viewport's.
class LogRowPainter {
public:
    /// Left of a line's text, and right of a number.
    static constexpr qreal textMargin = 6;

    struct Style {
        const TableGrounds& grounds;
        QFont labelFont;
        QSize viewSize;
        /// How far the lines are scrolled sideways.
        qreal horizontalOffset = 0;
        /// Rows that are not there yet say so.
        bool showsLoading = false;
    };
    struct RowState {
        bool isSelected = false;
        bool isCurrent = false;
        /// Empty for none.
        TextRange selectedText;
        /// The position in the text at which keys select; absent where none is shown.
        std::optional<int> caret = std::nullopt;
    };

    /// All references must outlive the painter.
    LogRowPainter(QPainter& painter, LogTableViewDelegate& delegate,
                  const std::vector<LogTableColumn>& columns, Style style);

    void paint(const RowPlaces::VisibleRow& row, const RowState& state);
    /// The line beside the numbers and, where lines are wrapped, those between the rows.
    void paintSeparators(const std::vector<RowPlaces::VisibleRow>& rows);
    /// Shows that keys go to the table: round the current row, or round the view when that row is not in it.
    void paintFocus(const std::vector<RowPlaces::VisibleRow>& rows, qint64 currentRow);

    /// What stands in the place of a line that is not there yet, and of one that rules hide.
    static QString loadingText();
    static QString filteredText();
    /// Says that the line goes on beyond what is shown; empty when it does not.
    static QString cutText(const LogTableViewDelegate::CellView& view);
    /// A rule was too slow for the line.
    static bool isGivenUp(const LogTableViewDelegate::CellView& view);

    /// Of the lines painted so far.
    qreal widestLine() const { return widestLine_; }
    bool hasMetUnloadedRow() const { return hasMetUnloadedRow_; }

private:
    using CellView = LogTableViewDelegate::CellView;

    /// What a row is painted on, outside a line with a background of its own.
    const QColor& groundOf(const RowState& state) const;
    void paintMark(const RowPlaces::VisibleRow& row, const QRectF& place, const QColor& ground);
    void paintNumber(const RowPlaces::VisibleRow& row, qreal right, const RowState& state);
    void paintLine(const RowPlaces::VisibleRow& row, const QRectF& area, const RowState& state);
    void paintCaret(const QRectF& character, const QColor& color);
    void paintNotice(const QPointF& baseline, const QString& text, const QColor& ground);
    void paintCutBadge(const QRectF& area, const CellView& view);
    /// Beside a line that a rule has given up.

    QPainter& painter_;
    LogTableViewDelegate& delegate_;
    const std::vector<LogTableColumn>& columns_;
    const Style style_;
    const LogTableColors& colors_;
    qreal lineX_ = 0;
    qreal widestLine_ = 0;
    bool hasMetUnloadedRow_ = false;
};

} // namespace korvane
